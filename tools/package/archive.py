"""Archives that are the same whenever and wherever they are packed."""

import zipfile

# The oldest time that a zip file can name.
TIME = (1980, 1, 1, 0, 0, 0)


def pack(archive, files):
    """Writes {name in the archive: file} into a new archive, in the order of the names."""
    archive.unlink(missing_ok=True)
    with zipfile.ZipFile(archive, "w") as packed:
        for name in sorted(files):
            entry = zipfile.ZipInfo(name, TIME)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = 0o644 << 16
            entry.create_system = 3
            packed.writestr(entry, files[name].read_bytes(), compresslevel=9)
