"""What is packed."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PROGRAM = "PalvoPrinterConfiguration.exe"
SETUP = "PalvoPrinterSetup.exe"     # what an installer does beside running the program
SIBLINGS = ("PalvoPrinterQuery.exe", "PalvoPrinterConfigurationWriter.exe")

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


def support(build):
    """The files that CMakeLists.txt names, and all files of the folders, under their names in support."""
    files = {}
    for name in remembered(build, "PALVO_PACKED").split(";"):
        path = ROOT / "support" / name
        found = sorted(path.rglob("*")) if path.is_dir() else [path]
        files |= {file.relative_to(ROOT / "support").as_posix(): required(file)
                  for file in found if not file.is_dir()}
    return files


def documents():
    """For whoever installs, administers and supports: what docs/README.md lists. The rest is for
    maintainers."""
    folder = ROOT / "docs"
    listed = re.findall(r"\]\(([\w-]+\.md)\)", (folder / "README.md").read_text())
    pages = sorted({"README.md", *listed})
    pictures = sorted((folder / "pictures").glob("*.png"))
    return ({f"docs/{name}": required(folder / name) for name in pages}
            | {f"docs/pictures/{file.name}": file for file in pictures})


def program_files(build):
    """What lies beside the siblings on a machine."""
    return {name: required(build / name) for name in (PROGRAM, "PalvoPrinterDoctor.exe")}


def package_files(build):
    return (program_files(build) | {SETUP: required(build / SETUP), "SECURITY.md": ROOT / "SECURITY.md"}
            | support(build) | documents() | licences())


def symbol_files(build):
    return {f"{name}.debug": required(build / f"{name}.debug") for name in (*program_files(build), SETUP)}


def sibling_files(folder):
    """The siblings, which are built elsewhere, and whatever lies beside them."""
    for name in SIBLINGS:
        required(folder / name)
    return {file.name: file for file in sorted(folder.iterdir()) if file.is_file()}


def remembered(build, name):
    """What CMakeLists.txt says, as the build folder's cache has it."""
    for line in (build / "CMakeCache.txt").read_text().splitlines():
        if line.startswith((f"{name}:STATIC=", f"{name}:INTERNAL=")):
            return line.partition("=")[2]
    raise Missing(f"{build} does not say {name}")


def version(build):
    return remembered(build, "CMAKE_PROJECT_VERSION")
