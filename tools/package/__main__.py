"""Packs what ships: a zip, the symbols apart, and, with the sibling programs, an MSI.

    package --build FOLDER --output FOLDER [--siblings FOLDER] [--version VERSION]

Programs and MSI are signed when the environment names a certificate: see tools/sign. The siblings are
taken as they are. The build runs it: cmake --workflow --preset package.
"""

import argparse
import sys
import tempfile
from pathlib import Path

from archive import pack
from contents import (
    SETUP, Missing, package_files, program_files, required, sibling_files, symbol_files, version)
from installer import Failed, build_msi
from signing import is_wanted, sign, signed


def ship(options, number, name, folder):
    """`folder` is for what is needed meanwhile."""
    programs = signed(program_files(options.build)
                      | {SETUP: required(options.build / SETUP)}, folder)
    pack(name.with_name(name.name + ".zip"), package_files(options.build) | programs)
    setup = programs.pop(SETUP)
    pack(name.with_name(name.name + "-symbols.zip"), symbol_files(options.build))
    if options.siblings is None:
        print("Note: no MSI without the sibling programs; PALVO_SIBLINGS names their folder.")
        return
    msi = name.with_name(name.name + ".msi")
    build_msi(msi, number, sibling_files(options.siblings) | programs, setup)
    if is_wanted():
        sign(msi)


def main():
    parser = argparse.ArgumentParser(description="Packs what ships.")
    parser.add_argument("--build", type=Path, required=True)
    parser.add_argument("--output", type=Path, required=True)
    parser.add_argument("--siblings", type=Path, help="the folder of the sibling programs")
    parser.add_argument("--version", help="another than the build's: for tests of upgrades")
    options = parser.parse_args()
    try:
        number = options.version or version(options.build)
        name = f"PalvoPrinterConfiguration-{number}"
        options.output.mkdir(parents=True, exist_ok=True)
        with tempfile.TemporaryDirectory() as folder:
            ship(options, number, options.output / name, Path(folder))
    except (Missing, Failed, OSError) as error:
        print(f"package: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
