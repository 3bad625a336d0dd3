#!/usr/bin/env python3
"""Days of work in a served tree, with servers that are killed and started again at random.

Whatever happened, a server that answers has to know the tree as it is, and a cache file that is left has to be right.
The test is a short day; `--minutes 30` goes on with days of other seeds, `--seed` chooses the first.
"""

from __future__ import annotations

import argparse
import contextlib
import os
import signal
import subprocess
import sys
import threading
import time
import unittest
from collections.abc import Iterator
from pathlib import Path
from random import Random
from typing import Any

from harness import ProgramTest
from toolServer import IS_SANITIZED, Server
from treeWork import DEEP, TreeWork

CACHE_DIFFERENCES = os.environ["DOVRA_CACHE_DIFFERENCES"]
SECONDS_UNTIL_RIGHT = 120.0
START_SECONDS = 0.5 if IS_SANITIZED else 0.05
SECONDS_UNTIL_STAMPS_COUNT = 3.1
MOST_ROWS = 1000  # that the server gives for one call
MINUTES = 0.0
SEED = 1

# Path, kind, size and time of each entry, as the server tells them.
Contents = set[tuple[str, str, int | None, str | None]]


class Day:
    """A tree in which is worked, and places for servers of it that share one cache file."""

    def __init__(self, test: SimulatedDayTest, seed: int, servers: int, most_entries: int) -> None:
        self.test = test
        self.random = Random(seed)
        self.work = TreeWork(test.root, self.random, most_entries)
        self.servers: list[Server | None] = [None] * servers
        self.data = test.home / ".local/share/Dovra"

    def turn(self) -> None:
        """Starts or ends a server, works, and looks whether all that live are right."""
        place = self.random.randrange(len(self.servers))
        server = self.servers[place]
        if server is None:
            self.spoil_cache()
            self.servers[place] = self.start()
        else:
            self.servers[place] = None
            end = self.random.choice([self.kill, self.kill, self.kill_in_a_save, self.end, self.end_when_right])
            self.work.done.append(end.__name__)
            end(server)
        for _ in range(self.random.randrange(4)):
            self.work.step()
        if self.random.random() < 0.6:
            self.compare()
        if self.random.random() < 0.1:
            self.work.done.append("rest")
            time.sleep(SECONDS_UNTIL_STAMPS_COUNT)

    def finish(self) -> None:
        for server in filter(None, self.servers):
            self.end(server)
        self.end_when_right(self.start())

    # Starting

    def start(self) -> Server | None:
        self.work.done.append("start")
        process = self.test.start_program("--mcp", "--in", self.test.root)
        server = Server(process)
        self.test.addCleanup(server.output.close)
        if self.random.random() < 0.6:
            return server
        end = self.random.choice([process.kill, process.terminate])
        threading.Timer(self.random.uniform(0, START_SECONDS), end).start()
        self.work.done.append(f"{end.__name__} at once")
        while process.poll() is None:
            if self.random.random() < 0.3:
                self.work.step()
        self.check_ended(server, -signal.SIGKILL, -signal.SIGTERM)
        return None

    def spoil_cache(self) -> None:
        for cache in self.data.glob("*.cache"):
            if self.random.random() < 0.1:
                os.truncate(cache, self.random.randrange(cache.stat().st_size))

    # Ending

    def kill(self, server: Server) -> None:
        server.process.kill()
        self.check_ended(server, -signal.SIGKILL)

    def kill_in_a_save(self, server: Server) -> None:
        """At its end: as soon as there is a file beside the cache, or some moments later."""
        if self.random.random() < 0.7:
            self.work.step()
            self.compare_with(server)
        known = self.files()
        server.input.close()
        while server.process.poll() is None and self.files() <= known:
            pass
        time.sleep(self.random.choice([0, 0, 0.001, 0.003]))
        server.process.kill()
        self.check_ended(server, 0, -signal.SIGKILL)

    def files(self) -> set[tuple[str, int]]:
        """What the servers keep: each file's name and number."""
        with contextlib.suppress(FileNotFoundError):
            return {(entry.name, entry.inode()) for entry in os.scandir(self.data)}
        return set()

    def end(self, server: Server) -> None:
        """An orderly end, whatever it is at."""
        ways = {0: server.input.close, -signal.SIGTERM: server.process.terminate}
        statuses = self.random.choice([[0], [-signal.SIGTERM], [0, -signal.SIGTERM]])
        for status in statuses:
            ways[status]()
        self.check_ended(server, *statuses)

    def end_when_right(self, server: Server | None) -> None:
        """An orderly end with nothing left to do: what it saved is the tree as it is."""
        if server is None:
            return
        self.compare_with(server)
        self.end(server)
        if len(self.servers) == 1:
            self.check_cache("now")

    def check_ended(self, server: Server, *statuses: int) -> None:
        self.test.assertIn(server.process.wait(SECONDS_UNTIL_RIGHT), statuses, server.errors.read())
        server.output.close()
        server.process.__exit__(None, None, None)
        self.check_cache("after-replay")
        # The remains of killed saves do not pile up.
        self.test.assertLessEqual(sum(".cache." in name for name, _ in self.files()), 1)

    # Comparing

    def check_cache(self, when: str) -> None:
        for cache in self.data.glob("*.cache"):
            command = [CACHE_DIFFERENCES, cache, self.test.root, when]
            checked = subprocess.run(command, capture_output=True, check=False)
            said = checked.stdout + checked.stderr
            is_cut = b"not loaded" in said and when == "after-replay"
            if checked.returncode != 0 and not is_cut:
                self.fail(f"the cache is wrong, {when}:\n{os.fsdecode(said)}")

    def compare(self) -> None:
        for server in filter(None, self.servers):
            self.compare_with(server)

    def compare_with(self, server: Server) -> None:
        """Waits until the server is right. It may take some moments to find what changed while it was away."""
        expected, sizes = self.on_disk()
        end = time.monotonic() + SECONDS_UNTIL_RIGHT
        while (found := set(self.rows(server, sizes))) != expected:
            if time.monotonic() > end:
                missing, surplus = sorted(expected - found, key=str), sorted(found - expected, key=str)
                self.fail(f"missing: {missing[:5]} of {len(missing)}\ntoo much: {surplus[:5]} of {len(surplus)}")
            time.sleep(0.01)
        self.test.assertEqual(server.call("index_stats")["indexedItems"], len(expected) + self.work.deep_folders)

    def on_disk(self) -> tuple[Contents, list[int]]:
        """The tree, and the sizes of its files in order."""
        contents: Contents = set()
        sizes = []
        for entry in self.work.entries():
            status = entry.stat(follow_symlinks=False)
            is_folder = entry.is_dir(follow_symlinks=False)
            seconds = status.st_mtime_ns // 1_000_000_000
            modified = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))
            path = os.fsencode(entry.path).decode(errors="replace")
            contents.add((path, "folder" if is_folder else "file", None if is_folder else status.st_size, modified))
            if not is_folder:
                sizes.append(status.st_size)
        return contents, sorted(sizes)

    def rows(self, server: Server, sizes: list[int]) -> Iterator[Any]:
        """All that the server knows but the deep chain, in as many calls as files of these sizes take."""
        bounds = [0, *sorted(set(sizes[:: MOST_ROWS // 2])), 1 << 40]
        ranges = [f"file: size:>={low} size:<{high}" for low, high in zip(bounds, bounds[1:]) if low < high]
        for query in [f"folder: !{DEEP}", *ranges]:
            found = server.call("search_files", query=query, limit=MOST_ROWS)
            if isinstance(found, str):
                self.fail(found)
            for row in found["results"]:
                yield row["path"], row["type"], row.get("bytes"), row.get("modified")

    def fail(self, what: str) -> None:
        self.test.fail(f"{what}\nafter {self.work.done}")


class SimulatedDayTest(ProgramTest):
    def live(self, servers: int) -> None:
        turns, most_entries = (300, 8000) if MINUTES else (20 if servers == 1 else 12, 1000)
        with self.subTest(servers=servers, seed=SEED):
            day = Day(self, SEED, servers, most_entries)
            for _ in range(turns):
                day.turn()
            day.finish()

    def test_one_server(self) -> None:
        self.live(servers=1)

    def test_two_servers_that_share_a_cache(self) -> None:
        self.live(servers=2)


def main() -> None:
    global MINUTES, SEED
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--minutes", type=float, default=0, help="how long (default: one short day)")
    parser.add_argument("--seed", type=int, default=1, help="the first seed")
    given, others = parser.parse_known_args()
    MINUTES, SEED = given.minutes, given.seed
    end = time.monotonic() + 60 * MINUTES
    while unittest.main(argv=[sys.argv[0], *others], exit=False).result.wasSuccessful():
        if time.monotonic() >= end:
            return
        SEED += 1
    sys.exit(1)


if __name__ == "__main__":
    main()
