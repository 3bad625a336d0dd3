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
    ["Index", "Preview"],
    ["Stores"],
    ["Analysis"],
    ["Query"],
    ["Services"],
    ["CommandLine", "Servers", "Desktop", "Diagnostics", "PreviewDecoder"],
    ["main.cpp"],
]
LAYER_OF = {name: number for number, row in enumerate(LAYERS) for name in row}

# Whose headers are not the operating system's, although they end in ".h".
LIBRARIES = (
    "MediaInfo/", "emmintrin.h", "fmt/", "immintrin.h", "oneapi/", "openssl/", "pcre2.h", "plist/", "unicode/",
    "xcb/")

# The toolkit of the windows and of the preview's decoder, which nothing else may need.
TOOLKIT = re.compile(r"Qt?[A-Z]")

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)


def fault_of_quoted(part: str, included: str) -> str | None:
    """The fault of including one of Dovra's own headers from `part`, a folder or main.cpp."""
    target = included.split("/")[0]
    if "/" not in included or target not in LAYER_OF:
        return 'quotes are for headers of Dovra, written from Sources/Dovra ("Base/…")'
    if included.startswith("Platform/Linux/") and part != "Platform":
        return "Platform/Linux is known to Platform only"
    if target != part and LAYER_OF[target] >= LAYER_OF[part]:
        return f"{part} may not use {target}"
    return None


def fault_of_angled(in_linux: bool, has_toolkit: bool, included: str) -> str | None:
    """The fault of including a header of the system or of a library."""
    if TOOLKIT.match(included) and not has_toolkit:
        return "the toolkit is for the windows in Desktop and for PreviewDecoder only"
    if included.split("/")[0] in LAYER_OF:
        return "headers of Dovra are included in quotes"
    is_system = included == "csignal" or (included.endswith(".h") and not included.startswith(LIBRARIES))
    return "operating-system headers belong in Platform/Linux" if is_system and not in_linux else None


def faults(root: Path) -> Iterator[str]:
    for path in sorted(p for p in root.rglob("*") if p.suffix in {".cpp", ".hpp", ".h"}):
        place = path.relative_to(root)
        part = place.parts[0]
        if part not in LAYER_OF:
            yield f"{place}: stands in no known folder"
            continue
        in_linux = place.parts[:2] == ("Platform", "Linux")
        in_model = place.parts[:2] == ("Desktop", "Model")
        has_toolkit = part == "PreviewDecoder" or (part == "Desktop" and not in_model)
        for quoted, angled in INCLUDE.findall(path.read_text(encoding="utf-8")):
            fault = fault_of_quoted(part, quoted) if quoted else fault_of_angled(in_linux, has_toolkit, angled)
            if in_model and quoted.startswith("Desktop/") and not quoted.startswith("Desktop/Model/"):
                fault = "Desktop/Model knows no windows"
            if fault:
                yield f"{place}: {quoted or angled}: {fault}"


def main(folder: str) -> None:
    if not Path(folder, "Base").is_dir():
        sys.exit(__doc__)
    sys.exit("\n".join(faults(Path(folder))) or None)


if __name__ == "__main__":
    main(sys.argv[1])
