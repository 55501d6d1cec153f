"""The log under load: many writers at once, kills among them, a trim in the middle."""

import os
import re
import shutil
import subprocess
from pathlib import Path

from proof import Proof

ALPHABET = [b"a", b"Z", b" ", b"%s", b"%n", "\u00e9".encode("cp1252"), "\u00ff".encode("cp1252"),
            b"", b"", b"\t", b'"', b"\\", b"0", b"~", b"", b"\x1a"]
STAMP = re.compile(rb"\[\d{1,2}/\d{1,2}/\d{4} \d{1,2}:\d\d:\d\d [AP]M\] log-writer\(PID\d+\): ")
OLD_LINE = b"[1/1/2024 1:00:00 AM] log-writer(PID1): old line %07d\r\n"
TRIMMED = b"Log trimmed."
KILLED = 77
KEPT = 0x200000


def expected(writer, number, seed):
    """The line's text without what the code page lacks, which is question marks in the file."""
    state = seed * 1000003 + writer * 100000 + number

    def following(bound):
        nonlocal state
        state = (state * 6364136223846793005 + 1442695040888963407) & 0xFFFFFFFFFFFFFFFF
        return (state >> 33) % bound

    text = b"".join(ALPHABET[following(16)] for _ in range(following(40)))
    return b"%d %d %s|" % (writer, number, text)


def check(proof, content, codes, lines):
    """Judges the file; gives the lines of writers, the trims, and the torn lines."""
    if not content.endswith(b"\r\n") and KILLED not in codes:
        proof.find("the last line has no end")
    seen = [[] for _ in codes]
    trims, torn, kept_before = 0, 0, None
    position = 0
    for line in content.split(b"\r\n")[:-1]:
        start = position
        position += len(line) + 2
        if OLD_LINE[:40] in line:
            continue
        stamp = STAMP.match(line)
        text = line[stamp.end():] if stamp else line
        if stamp and text == TRIMMED:
            trims += 1
            kept_before = start
            continue
        numbers = re.match(rb"(\d+) (\d+) ", text)
        if stamp and numbers and int(numbers[1]) < len(codes):
            writer, number = int(numbers[1]), int(numbers[2])
            if text.replace(b"?", b"") == expected(writer, number, proof.seed):
                seen[writer].append(number)
                continue
        torn += 1
        if KILLED not in codes:
            proof.find(f"torn or strange: {line[:200]!r}")
    for writer, numbers in enumerate(seen):
        # What a trim drops is the oldest; a killed writer lacks the newest.
        whole = codes[writer] == 0
        if whole and (not numbers or numbers[-1] != (lines if writer < len(seen) - 1 else 1) - 1):
            proof.find(f"writer {writer} ended, and its last line is not there")
        if numbers != list(range(numbers[0], numbers[0] + len(numbers))) if numbers else False:
            proof.find(f"writer {writer}'s lines are lost or out of order")
    if torn > codes.count(KILLED):
        proof.find(f"{torn} torn lines, and {codes.count(KILLED)} killed writers")
    if kept_before is not None and not KEPT - 5000 <= kept_before <= KEPT + 5000:
        proof.find(f"the trim kept {kept_before} bytes")
    return sum(map(len, seen)), trims, torn


def main():
    proof = Proof("Log under load: many writers, kills, and a trim in the middle")
    build = Path(os.environ["PALVO_LAB_BIN"])
    prefix = proof.labs[0].prefix
    folder = prefix / "drive_c" / "load"
    environment = dict(os.environ, WINEPREFIX=str(prefix), WINEARCH="win64", WINEDEBUG="-all",
                       DISPLAY="")
    proof.labs[0]("help")       # makes the prefix
    writers, lines, total, torn_total, killed_total = 64, 10000 if proof.long else 150, 0, 0, 0
    for killed in (0, 8):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        log = folder / "Load.log"
        result = subprocess.run(
            ["wine", build / "tests" / "proof" / "log-writer.exe", r"C:\load", str(writers),
             str(lines), str(proof.seed), str(killed)], env=environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, check=True, timeout=3600)
        codes = [int(line.split()[1]) for line in result.stdout.decode().splitlines()]
        found, trims, torn = check(proof, log.read_bytes(), codes, lines)
        if not killed and not proof.long and found != writers * lines + 1:
            proof.find(f"{found} lines of {writers * lines + 1}")
        total, torn_total = total + found, torn_total + torn
        killed_total += codes.count(KILLED)
        print(f"  {len(codes)} writers, {codes.count(KILLED)} killed: {found} lines kept, "
              f"{trims} trims, {torn} torn", flush=True)
    proof.end(f"{writers} writers with {lines} lines, twice; {killed_total} killed, "
              f"{total} lines kept, {torn_total} torn")


if __name__ == "__main__":
    main()
