"""Makes a tree of files and folders with the names that programs trip over.

usage: makeRandomTree.py <new folder> <seed> <entries>
"""

from __future__ import annotations

import os
import random
import sys

NAME_MAX = 255

# Small and capital letters that fold in unusual ways (long s, Kelvin sign, dotted capital I, sharp s, final
# sigma), letters with and without combining marks, other scripts, and beyond the first plane.
LETTERS = [*"kKsSiIaAeEßẞſKİıσςΣéÉüÜöåÅйиがか中文ﬁ😀", "e\u0301", "E\u0301", "u\u0308", "\u0301", "\u200d", "\ufffd"]
ODD_BYTES = [b"\xff", b"\xc3", b"\x80", b"\xed\xa0\x80", b"\xf0\x9f\x98", b"\xc0\xaf", b"\x1b[31m",
             *(bytes([byte]) for byte in b"\n\t\r\x01\x7f\"'\\ *?|<>!:;,$([")]
WORDS = "report Report REPORT log invoice IMG draft src main test README photo 2024 12 v2 Final size regex ext".split()
EXTENSIONS = ["", "", ".txt", ".TXT", ".jpg", ".JPEG", ".tar.gz", ".c", ".h", ".pdf", ".md", ".Sh", ".é", ".", ".."]
SEPARATORS = ["", "-", "_", " ", ".", "--"]
SIZES = [0, 0, 1, 1023, 1024, 1025, 1536, 1 << 20, (1 << 30) + 1, (1 << 33) - 7]
TIMES = [-86401.5, -1, 0, 0.5, 951782399, 951782400, 1704067199, 1709164800, 4102444800, 1234567890]


def name(rng: random.Random) -> bytes:
    def some(pieces: list, most: int) -> list:
        return rng.choices(pieces, k=rng.randint(1, most))

    usual = (rng.choice(SEPARATORS).join(some(WORDS, 3)) + rng.choice(EXTENSIONS)).encode()
    letters = ("".join(some(LETTERS + WORDS, 6)) + rng.choice(EXTENSIONS)).encode()
    odd = b"".join(some([*ODD_BYTES, letters[:4], usual[:4]], 6))
    any_bytes = bytes(some([byte for byte in range(1, 256) if byte != 0x2F], 20))
    long = (usual + letters + b"x") * NAME_MAX
    short = "".join(some([*"abkKsS.-1"], 2)).encode()
    return rng.choices([usual, letters, odd, any_bytes, long[:NAME_MAX], long[: rng.randint(60, NAME_MAX)], short],
                       weights=[45, 20, 12, 6, 3, 1, 13])[0]


def main() -> None:
    folder, seed, entries = sys.argv[1:]
    rng = random.Random(int(seed))
    folders = [os.fsencode(folder)]
    os.mkdir(folder)
    for _ in range(int(entries)):
        path = os.path.join(rng.choice(folders), name(rng))
        if os.path.lexists(path):
            continue  # ".", "..", or a name that was drawn before
        kind = rng.random()
        if kind < 0.25:
            os.mkdir(path)
            folders.append(path)
        elif kind < 0.33:
            # A folder above (a loop), a file, nothing at all.
            os.symlink(rng.choice([*folders, b"..", b".", b"nowhere", path]), path)
        else:
            with open(path, "xb") as file:
                file.truncate(rng.choice(SIZES))  # sparse: the length alone counts
        time = rng.choice(TIMES)
        os.utime(path, (time, time), follow_symlinks=False)


if __name__ == "__main__":
    main()
