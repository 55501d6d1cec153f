"""What is packed."""

from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PROGRAM = "PalvoPrinterConfiguration.exe"
SIBLINGS = ("PalvoPrinterQuery.exe", "PalvoPrinterConfigurationWriter.exe")

# For whoever installs, administers and supports; the rest of docs is for maintainers.
DOCUMENTS = ("accounts", "doctor-json", "exit-codes", "installing", "log-viewer", "monitoring",
             "nothing-happens", "policies", "privacy", "reading-the-log", "rollout", "switches",
             "troubleshooting", "trust")

# Debian's record of what is linked in: GCC's libraries with their runtime exception, and the C
# runtime's own parts.
LICENCES = {"gcc-runtime.txt": "gcc-mingw-w64-x86-64-win32-runtime",
            "gcc-libstdc++.txt": "g++-mingw-w64-x86-64-win32",
            "mingw-w64.txt": "mingw-w64-x86-64-dev"}


class Missing(Exception):
    """Something that every package must have is not there."""


def required(file):
    if not file.is_file():
        raise Missing(f"{file} is not there")
    return file


def licences(folder=Path("/usr/share/doc")):
    files = {f"licences/{name}": required(folder / package / "copyright")
             for name, package in LICENCES.items()}
    return files | {"licences/README.txt": required(ROOT / "support" / "licences.txt")}


def administration():
    """What administrators get, in folders of their own."""
    support = ROOT / "support"
    return {file.relative_to(support).as_posix(): file
            for folder in ("management", "monitoring", "policies")
            for file in sorted((support / folder).rglob("*.*"))}


def documents():
    folder = ROOT / "docs"
    pictures = sorted((folder / "pictures").glob("*.png"))
    return ({f"docs/{name}.md": required(folder / f"{name}.md") for name in DOCUMENTS}
            | {f"docs/pictures/{file.name}": file for file in pictures}
            | {"doctor-report.schema.json": required(ROOT / "support" / "doctor-report.schema.json")})


def program_files(build):
    """What lies beside the siblings on a machine."""
    return {name: required(build / name) for name in (PROGRAM, "PalvoPrinterDoctor.exe")}


def package_files(build):
    return (program_files(build)
            | {"log-viewer.html": required(ROOT / "support" / "log-viewer.html")}
            | administration() | documents() | licences())


def symbol_files(build):
    return {f"{name}.debug": required(build / f"{name}.debug") for name in program_files(build)}


def sibling_files(folder):
    """The siblings, which are built elsewhere, and whatever lies beside them."""
    for name in SIBLINGS:
        required(folder / name)
    return {file.name: file for file in sorted(folder.iterdir()) if file.is_file()}


def version(build):
    """The one in CMakeLists.txt, as the build folder remembers it."""
    for line in (build / "CMakeCache.txt").read_text().splitlines():
        if line.startswith("CMAKE_PROJECT_VERSION:STATIC="):
            return line.partition("=")[2]
    raise Missing(f"{build} does not say the version")
