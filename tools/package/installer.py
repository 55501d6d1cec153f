"""The MSI: wixl writes the data, and this what wixl cannot: actions that roll back and commit,
actions from the package's own table, their order, and the versions of the files. Needs the Debian
packages wixl and msitools."""

import hashlib
import os
import re
import shutil
import struct
import subprocess
import tempfile
import uuid
from pathlib import Path
from xml.sax.saxutils import quoteattr

import summary
from contents import PROGRAM, ROOT, SETUP

NAMESPACE = uuid.UUID("b2f1f6a0-3a0d-4b0c-8b7e-6a3c5f0c9d11")

# Bits of a custom action's type.
FROM_BINARY, FROM_FILE = 2, 18
IGNORED, NOT_WAITED_FOR, ROLLBACK, COMMIT, DEFERRED, AS_SYSTEM = 64, 128, 256, 512, 1024, 2048
IN_SCRIPT = DEFERRED | AS_SYSTEM

# What changes the machine of itself, not for a newer package that takes this one's place.
OWN = "NOT UPGRADINGPRODUCTCODE"
INSTALLING = 'NOT (REMOVE="ALL")'
FIRST = "NOT Installed AND NOT WIX_UPGRADE_DETECTED"
REMOVING = f'REMOVE="ALL" AND {OWN}'

# Name, type, source, arguments, condition, place. A roll-back stands before what it takes back.
# InstallInitialize is at 1500, RemoveFiles at 3500, InstallFiles at 4000.
ACTIONS = (
    ("RestoreState", FROM_BINARY | IN_SCRIPT | ROLLBACK | IGNORED, "Setup", "restore", OWN, 1510),
    ("KeepState", FROM_BINARY | IN_SCRIPT, "Setup", "keep", OWN, 1511),
    ("SecureFolder", FROM_BINARY | IN_SCRIPT, "Setup", "folder", INSTALLING, 1515),
    ("StopCopies", FROM_BINARY | IN_SCRIPT, "Setup", 'stop "[INSTALLDIR]."', INSTALLING, 1520),
    ("RestoreTasks", FROM_FILE | IN_SCRIPT | ROLLBACK | IGNORED, PROGRAM, "-IT", REMOVING, 3410),
    ("RemoveTasks", FROM_FILE | IN_SCRIPT | IGNORED, PROGRAM, "-UT", REMOVING, 3411),
    ("RestoreChannel", FROM_BINARY | IN_SCRIPT | IGNORED, "Setup", "restore-channel", REMOVING, 3415),
    ("StopRemoved", FROM_BINARY | IN_SCRIPT | IGNORED, "Setup", 'stop "[INSTALLDIR]."', REMOVING,
     3420),
    ("StopTakenBack", FROM_BINARY | IN_SCRIPT | ROLLBACK | IGNORED, "Setup", 'stop "[INSTALLDIR]."',
     INSTALLING, 4009),
    ("TakeBackTasks", FROM_FILE | IN_SCRIPT | ROLLBACK | IGNORED, PROGRAM, "-UT", FIRST, 4010),
    ("InstallTasks", FROM_FILE | IN_SCRIPT, PROGRAM, "-IT", INSTALLING, 4011),
    ("CheckTasks", FROM_BINARY | IN_SCRIPT, "Setup", "check", INSTALLING, 4012),
    ("KeepChannel", FROM_BINARY | IN_SCRIPT | COMMIT | IGNORED, "Setup", "keep-channel", FIRST, 4018),
    ("ForgetChannel", FROM_BINARY | IN_SCRIPT | COMMIT | IGNORED, "Setup", "forget-channel", REMOVING,
     4019),
    ("ForgetState", FROM_BINARY | IN_SCRIPT | COMMIT | IGNORED, "Setup", "forget", OWN, 4020),
    ("Refresh", FROM_FILE | IN_SCRIPT | COMMIT | IGNORED | NOT_WAITED_FOR, PROGRAM, "-r", INSTALLING,
     4021),
)

# The former version goes after the new files and tasks are there, within the same transaction: a
# component of both stays, and a failure brings the former one back.
STANDARD = {"InstallExecute": ("", 6500), "RemoveExistingProducts": ("", 6550)}


# Of every file in the cabinet, in seconds since 1970: the time that the archives name too.
FILE_TIME = 315532800


class Failed(Exception):
    """A tool could not do its part."""


def run(*command, folder=None):
    # The cabinet has local times.
    result = subprocess.run(command, cwd=folder, env=dict(os.environ, TZ="UTC"),
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            check=False)
    if result.returncode != 0:
        raise Failed(f"{command[0]} ended with {result.returncode}:\n{result.stderr.decode()}")
    return result.stdout.decode("utf-8")


def identifier(*parts):
    return str(uuid.uuid5(NAMESPACE, "\n".join(parts))).upper()


def row(name):
    """A file's name as a key of the package's tables, which allow few characters."""
    if re.fullmatch(r"[A-Za-z_][A-Za-z0-9_.]{0,63}", name):
        return name
    return "file_" + hashlib.sha256(name.encode()).hexdigest()[:16]


def file_version(file):
    """The four numbers of a program's version resource; empty without one."""
    data = file.read_bytes()
    place = data.find(struct.pack("<II", 0xFEEF04BD, 0x10000))
    if place < 0:
        return ""
    high, low = struct.unpack_from("<II", data, place + 8)
    return f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"


def source(version, files, setup):
    """The text that wixl reads. A component keeps its identifier from version to version."""
    components, references = [], []
    for name in files:
        components.append(
            f'          <Component Id="{row(name)}" Guid="{identifier("component", name)}"'
            f' Win64="yes"><File Id="{row(name)}" Name={quoteattr(name)}'
            f' Source={quoteattr(name)} KeyPath="yes"/></Component>')
        references.append(f'      <ComponentRef Id="{row(name)}"/>')
    contents = [hashlib.sha256(file.read_bytes()).hexdigest() for file in [*files.values(), setup]]
    # Windows takes two packages of one code for the same, whatever their actions.
    contents.append(repr((ACTIONS, STANDARD)))
    text = (ROOT / "support" / "installer" / "Package.wxs.in").read_text()
    for mark, value in {"PRODUCT_CODE": identifier("product", version, *contents),
                        "VERSION": ".".join(version.split(".")[:3]), "SETUP": SETUP,
                        "COMPONENTS": "\n".join(components),
                        "REFERENCES": "\n".join(references)}.items():
        text = text.replace(f"@{mark}@", value)
    return text


def table(name, head, rows):
    """The text form of a table, as msibuild reads it."""
    lines = ["\t".join(str(cell) for cell in row) for row in rows]
    return "\r\n".join([*head, *lines]) + "\r\n"


def sequence(msi):
    """The order of wixl's, with the actions in it."""
    lines = run("msiinfo", "export", str(msi), "InstallExecuteSequence").splitlines()
    rows = {name: (condition, int(place))
            for name, condition, place in (line.split("\t") for line in lines[3:])}
    rows |= STANDARD
    rows |= {name: (condition, place) for name, _, _, _, condition, place in ACTIONS}
    ordered = sorted(rows.items(), key=lambda row: row[1][1])
    return table("InstallExecuteSequence", lines[:3],
                 [(name, condition, place) for name, (condition, place) in ordered])


def actions():
    head = ("Action\tType\tSource\tTarget\tExtendedType", "s72\ti2\tS72\tS255\tI4",
            "CustomAction\tAction")
    return table("CustomAction", head, [(*row[:4], "") for row in ACTIONS])


def upgrade(msi):
    """A package of the same version, built anew, takes the other's place too."""
    lines = run("msiinfo", "export", str(msi), "Upgrade").splitlines()
    rows = [line.split("\t") for line in lines[3:]]
    for line in rows:
        if line[-1] == "WIX_UPGRADE_DETECTED":
            line[4] = "513"     # the features stay, up to and with this version
    return table("Upgrade", lines[:3], rows)


def queries(files):
    """A newer file replaces an older one only when the package knows its version. Names of more than
    eight characters need a short one beside them."""
    for number, (name, file) in enumerate(files.items()):
        short = f"PALVO{number:03}{Path(name).suffix[:4].upper()}"
        yield f"UPDATE `File` SET `FileName` = '{short}|{name}' WHERE `File` = '{row(name)}'"
        version = file_version(file)
        if version:
            yield (f"UPDATE `File` SET `Version` = '{version}', `Language` = '1033' "
                   f"WHERE `File` = '{row(name)}'")
            yield f"DELETE FROM `MsiFileHash` WHERE `File_` = '{row(name)}'"
    yield ("UPDATE `Property` SET `Value` = 'INSTALLDIR;WIX_DOWNGRADE_DETECTED;"
           "WIX_UPGRADE_DETECTED' WHERE `Property` = 'SecureCustomProperties'")
    yield ("UPDATE `Directory` SET `DefaultDir` = 'PALVOSUI|Palvo Printer Suite' "
           "WHERE `Directory` = 'INSTALLDIR'")


def build_msi(msi, version, files, setup):
    """Writes the package of {name: file}; `setup` lies in its own table."""
    msi.unlink(missing_ok=True)
    msi = msi.resolve()
    with tempfile.TemporaryDirectory() as folder:
        # wixl wants paths that are relative.
        for name, file in (files | {SETUP: setup}).items():
            copied = shutil.copy(file, Path(folder) / name)
            os.utime(copied, (FILE_TIME, FILE_TIME))
        wxs = Path(folder) / "package.wxs"
        wxs.write_text(source(version, files, setup))
        run("wixl", "-a", "x64", "-o", str(msi), wxs.name, folder=folder)
        for name, text in (("CustomAction", actions()),
                           ("InstallExecuteSequence", sequence(msi)),
                           ("Upgrade", upgrade(msi))):
            file = Path(folder) / f"{name}.idt"
            file.write_text(text, newline="")
            run("msibuild", str(msi), "-i", str(file))
    for query in queries(files):
        run("msibuild", str(msi), "-q", query)
    try:
        summary.fix(msi, lambda data: identifier("package", hashlib.sha256(data).hexdigest()))
    except summary.Strange as strange:
        raise Failed(str(strange)) from strange
