"""The log under load: many writers at once, kills among them, a trim in the middle."""

import os
import re
import shutil
import subprocess
from pathlib import Path

from proof import Proof

# What each piece of a line is in the file: a character that the code page lacks is a question mark.
ALPHABET = [b"a", b"Z", b" ", b"%s", b"%n", "\u00e9".encode("cp1252"), "\u00ff".encode("cp1252"),
            b"?", b"?", b"\t", b'"', b"\\", b"0", b"~", b"??", b"\x1a"]
OUTSIDE = [0x9FFF - 0x4E00, 0xD7A3 - 0xAC00, 0xDFFF - 0xDC00]
STAMP = re.compile(rb"\[\d{1,2}/\d{1,2}/\d{4} \d{1,2}:\d\d:\d\d [AP]M\] log-writer\(PID\d+\): ")
OLD_LINE = re.compile(rb"\[1/1/2024 1:00:00 AM\] log-writer\(PID1\): old line \d{7}")
TRIMMED = b"Log trimmed."
KILLED = 77
KEPT = 0x200000


def expected(writer, number, seed):
    """The line's text as it is to be in the file."""
    state = seed * 1000003 + writer * 100000 + number

    def following(bound):
        nonlocal state
        state = (state * 6364136223846793005 + 1442695040888963407) & 0xFFFFFFFFFFFFFFFF
        return (state >> 33) % bound

    text = b""
    for _ in range(following(40)):
        piece = following(19)
        if piece < 16:
            text += ALPHABET[piece]
        else:
            following(OUTSIDE[piece - 16] + 1)
            text += b"?"
    return b"%d %d %s|" % (writer, number, text)


def kept_tail(log):
    """The lines that a trim keeps: from the one that holds the byte before the last 2 MiB's end on."""
    count = 0
    for line in log.splitlines(keepends=True):
        count += len(line)
        if count > len(log) - KEPT:
            return log[count - len(line):]
    return b""


class Reader:
    """Reads what the writers left."""

    def __init__(self, proof, codes):
        self.proof = proof
        self.codes = codes
        self.seen = [[] for _ in codes]
        self.torn = 0

    def read(self, content):
        for line in content.split(b"\r\n")[:-1]:
            if not self.read_line(line):
                self.torn += 1
                if KILLED not in self.codes:
                    self.proof.find(f"torn or strange: {line[:200]!r}")
                # Where a torn line ends, the next one begins.
                following = STAMP.search(line, 1)
                if following and not self.read_line(line[following.start():]):
                    self.proof.find(f"strange behind a torn line: {line[:200]!r}")

    def read_line(self, line):
        stamp = STAMP.match(line)
        text = line[stamp.end():] if stamp else line
        numbers = stamp and re.match(rb"(\d+) (\d+) ", text)
        if numbers and int(numbers[1]) < len(self.codes) and text == expected(
                int(numbers[1]), int(numbers[2]), self.proof.seed):
            self.seen[int(numbers[1])].append(int(numbers[2]))
            return True
        return OLD_LINE.fullmatch(line)

    def judge(self, lines):
        """Each writer's lines are all there, in their order; a killed one lacks the last ones."""
        for writer, numbers in enumerate(self.seen):
            wanted = lines if writer < len(self.seen) - 1 else 1
            if numbers != list(range(len(numbers))):
                self.proof.find(f"writer {writer}'s lines are lost or out of order")
            elif self.codes[writer] == 0 and len(numbers) != wanted:
                self.proof.find(f"writer {writer} wrote {len(numbers)} lines of {wanted}")
        if self.torn > self.codes.count(KILLED):
            self.proof.find(f"{self.torn} torn lines, and {self.codes.count(KILLED)} killed writers")


def check(proof, before, after, codes, lines, kills):
    """Judges the log as it was before the trim and as it was at the end."""
    if set(codes) - ({0, KILLED} if kills else {0}):
        proof.find(f"the writers ended with {sorted(set(codes))}")
    if kills and KILLED not in codes:
        proof.find("no writer was killed")
    if not after.endswith(b"\r\n") and not kills:
        proof.find("the last line has no end")
    kept = kept_tail(before)
    trimmed = STAMP.match(after, len(kept))
    if not after.startswith(kept) or not trimmed or not after.startswith(TRIMMED + b"\r\n", trimmed.end()):
        proof.find(f"the trim did not keep the last {len(kept)} bytes of {len(before)} and say so")
        return 0, 0
    rest = after[trimmed.end() + len(TRIMMED) + 2:]
    reader = Reader(proof, codes)
    reader.read(before + rest)
    reader.judge(lines)
    if not STAMP.search(before[-1000:]) or not rest:
        proof.find("the trim was not in the middle")
    return sum(map(len, reader.seen)), reader.torn


def main():
    proof = Proof("Log under load: many writers, kills, and a trim in the middle")
    build = Path(os.environ["PALVO_LAB_BIN"])
    prefix = proof.labs[0].prefix
    folder = prefix / "drive_c" / "load"
    environment = dict(os.environ, WINEPREFIX=str(prefix), WINEARCH="win64", WINEDEBUG="-all",
                       DISPLAY="")
    proof.labs[0]("help")       # makes the prefix
    writers, lines, total, torn_total, killed_total = 64, 10000 if proof.long else 150, 0, 0, 0
    for kills in (0, 8):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        result = subprocess.run(
            ["wine", build / "tests" / "proof" / "log-writer.exe", r"C:\load", str(writers),
             str(lines), str(proof.seed), str(kills)], env=environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, check=True, timeout=3600)
        codes = [int(line.split()[1]) for line in result.stdout.decode().splitlines()]
        before, after = ((folder / name).read_bytes() for name in ("Before.log", "Load.log"))
        found, torn = check(proof, before, after, codes, lines, kills)
        total, torn_total = total + found, torn_total + torn
        killed_total += codes.count(KILLED)
        print(f"  {len(codes)} writers, {codes.count(KILLED)} killed: {found} lines, "
              f"{len(before)} bytes before the trim, {len(after)} at the end, {torn} torn", flush=True)
    proof.end(f"{writers} writers with {lines} lines, twice; {killed_total} killed, "
              f"{total} lines read, {torn_total} torn")


if __name__ == "__main__":
    main()
