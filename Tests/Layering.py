#!/usr/bin/env python3
"""Checks that the folders of Sources/Dovra include one another in one direction only.

usage: Layering.py FOLDER      the folder that holds Base, Platform, ...; one line for each fault, status 1
"""

from __future__ import annotations

import re
import sys
from collections.abc import Iterator
from pathlib import Path

# Each row may include itself and the rows above it; folders that share a row may not include each other.
LAYERS = [
    ["Base"],
    ["Platform"],
    ["Index"],
    ["Stores"],
    ["Analysis"],
    ["Query"],
    ["Services"],
    ["CommandLine", "Servers", "Desktop", "Diagnostics"],
    ["main.cpp"],
]
LAYER_OF = {name: number for number, row in enumerate(LAYERS) for name in row}

# The headers of POSIX and Linux that are not the C++ standard library's; of the latter's only the signals.
SYSTEM_FOLDERS = {"arpa", "asm", "asm-generic", "bits", "linux", "net", "netinet", "sys"}
SYSTEM_HEADERS = {
    f"{name}.h"
    for name in """
    aio dirent dlfcn err error execinfo fcntl fmtmsg fnmatch fstab ftw getopt glob grp iconv ifaddrs langinfo
    libgen link malloc mntent monetary mqueue netdb nl_types paths poll pthread pty pwd regex resolv sched
    search semaphore shadow signal spawn strings syscall sysexits syslog termios ucontext ulimit unistd utime
    utmp utmpx wait wordexp
    """.split()
} | {"csignal"}

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')


def fault_of_quoted(part: str, in_platform: bool, included: str) -> str | None:
    """The fault of including one of Dovra's own headers from `part`, a folder or main.cpp."""
    target = included.split("/")[0]
    if "/" not in included or target not in LAYER_OF:
        return 'quotes are for headers of Dovra, written from Sources/Dovra ("Base/…")'
    if included.startswith("Platform/Linux/") and not in_platform:
        return "Platform/Linux is known to Platform only"
    if target != part and LAYER_OF[target] >= LAYER_OF[part]:
        return f"{part} may not use {target}"
    return None


def fault_of_angled(in_linux: bool, included: str) -> str | None:
    """The fault of including a header of the system or of a library."""
    if included.split("/")[0] in LAYER_OF:
        return "headers of Dovra are included in quotes"
    is_system = included in SYSTEM_HEADERS or included.split("/")[0] in SYSTEM_FOLDERS
    return "operating-system headers belong in Platform/Linux" if is_system and not in_linux else None


def includes(path: Path) -> Iterator[tuple[int, str | None, str | None]]:
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if match := INCLUDE.match(line):
            yield number, match[1], match[2]


def faults(root: Path) -> Iterator[str]:
    for path in sorted(p for p in root.rglob("*") if p.suffix in {".cpp", ".hpp", ".h"}):
        place = path.relative_to(root)
        part = place.parts[0]
        if part not in LAYER_OF:
            yield f"{place}:1: stands in no known folder"
            continue
        in_linux = place.parts[:2] == ("Platform", "Linux")
        for number, quoted, angled in includes(path):
            if quoted is not None:
                fault = fault_of_quoted(part, part == "Platform", quoted)
            else:
                fault = fault_of_angled(in_linux, angled or "")
            if fault:
                yield f"{place}:{number}: {quoted or angled}: {fault}"


def main(arguments: list[str]) -> int:
    if len(arguments) != 1 or not Path(arguments[0], "Base").is_dir():
        print(__doc__, file=sys.stderr)
        return 2
    found = list(faults(Path(arguments[0])))
    print("\n".join(found) or "Every include points the right way.")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
