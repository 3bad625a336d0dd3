#!/usr/bin/env python3
"""The preview's decoder: what it makes of good, broken and hostile files of every kind."""

from __future__ import annotations

import base64
import gzip
import io
import json
import os
import struct
import subprocess
import sys
import unittest
import wave
import zlib
from dataclasses import dataclass

from harness import ProgramTest

if "DOVRA_PREVIEW_DECODER" not in os.environ:
    print("SKIPPED: the preview's decoder was not built: it needs Qt 6 and MediaInfo, and no sanitizer")
    sys.exit(77)

RED, BLUE, WHITE = (255, 0, 0), (0, 0, 255), (255, 255, 255)
# 16 pixels by 8: red on the left, blue on the right.
JPEG = base64.b64decode(
    "/9j/4AAQSkZJRgABAQEAZABkAAD/2wBDAAgGBgcGBQgHBwcJCQgKDBQNDAsLDBkSEw8UHRofHh0aHBwgJC4nICIsIxwcKDcpLDAxNDQ0Hyc5PTgy"
    "PC4zNDL/2wBDAQkJCQwLDBgNDRgyIRwhMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjL/wAARCAAIABAD"
    "ASIAAhEBAxEB/8QAFQABAQAAAAAAAAAAAAAAAAAAAAb/xAAUEAEAAAAAAAAAAAAAAAAAAAAA/8QAFAEBAAAAAAAAAAAAAAAAAAAABv/EABkRAAID"
    "AQAAAAAAAAAAAAAAAABEBoLCB//aAAwDAQACEQMRAD8Ai0gBLztmmhfPF75P/9k="
)


@dataclass
class Picture:
    facts: dict[str, str]
    size: tuple[int, int]
    pixels: bytes

    def near(self, colour: tuple[int, int, int], x: int, y: int) -> bool:
        at = 4 * (y * self.size[0] + x)
        found = tuple(reversed(self.pixels[at:at + 3])) if sys.byteorder == "little" else tuple(self.pixels[at + 1:at + 4])
        return all(abs(a - b) < 40 for a, b in zip(found, colour))


def chunk(kind: bytes, content: bytes) -> bytes:
    return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))


def png(width: int, height: int, colour: tuple[int, int, int] = RED, text: bytes = b"") -> bytes:
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    # Of a picture that is too large to be drawn, the rows are left out.
    rows = (b"\0" + bytes(colour) * width) * (height if height < 1000 else 1)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + (chunk(b"tEXt", text) if text else b"")
            + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def turned_jpeg(thumbnail: bytes = b"") -> bytes:
    """The picture as a camera writes it that was held upright, with its thumbnail."""
    entry = struct.pack(">HHIHH", 0x0112, 3, 1, 6, 0)
    segment = b"Exif\0\0MM\0*\0\0\0\x08\0\x01" + entry + bytes(4) + thumbnail
    return JPEG[:2] + b"\xff\xe1" + struct.pack(">H", len(segment) + 2) + segment + JPEG[2:]


def pdf(pages: int) -> bytes:
    drawn = b"1 0 0 rg 50 50 100 100 re f"
    kids = b" ".join(b"4 0 R" for _ in range(pages))
    objects = [b"<</Type/Catalog/Pages 2 0 R>>", b"<</Type/Pages/Count %d/Kids[%s]>>" % (pages, kids),
               b"<</Length %d>>stream\n%s\nendstream" % (len(drawn), drawn),
               b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 200 400]/Contents 3 0 R>>"]
    text, places = b"%PDF-1.4\n", []
    for number, content in enumerate(objects, 1):
        places.append(len(text))
        text += b"%d 0 obj\n%s\nendobj\n" % (number, content)
    table = b"".join(b"%010d 00000 n \n" % place for place in places)
    return (text + b"xref\n0 5\n0000000000 65535 f \n" + table
            + b"trailer<</Size 5/Root 1 0 R>>\nstartxref\n%d\n%%%%EOF\n" % len(text))


def sound(seconds: int) -> bytes:
    stream = io.BytesIO()
    with wave.open(stream, "wb") as writer:
        writer.setnchannels(2)
        writer.setsampwidth(2)
        writer.setframerate(8000)
        writer.writeframes(bytes(4 * 8000 * seconds))
    return stream.getvalue()


def song(cover: bytes) -> bytes:
    frames = b"".join(name + struct.pack(">I", len(content)) + bytes(2) + content for name, content in [
        (b"TIT2", b"\0A song"), (b"TPE1", b"\0Somebody"), (b"APIC", b"\0image/png\0\x03\0" + cover)])
    size = bytes(len(frames) >> shift & 127 for shift in (21, 14, 7, 0))
    return b"ID3\x03\0\0" + size + frames + (b"\xff\xfb\x90\x00" + bytes(413)) * 50


class PreviewDecoderTest(ProgramTest):
    def decode(self, content: bytes, *words: str, status: int = 0) -> list[Picture]:
        with self.write("file", content).open("rb") as file:
            done = subprocess.run([os.environ["DOVRA_PREVIEW_DECODER"], *(words or ["64"])], stdin=file,
                                  capture_output=True, timeout=60)
        self.errors = done.stderr.decode()
        self.assertEqual(done.returncode, status, self.errors)
        pictures, rest = [], done.stdout
        while rest:
            line, _, rest = rest.partition(b"\n")
            header = json.loads(line)
            end = 4 * header["width"] * header["height"]
            pictures.append(Picture(dict(header["facts"]), (header["width"], header["height"]), rest[:end]))
            rest = rest[end:]
        return pictures

    def test_pictures_are_drawn_in_the_wished_size(self) -> None:
        inner = self.write("inner.png", png(8, 8, BLUE))
        drawing = ('<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" width="10"'
                   ' height="20"><rect width="10" height="20" fill="red"/>'
                   f'<image xlink:href="{inner}" width="10" height="20"/></svg>').encode()
        flat, upright = {"Kind": "PNG", "Dimensions": "100 × 50"}, {"Kind": "JPEG", "Dimensions": "8 × 16"}
        page = {"Kind": "PDF", "Pages": "3", "Page size": "71 × 141 mm"}
        for content, facts, size, points in [
            (png(100, 50), flat, (64, 32), [(RED, 63, 31)]),
            (png(3, 2), {"Kind": "PNG", "Dimensions": "3 × 2"}, (3, 2), [(RED, 2, 1)]),
            (turned_jpeg(), upright, (8, 16), [(RED, 3, 3), (BLUE, 3, 12)]),
            (JPEG[:-12], {"Kind": "JPEG", "Dimensions": "16 × 8"}, (16, 8), []),
            (pdf(3), page, (32, 64), [(WHITE, 0, 0), (RED, 16, 48)]),
            (gzip.compress(drawing), {"Kind": "SVG", "Dimensions": "10 × 20"}, (32, 64), []),
            # A drawing sees no other files.
            (drawing, {"Kind": "SVG", "Dimensions": "10 × 20"}, (32, 64), [(RED, 16, 32)]),
        ]:
            with self.subTest(facts=facts):
                picture = self.decode(content)[-1]
                self.assertEqual((picture.facts, picture.size), (facts, size))
                for colour, x, y in points:
                    self.assertTrue(picture.near(colour, x, y), (x, y, picture.pixels[:16]))

    def test_a_quick_picture_comes_first(self) -> None:
        first, last = self.decode(turned_jpeg(thumbnail=JPEG))
        self.assertEqual(first, last)
        facts, picture = self.decode(JPEG)
        self.assertEqual((facts.size, picture.size), ((0, 0), (16, 8)))

    def test_media_have_facts_and_a_cover(self) -> None:
        audio = {"Kind": "Wave", "Duration": "1:05", "Audio": "PCM, 2 channels, 8 000 Hz"}
        self.assertEqual([(p.facts, p.size) for p in self.decode(sound(65))], [(audio, (0, 0))])
        picture = self.decode(song(png(8, 8, BLUE)))[-1]
        self.assertEqual([picture.facts.get(key) for key in ("Title", "Artist")], ["A song", "Somebody"])
        self.assertTrue(picture.near(BLUE, 4, 4))

    def test_a_thumbnail_must_be_of_the_file_as_it_is(self) -> None:
        made = png(8, 8, text=b"Thumb::MTime\x001700000000")
        self.assertEqual(self.decode(made, "64", "1700000000")[-1].size, (8, 8))
        self.assertEqual(self.decode(made, "64", "1700000001", status=1), [])
        self.assertEqual(self.decode(png(8, 8), "64", "1700000001", status=1), [])

    def test_what_cannot_be_drawn_gives_a_reason(self) -> None:
        huge = {"Kind": "PNG", "Dimensions": "100000 × 100000"}
        for content, reason, facts in [
            (b"", "its kind is not known", []),
            (gzip.compress(b"words"), "its kind is not known", []),
            (bytes(range(256)) * 100, "its kind is not known", []),
            (b"%PDF-1.7 and nothing else", "it is a broken document", []),
            (b"<svg><rect", "it is a broken drawing", []),
            (png(100_000, 100_000), "Unable to read image data", [huge]),
            (png(50, 50)[:60], "Unable to read image data", [{"Kind": "PNG", "Dimensions": "50 × 50"}]),
        ]:
            with self.subTest(reason=reason):
                self.assertEqual([picture.facts for picture in self.decode(content, status=1)], facts)
                self.assertEqual(self.errors.splitlines()[-1], reason)

    def test_misuse(self) -> None:
        for words in ["0"], ["4097"], ["x"], ["64", "1", "2"]:
            self.assertEqual(self.decode(b"", *words, status=2), [])
            self.assertIn("usage: dovra-preview", self.errors)


if __name__ == "__main__":
    unittest.main()
