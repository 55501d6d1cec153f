"""The log under load: many writers at once, kills among them, a trim in the middle."""

import os
import random
import re
import shutil
import subprocess
from collections import defaultdict
from pathlib import Path

from proof.runner import Proof
from proof.trimmed_log import LARGEST, kept_tail

# Which byte each character is in the file, by code page 1252, which has the control characters 81, 8D,
# 8F, 90 and 9D as well; any other is a question mark, as is each half of a surrogate pair.
OWN = {byte: bytes([byte]).decode("cp1252", "ignore") or chr(byte) for byte in range(256)}
CODE_PAGE = defaultdict(lambda: ord("?"), {ord(character): byte for byte, character in OWN.items()})
# What a line is made of: letters, formats, control characters and line ends; what the code page has at
# 80 to 9F, and the characters of these numbers; characters that look like some of the code page; marks;
# pairs of surrogates and halves of them. And, as often as all these, any but the zero, which ends a text.
SPECIAL = (["a", "Z", " ", "0", "~", '"', "\\", "%s", "%n", "%", "\t", "\x1a", "\x7f", "\n", "\r", "\r\n"]
           + [OWN[byte] for byte in range(0x80, 0xA0)] + [chr(number) for number in range(0x80, 0xA0)]
           + list("\u00a0\u00e9\u00ff\u0100\u0101\u0141\u0192\u017e\u02c6\u0391\u03a9\u2032\u2212\u221e")
           + list("\uff01\uff05\uff21\uff3c\uff5e\u65e5\u2028\u2029\u200e\ufeff\ufffd\ufffe\uffff")
           + ["\ud83d\ude00", "\ud800", "\udbff", "\udc00", "\udfff"])
ANY = [chr(number) for number in range(1, 0x10000)]
ALPHABET = SPECIAL * (len(ANY) // len(SPECIAL)) + ANY
STAMP = re.compile(rb"\[\d{1,2}/\d{1,2}/\d{4} \d{1,2}:\d\d:\d\d [AP]M\] log-writer\(PID(\d+)\): ")
OLD_STAMP = b"[1/1/2024 1:00:00 AM] log-writer(PID1): "
TRIMMED = b"Log trimmed.\r\n"
KILLED = 77


def texts(seed, writer):
    """What a writer writes, line after line, without end; the same again for the same numbers."""
    chosen = random.Random(f"{seed}-{writer}")
    number = 0
    while True:
        text = "".join(chosen.choices(ALPHABET, k=chosen.randrange(40)))
        if chosen.randrange(100) == 0:
            text *= chosen.randrange(500)   # mostly longer than a piece
        yield f"{writer} {number} {text}|"
        number += 1


def in_file(text):
    """What a text and the end of its line are in the file."""
    return text.translate(CODE_PAGE).encode("latin-1").replace(b"\n", b"\r\n") + b"\r\n"


def old_lines(seed):
    """A log that is too long."""
    lines, size = [], 0
    old = texts(seed, "old")
    while size <= LARGEST:
        lines.append(OLD_STAMP + in_file(next(old)))
        size += len(lines[-1])
    return b"".join(lines)


class Writer:
    """How one writer ended, and how far its lines have been found in the log."""

    def __init__(self, seed, number, pid, code, written):
        self.number, self.pid, self.code, self.written = number, pid, code, written
        self.texts = texts(seed, number)
        self.found, self.torn = 0, False
        self.line = in_file(next(self.texts))   # that comes next

    def find_line(self):
        self.found += 1
        self.line = in_file(next(self.texts))

    def tears(self, part):
        """Whether the part may be the beginning of the line that this writer wrote when it was killed."""
        if self.code != KILLED or self.torn or self.found != self.written:
            return False
        stamp = STAMP.match(part)
        if stamp:
            return int(stamp[1]) == self.pid and self.line.startswith(part[stamp.end():])
        whole = b"[10/10/2024 10:10:10 AM] log-writer(PID%d): " % self.pid
        stamps = (STAMP.fullmatch(part + whole[length:]) for length in range(len(whole)))
        return any(stamp and int(stamp[1]) == self.pid for stamp in stamps)

    def wrong(self, lines):
        """What is wrong with how far it came; nothing when all is well."""
        told = f"writer {self.number}, which ended with {self.code} after {self.written} lines: "
        if self.code == 0 and self.written != lines:
            return f"{told}it was to write {lines}"
        # Nobody knows of the line that was being written whether it is there.
        most = self.written + (self.code == KILLED and not self.torn)
        if not self.written <= self.found <= most:
            return f"{told}{self.found} are in the log, and {int(self.torn)} torn"
        return None


def read(writers, content):
    """Finds the writers' lines, each writer's in their order. What is first found to be none, if any."""
    by_pid = {writer.pid: writer for writer in writers}
    place = 0
    while place < len(content):
        stamp = STAMP.match(content, place)
        writer = by_pid.get(int(stamp[1])) if stamp else None
        if writer and content.startswith(writer.line, stamp.end()):
            place = stamp.end() + len(writer.line)
            writer.find_line()
            continue
        # Where a torn line ends, the next one begins.
        following = STAMP.search(content, place + 1)
        part = content[place:following.start() if following else len(content)]
        killed = next((writer for writer in writers if writer.tears(part)), None)
        if not killed:
            due = f" where line {writer.found} of writer {writer.number} was due" if writer else ""
            return f"lost, torn or strange{due}: {part[:200]!r}"
        killed.torn = True
        place += len(part)
    return None


def check(proof, old, before, after, writers, lines, kills):
    """Judges the log as it was before the trim and as it was at the end."""
    codes = [writer.code for writer in writers]
    if codes.count(KILLED) != kills or codes.count(0) != len(codes) - kills:
        proof.find(f"{kills} writers were to be killed, and they ended with {codes}")
    kept = kept_tail(before)
    trimmed = STAMP.match(after, len(kept))
    if not (after.startswith(kept) and trimmed and int(trimmed[1]) == writers[-1].pid
            and after.startswith(TRIMMED, trimmed.end())):
        proof.find(f"the trim did not keep the last {len(kept)} bytes of {len(before)} and say so")
        return
    if not before.startswith(old):
        proof.find("what was in the log before the first writer is no longer as it was")
        return
    strange = read(writers, before[len(old):])
    early = sum(writer.found for writer in writers)
    strange = strange or read(writers, after[trimmed.end() + len(TRIMMED):])
    if strange:
        proof.find(strange)
        return
    for writer in writers:
        wrong = writer.wrong(1 if writer is writers[-1] else lines)
        if wrong:
            proof.find(wrong)
    if min(early, sum(writer.found for writer in writers) - early) < len(writers):
        proof.find(f"the trim was not in the middle: {early} lines came before it")


def load(proof, old, count, lines, kills):
    """Has the log written and trimmed, and judges it. The lines that were read, and the torn ones."""
    prefix = proof.labs[0].prefix
    folder = prefix / "drive_c" / "load"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    (folder / "Old.log").write_bytes(old)
    for number in range(count + 1):
        wanted = texts(proof.seed, number)
        text = "".join(f"{next(wanted)}\0" for _ in range(lines if number < count else 1))
        (folder / f"{number}.lines").write_bytes((text + "\0").encode("utf-16-le", "surrogatepass"))
    program = Path(os.environ["PALVO_LAB_BIN"], "tests", "proof", "log-writer.exe")
    result = subprocess.run(
        ["wine", program, r"C:\load", str(count), str(kills), str(count * lines // 3), str(proof.seed)],
        env=dict(os.environ, WINEPREFIX=str(prefix), WINEARCH="win64", WINEDEBUG="-all", DISPLAY=""),
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True, timeout=3600)
    writers = [Writer(proof.seed, number, *map(int, line.split()))
               for number, line in enumerate(result.stdout.decode().splitlines())]
    before, after = ((folder / name).read_bytes() for name in ("Before.log", "Load.log"))
    check(proof, old, before, after, writers, lines, kills)
    found, torn = sum(writer.found for writer in writers), sum(writer.torn for writer in writers)
    whole = sum(writer.found > writer.written for writer in writers)
    proof.figure(f"{len(writers)} writers, {kills} killed: {found} lines, {len(before)} bytes before the "
                 f"trim, {len(after)} at the end; at a kill {torn} torn and {whole} whole")
    return found, torn


def main():
    proof = Proof("Log under load: many writers, kills, and a trim in the middle")
    proof.labs[0]("help")       # makes the prefix
    writers, lines, killed = 64, 10000 if proof.long else 150, 32
    old = old_lines(proof.seed)
    found, torn = map(sum, zip(*(load(proof, old, writers, lines, kills) for kills in (0, killed))))
    proof.end(f"{writers} writers with {lines} lines, twice; {killed} killed, "
              f"{found} lines read, {torn} torn")


if __name__ == "__main__":
    main()
