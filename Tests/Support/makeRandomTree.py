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
CHARACTERS = list("kKsSiIaAeEßẞſKİıσςΣéÉüÜöåÅйиがか中文ﬁ😀") + ["e\u0301", "E\u0301", "u\u0308", "\u0301", "\u200d", "\ufffd"]
ODD_BYTES = [b"\xff", b"\xc3", b"\x80", b"\xed\xa0\x80", b"\xf0\x9f\x98", b"\xc0\xaf", b"\n", b"\t", b"\r", b"\x1b[31m",
             b"\x01", b"\x7f", b'"', b"'", b"\\", b" ", b"*", b"?", b"|", b"<", b">", b"!", b":", b";", b",", b"$", b"(", b"["]
WORDS = ["report", "Report", "REPORT", "log", "invoice", "IMG", "draft", "src", "main", "test", "README", "makefile",
         "photo", "2024", "12", "v2", "Final", "size", "regex", "ext"]
EXTENSIONS = ["", "", ".txt", ".TXT", ".jpg", ".JPEG", ".tar.gz", ".c", ".h", ".pdf", ".md", ".Sh", ".é", ".", ".."]
SEPARATORS = ["", "-", "_", " ", ".", "--"]


class TreeMaker:
    def __init__(self, root: bytes, seed: int) -> None:
        self.random = random.Random(seed)
        self.folders = [root]
        os.mkdir(root)

    def usual_name(self) -> bytes:
        words = self.random.choices(WORDS, k=self.random.randint(1, 3))
        return (self.random.choice(SEPARATORS).join(words) + self.random.choice(EXTENSIONS)).encode()

    def unicode_name(self) -> bytes:
        pieces = self.random.choices(CHARACTERS + WORDS, k=self.random.randint(1, 6))
        return ("".join(pieces) + self.random.choice(EXTENSIONS)).encode()

    def byte_name(self) -> bytes:
        pieces = [self.random.choice(ODD_BYTES) if self.random.random() < 0.4 else self.unicode_name()[:4]
                  for _ in range(self.random.randint(1, 6))]
        return b"".join(pieces)

    def random_bytes(self) -> bytes:
        return bytes(self.random.choice([b for b in range(1, 256) if b != 0x2F]) for _ in range(self.random.randint(1, 20)))

    def long_name(self) -> bytes:
        name = b"".join(self.usual_name() + self.unicode_name() for _ in range(40))
        return name[:NAME_MAX] if self.random.random() < 0.7 else name[: self.random.randint(60, NAME_MAX)]

    def short_name(self) -> bytes:
        return "".join(self.random.choices("abkKsS.-1", k=self.random.randint(1, 2))).encode()

    def name(self) -> bytes:
        makers = [self.usual_name, self.unicode_name, self.byte_name, self.random_bytes, self.long_name, self.short_name]
        return self.random.choices(makers, weights=[45, 20, 12, 6, 4, 13])[0]()

    def add(self) -> None:
        path = os.path.join(self.random.choice(self.folders), self.name())
        if os.path.lexists(path):
            return  # ".", "..", or a name that was drawn before
        kind = self.random.random()
        if kind < 0.25:
            os.mkdir(path)
            self.folders.append(path)
        elif kind < 0.33:
            # A folder above (a loop), a file, nothing at all.
            os.symlink(self.random.choice(self.folders + [b"..", b".", b"nowhere", path]), path)
        else:
            self.add_file(path)
            return
        self.set_times(path)

    def add_file(self, path: bytes) -> None:
        with open(path, "xb") as file:
            # Sparse: the length alone counts.
            file.truncate(self.random.choice([0, 0, 1, 1023, 1024, 1025, 1536, 1 << 20, (1 << 30) + 1, self.random.randrange(1 << 33)]))
        self.set_times(path)

    def set_times(self, path: bytes) -> None:
        now_and_then = [-86401.5, -1, 0, 0.5, 951782399, 951782400, 1704067199, 1709164800, 4102444800, self.random.randrange(1 << 31)]
        time = self.random.choice(now_and_then)
        os.utime(path, (time, time), follow_symlinks=False)


def main() -> None:
    folder, seed, entries = sys.argv[1:]
    maker = TreeMaker(os.fsencode(folder), int(seed))
    for _ in range(int(entries)):
        maker.add()


if __name__ == "__main__":
    main()
