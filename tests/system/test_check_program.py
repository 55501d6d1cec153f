"""What the build's check of the linked program lets through: the file that ships, and no copy of it with a
fault."""

import os
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

from lab import ROOT

NAME = "PalvoPrinterConfiguration.exe"

LATE_DLLS = ("OLE32.dll", "OLEAUT32.dll", "SECUR32.dll", "SHELL32.dll", "USER32.dll", "USERENV.dll",
             "WEVTAPI.dll", "WINSPOOL.DRV", "WTSAPI32.dll")

HIGH_ENTROPY_VA, DYNAMIC_BASE, NX_COMPAT = 0x20, 0x40, 0x100
IMPORTS, RELOCATIONS = 1, 5
DISCARDABLE, WRITABLE = 0x02000000, 0x80000000


class ProgramFile:
    """The bytes of the program that ships, to be changed. Places are counted from the file's start,
    addresses from the program's start in memory."""

    def __init__(self):
        self.bytes = bytearray((Path(os.environ["PALVO_LAB_BIN"]) / NAME).read_bytes())
        self.header = self.number("<I", 60)
        self.optional_header = self.header + 24

    def number(self, form, place):
        return struct.unpack_from(form, self.bytes, place)[0]

    def put(self, form, place, number):
        struct.pack_into(form, self.bytes, place, number)

    def clear_flag(self, flag):
        place = self.optional_header + 70
        self.put("<H", place, self.number("<H", place) & ~flag)

    def directory(self, index):
        """The place of a data directory: its address, then its size."""
        return self.optional_header + 112 + 8 * index

    def section_headers(self):
        count = self.number("<H", self.header + 6)
        first = self.optional_header + self.number("<H", self.header + 20)
        return range(first, first + 40 * count, 40)

    def change_sections(self, change, name=None):
        """Changes the characteristics of the section of a name, or of all."""
        for section in self.section_headers():
            if name in (None, self.bytes[section:section + 8].rstrip(b"\0").decode()):
                self.put("<I", section + 36, change(self.number("<I", section + 36)))

    def place(self, address):
        for section in self.section_headers():
            size, start, _, place = struct.unpack_from("<4I", self.bytes, section + 8)
            if start <= address < start + size:
                return place + address - start
        raise ValueError(f"nothing lies at {address:#x}")

    def address(self, place):
        for section in self.section_headers():
            _, start, size, first = struct.unpack_from("<4I", self.bytes, section + 8)
            if first <= place < first + size:
                return start + place - first
        raise ValueError(f"nothing is loaded from {place:#x}")

    def text(self, place):
        return self.bytes[place:self.bytes.index(b"\0", place)].decode()

    def import_descriptors(self):
        place = self.place(self.number("<I", self.directory(IMPORTS)))
        while self.number("<I", place + 12):
            yield place
            place += 20

    def imported_names(self):
        """The places of the names of the DLLs that are loaded at the start, and of their functions."""
        for descriptor in self.import_descriptors():
            yield self.place(self.number("<I", descriptor + 12))
            table = self.place(self.number("<I", descriptor))
            while address := self.number("<Q", table):
                yield self.place(address) + 2
                table += 8

    def rename_import(self, old, new):
        """Another name of the same length."""
        [place] = [place for place in self.imported_names() if self.text(place) == old]
        self.bytes[place:place + len(old)] = new.encode()

    def put_late_handle_into_its_name(self, dll):
        """Has the loaded DLL's handle written where its name lies, which is read-only."""
        name = self.address(self.bytes.index(dll.encode() + b"\0"))
        # A descriptor begins with its attributes, 1, and the addresses of the name and the handle.
        self.put("<I", self.bytes.index(struct.pack("<II", 1, name)) + 8, name)


class CheckOfTheProgram(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.copy = Path(folder.name) / NAME
        self.program = ProgramFile()

    def assert_said(self, code, *problems):
        """What the check of the program as it is now says, in any order."""
        self.copy.write_bytes(self.program.bytes)
        result = subprocess.run([ROOT / "tools" / "check-program", self.copy], timeout=60, check=False,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)
        self.assertEqual(sorted(result.stderr.decode().splitlines()),
                         sorted(f"{NAME}: {problem}" for problem in problems))
        self.assertEqual((result.returncode, result.stdout), (code, b""))

    def test_the_file_that_ships_is_accepted(self):
        self.assert_said(0)

    def test_a_missing_protection_is_refused(self):
        for flag, name in ((HIGH_ENTROPY_VA, "HIGH_ENTROPY_VA"), (DYNAMIC_BASE, "DYNAMIC_BASE"),
                           (NX_COMPAT, "NX_COMPAT")):
            with self.subTest(flag=name):
                self.program = ProgramFile()
                self.program.clear_flag(flag)
                self.assert_said(1, f"no {name}")

    def test_a_file_without_relocations_is_refused(self):
        self.program.put("<I", self.program.directory(RELOCATIONS) + 4, 0)
        self.assert_said(1, "no relocations, so its address cannot be chosen at random")

    def test_a_dll_too_many_at_the_start_is_refused(self):
        self.program.rename_import("KERNEL32.dll", "NETAPI32.dll")
        self.assert_said(1, "loads NETAPI32.dll at its start: "
                            "list the functions in cmake/WindowsLibraries.cmake")

    def test_a_function_that_came_after_vista_is_refused(self):
        self.program.rename_import("CreateFileW", "CreateFile2")
        self.assert_said(1, "imports CreateFile2, which Windows Vista lacks")

    def test_the_runtime_librarys_stack_guard_is_refused(self):
        self.program.rename_import("SetThreadToken", "CryptGenRandom")
        self.assert_said(1, "imports CryptGenRandom: it has the runtime library's stack guard, "
                            "not its own")

    def test_late_imports_that_may_not_be_written_are_refused(self):
        self.program.change_sections(lambda kind: kind & ~WRITABLE, ".data")
        self.assert_said(1, *(f"the late imports of {dll} lie in memory that the program may not write"
                              for dll in LATE_DLLS))

    def test_a_late_dlls_handle_that_may_not_be_written_is_refused(self):
        self.program.put_late_handle_into_its_name("WEVTAPI.dll")
        self.assert_said(1, "the late imports of WEVTAPI.dll lie in memory that the program may not write")

    def test_a_file_whose_late_imports_are_not_found_is_refused(self):
        self.program.change_sections(lambda kind: kind | DISCARDABLE)
        self.assert_said(1, "no late imports were found")

    def test_the_file_that_ships_is_no_larger_than_420_kib(self):
        self.assertLessEqual(len(self.program.bytes), 430080)

    def test_every_fault_is_told_at_once(self):
        self.program.clear_flag(NX_COMPAT)
        self.program.rename_import("KERNEL32.dll", "NETAPI32.dll")
        self.program.rename_import("CreateFileW", "CreateFile2")
        self.assert_said(1, "no NX_COMPAT",
                         "loads NETAPI32.dll at its start: "
                         "list the functions in cmake/WindowsLibraries.cmake",
                         "imports CreateFile2, which Windows Vista lacks")


if __name__ == "__main__":
    unittest.main()
