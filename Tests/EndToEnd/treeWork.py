"""Works in a folder tree as people and their programs do, at random."""

from __future__ import annotations

import contextlib
import io
import os
import shutil
import stat
import tarfile
import time
from collections.abc import Iterator
from pathlib import Path
from random import Random

NAMES = ["a", "b", "notes", "project", "Übung", "U\u0308bung", "two words", "line\nbreak", "\udcff\udced\udca0", "..."]
# Names that fold in unusual ways, names with a meaning in a query, and the longest one.
NAMES += ["KſSẞß.K", "İiıI", "ΣΌΣσς😀", "-x", "a|b !<c>", "[(*?$\"", "\x1b[31m\t", "y" * 255]
OLD_TIME = 1_000_000_000
DEEP = "x" * 200  # the name of each folder of a chain that is deeper than a path can tell


def dig(root: Path, name: str, depth: int) -> None:
    """Makes a chain of folders of one name, whose paths may be longer than the system takes."""
    folder = os.open(root, os.O_RDONLY)
    for _ in range(depth):
        os.mkdir(name, dir_fd=folder)
        below = os.open(name, os.O_RDONLY, dir_fd=folder)
        os.close(folder)
        folder = below
    os.close(folder)


class TreeWork:
    """Every public method but `step` and `entries` is something that people do.

    Each step leaves at most `most_entries` in the tree, of which a fifth and 900 at most are folders.

    A file with several names is changed in place only with a touch of each: where its other names stand nothing
    happens then, and what is known of them may be old.
    """

    def __init__(self, root: Path, random: Random, most_entries: int) -> None:
        self.root = root
        self.random = random
        self.most_entries = most_entries
        self.most_folders = min(most_entries // 5, 900)
        self.done: list[str] = []  # what a failure is told with
        self.deep_folders = 0
        self._number = 0
        steps = [work for name, work in vars(TreeWork).items() if name[0] != "_" and name not in ("step", "entries")]
        # Three times as often as any other.
        self._steps = [*steps, *[TreeWork.write_files, TreeWork.move] * 2]

    def step(self) -> None:
        work = self.random.choice(self._steps)
        self.done.append(work.__name__)
        # Some choices are impossible, such as moving a folder into itself. Those are left out.
        with contextlib.suppress(OSError, IndexError):
            work(self)
        self._bound()

    # Places

    def _new_name(self) -> str:
        if self.random.random() < 0.5:
            return self.random.choice(NAMES)
        self._number += 1
        return f"{self._number}.{self.random.choice(['txt', 'o', 'log', 'jpg'])}"

    def _folder(self) -> Path:
        folder = self.root
        while below := [path for path in self._listed(folder) if self._is_folder(path)]:
            if self.random.random() < 0.3:
                break
            folder = self.random.choice(below)
        return folder

    def _folder_below_root(self) -> Path:
        folder = self._folder()
        return folder if folder != self.root else self.random.choice([*filter(self._is_folder, self._listed(folder))])

    def _any(self) -> Path:
        return self._folder_below_root() if self.random.random() < 0.6 else self._file()

    def _file(self) -> Path:
        return self.random.choice([path for path in self._listed(self._folder()) if not self._is_folder(path)])

    def _file_of_one_name(self) -> Path:
        file = self._file()
        status = file.lstat()
        if not stat.S_ISREG(status.st_mode) or status.st_nlink != 1:
            raise IndexError
        return file

    @staticmethod
    def _listed(folder: Path) -> list[Path]:
        return sorted(path for path in folder.iterdir() if path.name != DEEP)

    @staticmethod
    def _is_folder(path: Path) -> bool:
        return path.is_dir() and not path.is_symlink()

    def _bytes(self) -> bytes:
        return b"x" * self.random.randrange(20_000)

    # Steps

    def write_files(self) -> None:
        folder = self._folder()
        for _ in range(self.random.randrange(1, 10)):
            path = folder / self._new_name()
            if not path.is_symlink() and not path.is_dir() and (not path.exists() or path.stat().st_nlink == 1):
                path.write_bytes(self._bytes())

    def make_folders(self) -> None:
        self._folder().joinpath(self._new_name(), self._new_name()).mkdir(parents=True)

    def append(self) -> None:
        with self._file_of_one_name().open("ab") as log:
            for _ in range(self.random.randrange(1, 20)):
                log.write(b"one more line\n")
                log.flush()

    def change_and_put_times_back(self) -> None:
        file = self._file_of_one_name()
        status = file.stat()
        file.write_bytes(self._bytes())
        os.utime(file, ns=(status.st_atime_ns, status.st_mtime_ns))

    def change_names_and_put_times_back(self) -> None:
        """As programs do that copy a folder with its times."""
        folder = self._folder_below_root()
        status = folder.stat()
        (folder / self._new_name()).mkdir()
        for path in self._listed(folder)[:2]:
            path.rename(path.with_name(f"{path.name}+"[-40:]))
        os.utime(folder, ns=(status.st_atime_ns, status.st_mtime_ns))

    def put_times_back(self) -> None:
        place = self._folder_below_root() if self.random.random() < 0.5 else self._file_of_one_name()
        os.utime(place, (OLD_TIME + self.random.randrange(1000),) * 2)

    def rename_many(self) -> None:
        folder = self._folder()
        for path in self._listed(folder):
            path.rename(path.with_name(f"{path.name}~"[-40:]))

    def move(self) -> None:
        self._any().rename(self._folder() / self._new_name())

    def swap(self) -> None:
        one, other = self._folder_below_root(), self._folder_below_root()
        if one in [other, *other.parents] or other in one.parents:
            return
        aside = self.root / ".aside"
        one.rename(aside)
        other.rename(one)
        aside.rename(other)

    def delete(self) -> None:
        """And puts something of another kind in its place, or nothing."""
        path = self._any()
        is_folder = self._is_folder(path)
        shutil.rmtree(path) if is_folder else path.unlink()
        if self.random.random() < 0.5:
            if not is_folder:
                path.mkdir()
                path /= self._new_name()
            path.write_bytes(self._bytes())

    def link(self) -> None:
        place = self._folder() / self._new_name()
        if self.random.random() < 0.5:
            place.symlink_to(self.random.choice(["nowhere", "..", str(self._folder())]))
        else:
            place.hardlink_to(self._file_of_one_name())

    def change_through_one_name(self) -> None:
        file = self._file()
        status = file.lstat()
        if stat.S_ISREG(status.st_mode):
            file.write_bytes(self._bytes())
            for entry in self.entries():
                if entry.inode() == status.st_ino:
                    os.utime(entry.path, ns=(status.st_atime_ns, status.st_mtime_ns))

    def disturb_a_program(self) -> None:
        """It makes files in a folder. One on the way there loses its rights for a while, or all are renamed."""
        folder = self._folder_below_root()
        way = [folder, *(above for above in folder.parents if self.root in above.parents)]
        taken = self.random.choice([None, *way])
        with contextlib.ExitStack() as at_end:
            inside = os.open(folder, os.O_RDONLY)
            at_end.callback(os.close, inside)
            if taken:
                at_end.callback(taken.chmod, stat.S_IMODE(taken.stat().st_mode))
                taken.chmod(0)
            for path in way:
                self._make_file(inside)
                if not taken:
                    path.rename(path.with_name(self._new_name()))

    def _make_file(self, inside: int) -> None:
        """In an open folder, wherever that is and whoever may look for it."""
        time.sleep(self.random.uniform(0, 0.04))
        with open(os.open(".new", os.O_WRONLY | os.O_CREAT | os.O_EXCL, dir_fd=inside), "wb") as file:
            file.write(self._bytes())
        os.rename(".new", f"{self.random.randrange(5)}.made", src_dir_fd=inside, dst_dir_fd=inside)

    def change_one_of_many(self) -> None:
        folder = self.root / "many"
        if not folder.exists():
            folder.mkdir()
            for number in range(self.most_entries // 5):
                (folder / f"{number}.dat").write_bytes(b"x" * number)
        changing = folder / "changing.log"
        changing.unlink(missing_ok=True)  # It may have got another name meanwhile.
        for _ in range(100):
            changing.write_bytes(self._bytes())

    def dig_or_fill(self) -> None:
        if self.deep_folders:
            shutil.rmtree(self.root / DEEP)
            self.deep_folders = 0
            return
        self.deep_folders = self.random.randrange(1, 300)
        dig(self.root, DEEP, self.deep_folders)

    def unpack(self) -> None:
        packed = io.BytesIO()
        with tarfile.open(fileobj=packed, mode="w") as archive:
            for number in range(self.random.randrange(self.most_entries // 4)):
                member = tarfile.TarInfo(f"package/{number % 7}/{number % 31}/{number}.h")
                member.size = self.random.randrange(2000)
                member.mtime = OLD_TIME + number
                archive.addfile(member, io.BytesIO(b"x" * member.size))
        packed.seek(0)
        with tarfile.open(fileobj=packed) as archive:
            archive.extractall(self._folder() / self._new_name())

    def build(self) -> None:
        """Objects with temporary names, which are renamed when they are whole."""
        folder = self._folder() / "build"
        folder.mkdir(exist_ok=True)
        for number in range(self.random.randrange(1, 60)):
            unfinished = folder / f"{number}.o.tmp"
            unfinished.write_bytes(self._bytes())
            unfinished.replace(folder / f"{number}.o")

    # Bounds

    def entries(self) -> Iterator[os.DirEntry[str]]:
        """Everything in the tree but the deep chain, folders before what they hold."""
        pending = [str(self.root)]
        while pending:
            with os.scandir(pending.pop()) as folder:
                for entry in folder:
                    if entry.name == DEEP:
                        continue
                    yield entry
                    if entry.is_dir(follow_symlinks=False):
                        pending.append(entry.path)

    def _bound(self) -> None:
        """Deletes whole folders until the tree is small and flat enough again."""
        while True:
            entries = list(self.entries())
            folders = [entry for entry in entries if entry.is_dir(follow_symlinks=False)]
            deep = [entry.path for entry in folders if entry.path.count("/") > str(self.root).count("/") + 40]
            if not deep and len(entries) <= self.most_entries and len(folders) <= self.most_folders:
                return
            self.done.append("bound")
            if deep or folders:
                shutil.rmtree(deep[0] if deep else self.random.choice(folders).path)
            else:
                self._file().unlink()
