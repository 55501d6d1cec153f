"""The summary of an MSI, into which wixl writes the time of day and a package code of its own. Both are
replaced in place, so that the same contents give the same bytes."""

import struct
import uuid
from datetime import date

# The format of the property set, as Windows's structured storage has it in a file.
SUMMARY = uuid.UUID("f29f85e0-4ff9-1068-ab91-08002b27b3d9").bytes_le
PACKAGE_CODE, CREATED, SAVED = 9, 12, 13
TEXT, TIME = 30, 64                     # types of properties

# 1980 in units of 100 ns since 1601: the time that the archives name too.
FIXED_TIME = (date(1980, 1, 1) - date(1601, 1, 1)).days * 864_000_000_000
CODE_LENGTH = 38                        # of a GUID as text, in braces


class Strange(Exception):
    """The summary is not as wixl writes it."""


def places(data):
    """{number of a property: (type, place of its value)}. The stream is short and lies in one piece."""
    head = data.find(SUMMARY)
    if head < 0 or data.find(SUMMARY, head + 1) >= 0:
        raise Strange("the MSI has no summary, or two")
    section = head - 28 + struct.unpack_from("<I", data, head + 16)[0]
    count = struct.unpack_from("<I", data, section + 4)[0]
    found = {}
    for number, offset in struct.iter_unpack("<II", data[section + 8:section + 8 + 8 * count]):
        found[number] = (struct.unpack_from("<I", data, section + offset)[0], section + offset + 4)
    return found


def fix(msi, identifier):
    """`identifier` makes a GUID of the bytes of all the rest."""
    data = bytearray(msi.read_bytes())
    found = places(data)
    if [found.get(number, (0,))[0] for number in (PACKAGE_CODE, CREATED, SAVED)] != [TEXT, TIME, TIME]:
        raise Strange("the MSI's summary lacks what is to be fixed")
    for number in (CREATED, SAVED):
        struct.pack_into("<Q", data, found[number][1], FIXED_TIME)
    code = slice(found[PACKAGE_CODE][1] + 4, found[PACKAGE_CODE][1] + 4 + CODE_LENGTH)
    data[code] = bytes(CODE_LENGTH)
    data[code] = f"{{{identifier(bytes(data))}}}".encode()
    msi.write_bytes(data)
