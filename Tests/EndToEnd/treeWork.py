"""Works in a folder tree as people and their programs do, at random."""

from __future__ import annotations

import compileall
import contextlib
import io
import os
import shutil
import stat
import subprocess
import tarfile
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from random import Random

NAMES = ["a", "b", "notes", "project", "Übung", "two words", "line\nbreak", "\udcff"]
OLD_TIME = 1_000_000_000
DEEP = "x" * 200  # the name of each folder of a chain that is deeper than a path can tell
GIT = shutil.which("git")


class TreeWork:
    """Each step leaves at most `most_entries` in the tree, of which a fifth and 900 at most are folders.

    A file with several names is changed in place only with a touch of each: where its other names stand nothing
    happens then, and what is known of them may be old.
    """

    def __init__(self, root: Path, origin: Path, random: Random, most_entries: int) -> None:
        self.root = root
        self.random = random
        self.most_entries = most_entries
        self.most_folders = min(most_entries // 5, 900)
        self.origin = origin
        self.done: list[str] = []  # what a failure is told with
        self.deep_folders = 0
        self._number = 0
        twice = [self.write_files, self.move]
        once = [self.make_folders, self.save_atomically, self.append, self.change_and_put_times_back, self.swap]
        once += [self.put_times_back, self.change_names_and_put_times_back, self.rename_many, self.delete_file]
        once += [self.delete_folder, self.put_file_for_folder, self.put_folder_for_file, self.link, self.take_rights]
        once += [self.change_through_one_name, self.rename_above, self.change_one_of_many, self.dig_or_fill]
        once += [self.unpack, self.build, *([self.clone] if GIT else [])]
        self._steps = [*twice, *twice, *once]

    def step(self) -> None:
        work = self.random.choice(self._steps)
        self.done.append(work.__name__)
        # What the choice of places makes impossible is not done, such as moving a folder into itself.
        with contextlib.suppress(OSError, IndexError):
            work()
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

    def save_atomically(self) -> None:
        file = self._file()
        temporary = file.with_name(".saved~")
        temporary.write_bytes(self._bytes())
        temporary.replace(file)

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
        time = OLD_TIME + self.random.randrange(1000)
        os.utime(place, (time, time))

    def rename_many(self) -> None:
        folder = self._folder()
        for path in self._listed(folder):
            path.rename(path.with_name(f"{path.name}~"[-40:]))

    def move(self) -> None:
        path = self._folder_below_root() if self.random.random() < 0.6 else self._file()
        path.rename(self._folder() / self._new_name())

    def swap(self) -> None:
        one, other = self._folder_below_root(), self._folder_below_root()
        if one in [other, *other.parents] or other in one.parents:
            return
        aside = self.root / ".aside"
        one.rename(aside)
        other.rename(one)
        aside.rename(other)

    def delete_file(self) -> None:
        self._file().unlink()

    def delete_folder(self) -> None:
        shutil.rmtree(self._folder_below_root())

    def put_file_for_folder(self) -> None:
        folder = self._folder_below_root()
        shutil.rmtree(folder)
        folder.write_bytes(self._bytes())

    def put_folder_for_file(self) -> None:
        file = self._file()
        file.unlink()
        file.mkdir()
        (file / self._new_name()).write_bytes(self._bytes())

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

    @contextlib.contextmanager
    def _program_in(self, folder: Path) -> Iterator[Callable[[], None]]:
        """Something that makes and renames files in the folder, wherever that is and whoever may look for it."""
        inside = os.open(folder, os.O_RDONLY)

        def work() -> None:
            time.sleep(self.random.uniform(0, 0.04))
            descriptor = os.open(".new", os.O_WRONLY | os.O_CREAT | os.O_EXCL, dir_fd=inside)
            os.write(descriptor, self._bytes())
            os.close(descriptor)
            os.rename(".new", f"{self.random.randrange(5)}.made", src_dir_fd=inside, dst_dir_fd=inside)

        try:
            yield work
        finally:
            os.close(inside)

    def _way_to(self, folder: Path) -> list[Path]:
        """The folder and those above it, without the root."""
        return [folder, *(above for above in folder.parents if self.root in above.parents)]

    def take_rights(self) -> None:
        """Gives them back at the end."""
        folder = self._folder_below_root()
        taken = self.random.choice(self._way_to(folder))
        mode = stat.S_IMODE(taken.stat().st_mode)
        with self._program_in(folder) as work:
            taken.chmod(0)
            try:
                work()
                work()
            finally:
                taken.chmod(mode)

    def rename_above(self) -> None:
        folder = self._folder_below_root()
        with self._program_in(folder) as work:
            for path in self._way_to(folder):
                work()
                path.rename(path.with_name(self._new_name()))

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
        folder = os.open(self.root, os.O_RDONLY)
        for _ in range(self.random.randrange(1, 300)):
            os.mkdir(DEEP, dir_fd=folder)
            self.deep_folders += 1
            below = os.open(DEEP, os.O_RDONLY, dir_fd=folder)
            os.close(folder)
            folder = below
        os.close(folder)

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
        """Objects with temporary names, renamed when they are whole; then a compiler that works so too."""
        folder = self._folder() / "build"
        folder.mkdir(exist_ok=True)
        for number in range(self.random.randrange(1, 60)):
            unfinished = folder / f"{number}.o.tmp"
            unfinished.write_bytes(self._bytes())
            unfinished.replace(folder / f"{number}.o")
            (folder / f"{number % 10}.py").unlink(missing_ok=True)
            (folder / f"{number % 10}.py").write_text(f"number = {number}\n")
        compileall.compile_dir(folder, quiet=2)

    def clone(self) -> None:
        if not self.origin.exists():
            self._git("init", "--quiet", str(self.origin))
            for number in range(20):
                folder = self.origin / f"source{number % 5}"
                folder.mkdir(exist_ok=True)
                (folder / f"{number}.c").write_bytes(self._bytes())
            self._git("-C", str(self.origin), "add", ".")
            self._git("-C", str(self.origin), "commit", "--quiet", "--message", "all")
        target = self._folder() / self._new_name()
        if not os.path.lexists(target):
            self._git("clone", "--quiet", str(self.origin), str(target))

    def _git(self, *arguments: str) -> None:
        assert GIT
        user = ["-c", "user.name=anyone", "-c", "user.email=anyone@localhost", "-c", "safe.directory=*"]
        environment = {"PATH": os.defpath, "HOME": str(self.origin.parent), "GIT_CONFIG_NOSYSTEM": "1"}
        subprocess.run([GIT, *user, *arguments], check=True, env=environment)

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
