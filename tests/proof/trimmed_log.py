"""What the trim of a log that became too large keeps."""

import re

LARGEST, KEPT = 0x400000, 0x200000     # bytes
PIECE = 4096    # characters that a trim reads at once


def kept_tail(log):
    """What a trim keeps: from the first piece on at whose end the count is more than what is to go. A
    piece is a line or the next 4096 characters of a longer one, and counts one more than its length; the
    end of a line is one character, and both of its bytes are there when it is written."""
    count = 0
    for line in re.finditer(rb"[^\n]*\n|[^\n]+", log):
        length = len(line[0]) - line[0].endswith(b"\r\n")
        for start in range(0, length, PIECE):
            count += min(PIECE, length - start) + 1
            if count > len(log) - KEPT:
                return re.sub(rb"(?<!\r)\n", b"\r\n", log[line.start() + start:])
    return b""
