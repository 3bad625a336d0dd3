#!/usr/bin/env python3
"""The preview's decoder: what it makes of good, broken and hostile files of every kind."""

from __future__ import annotations

import base64
import gzip
import json
import os
import struct
import subprocess
import sys
import unittest
import zlib

from harness import ProgramTest

if "DOVRA_PREVIEW_DECODER" not in os.environ:
    print("SKIPPED: the preview's decoder was not built: it needs Qt 6 and MediaInfo, and no sanitizer")
    sys.exit(77)

RED, BLUE, WHITE = 0xFF0000, 0x0000FF, 0xFFFFFF
# 16 pixels by 8: red on the left, blue on the right.
JPEG = base64.b64decode(
    "/9j/4AAQSkZJRgABAQEAZABkAAD/2wBDAAgGBgcGBQgHBwcJCQgKDBQNDAsLDBkSEw8UHRofHh0aHBwgJC4nICIsIxwcKDcpLDAxNDQ0Hyc5PTgyP"
    "C4zNDL/2wBDAQkJCQwLDBgNDRgyIRwhMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjL/wAARCAAIABADAS"
    "IAAhEBAxEB/8QAFQABAQAAAAAAAAAAAAAAAAAAAAb/xAAUEAEAAAAAAAAAAAAAAAAAAAAA/8QAFAEBAAAAAAAAAAAAAAAAAAAABv/EABkRAAIDAQA"
    "AAAAAAAAAAAAAAABEBoLCB//aAAwDAQACEQMRAD8Ai0gBLztmmhfPF75P/9k="
)


def png(width: int, height: int, text: bytes = b"") -> bytes:
    """A blue picture. Of one that is too large to be drawn, most rows are missing."""
    rows = (b"\0" + b"\0\0\xff" * width) * min(height, 50)
    return b"\x89PNG\r\n\x1a\n" + b"".join(
        struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))
        for kind, content in [(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)), (b"tEXt", text),
                              (b"IDAT", zlib.compress(rows)), (b"IEND", b"")] if content or kind != b"tEXt")


def turned_jpeg(thumbnail: bytes) -> bytes:
    """The picture as of a camera that was held upright, with its thumbnail."""
    segment = b"Exif\0\0MM\0*\0\0\0\x08\0\x01" + struct.pack(">HHIHHI", 0x0112, 3, 1, 6, 0, 0) + thumbnail
    return JPEG[:2] + b"\xff\xe1" + struct.pack(">H", len(segment) + 2) + segment + JPEG[2:]


def song(cover: bytes) -> bytes:
    tags = b"".join(name + struct.pack(">I", len(content)) + bytes(2) + content for name, content in [
        (b"TIT2", b"\0A song"), (b"TPE1", b"\0Somebody"), (b"APIC", b"\0image/png\0\x03\0" + cover)])
    size = bytes(len(tags) >> shift & 127 for shift in (21, 14, 7, 0))
    return b"ID3\x03\0\0" + size + tags + (b"\xff\xfb\x90\x00" + bytes(413)) * 2500


# A red square on the lower half of each page.
PDF = (b"%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj 2 0 obj<</Type/Pages/Count 3/Kids[4 0 R 4 0 R 4 0 R]>>"
       b"endobj 3 0 obj<</Length 27>>stream\n1 0 0 rg 50 50 100 100 re f\nendstream endobj 4 0 obj<</Type/Page/Parent 2 0 R"
       b"/MediaBox[0 0 200 400]/Contents 3 0 R>>endobj trailer<</Root 1 0 R>>")


class PreviewDecoderTest(ProgramTest):
    def decode(self, content: bytes, *words: str, status: int = 0) -> list[tuple[dict[str, str], tuple[int, int], bytes]]:
        """Facts, size and pixels of each message."""
        with self.write("file", content).open("rb") as file:
            done = subprocess.run([os.environ["DOVRA_PREVIEW_DECODER"], "64", *words], stdin=file, capture_output=True,
                                  timeout=60)
        self.reason = done.stderr.decode().splitlines()[-1:]
        self.assertEqual(done.returncode, status, self.reason)
        messages, rest = [], done.stdout
        while rest:
            line, _, rest = rest.partition(b"\n")
            header = json.loads(line)
            size = header["width"], header["height"]
            messages.append((dict(header["facts"]), size, rest[:4 * size[0] * size[1]]))
            rest = rest[4 * size[0] * size[1]:]
        return messages

    def test_pictures_are_drawn_in_the_wished_size(self) -> None:
        other = self.write("other.png", png(8, 8))
        drawing = ('<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" width="10"'
                   ' height="20"><rect width="10" height="20" fill="red"/>'
                   f'<image xlink:href="{other}" width="10" height="20"/></svg>').encode()
        svg = {"Kind": "SVG", "Dimensions": "10 × 20"}
        for content, facts, size, points in [
            (png(100, 50), {"Kind": "PNG", "Dimensions": "100 × 50"}, (64, 32), {(63, 31): BLUE}),
            (png(3, 2), {"Kind": "PNG", "Dimensions": "3 × 2"}, (3, 2), {(2, 1): BLUE}),
            (JPEG[:-12], {"Kind": "JPEG", "Dimensions": "16 × 8"}, (16, 8), {}),
            (turned_jpeg(b""), {"Kind": "JPEG", "Dimensions": "8 × 16"}, (8, 16), {(3, 3): RED, (3, 12): BLUE}),
            (PDF, {"Kind": "PDF", "Pages": "3", "Page size": "71 × 141 mm"}, (32, 64), {(0, 0): WHITE, (16, 48): RED}),
            # A drawing sees no other files.
            (drawing, svg, (32, 64), {(16, 32): RED}),
            (gzip.compress(drawing), svg, (32, 64), {(16, 32): RED}),
        ]:
            with self.subTest(facts=facts):
                *found, pixels = self.decode(content)[-1]
                self.assertEqual(found, [facts, size])
                for (x, y), colour in points.items():
                    pixel = struct.unpack_from("=I", pixels, 4 * (y * size[0] + x))[0]
                    self.assertEqual(pixel & 0xE0E0E0, colour & 0xE0E0E0, (x, y))

    def test_facts_or_a_quick_picture_come_first(self) -> None:
        self.assertEqual([size for _, size, _ in self.decode(JPEG)], [(0, 0), (16, 8)])
        first, last = self.decode(turned_jpeg(thumbnail=JPEG))
        self.assertEqual(first, last)

    def test_media_have_facts_and_a_cover(self) -> None:
        facts, size, _ = self.decode(song(png(8, 8)))[-1]
        self.assertEqual(facts, {"Kind": "MPEG Audio", "Title": "A song", "Artist": "Somebody", "Duration": "1:05",
                                 "Audio": "MPEG Audio, 2 channels, 44.1 kHz"})
        self.assertEqual(size, (8, 8))

    def test_what_cannot_be_drawn_gives_a_reason(self) -> None:
        thumbnail = png(8, 8, text=b"Thumb::MTime\x001700000000")
        self.assertEqual(self.decode(thumbnail, "1700000000")[-1][1], (8, 8))
        for content, *words, facts, reason in [
            (b"", [], "its kind is not known"),
            (gzip.compress(b"words"), [], "its kind is not known"),
            (b"%PDF-1.7 and nothing else", [], "it is a broken document"),
            (b"<svg><rect", [], "it is a broken drawing"),
            (png(50, 50)[:60], [{"Kind": "PNG", "Dimensions": "50 × 50"}], "it is broken, or too large to draw"),
            (png(99_999, 99_999), [{"Kind": "PNG", "Dimensions": "99999 × 99999"}], "it is broken, or too large to draw"),
            (thumbnail, "1700000001", [], "the thumbnail is not of this file"),
            (png(8, 8), "1700000000", [], "the thumbnail is not of this file"),
        ]:
            with self.subTest(content=content[:9], reason=reason):
                self.assertEqual([found for found, _, _ in self.decode(content, *words, status=1)], facts)
                self.assertEqual(self.reason, [reason])


if __name__ == "__main__":
    unittest.main()
