#!/usr/bin/env python3
"""The tool server, as an AI client drives it."""

from __future__ import annotations

import json
import subprocess
import threading
import time
import unittest
from pathlib import Path

from harness import PROGRAM, TIMEOUT_SECONDS, ProgramTest
from toolServer import Server

# Long enough for any orderly end. Benchmarks/toolServer measures how long an end takes.
END_SECONDS = 30.0
LINE_LIMIT = 100_000_000


class ToolServerTest(ProgramTest):
    def serve(self, *arguments: str | Path) -> Server:
        server = Server(self.start_program("--mcp", *(arguments or ("--in", self.root))))
        self.addCleanup(server.output.close)
        return server

    def assert_ended(self, server: Server) -> None:
        """Checks that the program ended soon and well, and that every reply had been read."""
        self.assertLess(server.end(), END_SECONDS)
        self.assertEqual((server.process.returncode, server.output.read()), (0, b""))


class Protocol(ToolServerTest):
    def test_a_session(self) -> None:
        self.write("notes/plan.txt", b"first\nthe Plan\n")
        self.write("notes/copy.txt", b"first\nthe Plan\n")
        server = self.serve()
        greeting = server.request("initialize", {"protocolVersion": "2025-03-26", "capabilities": {}})
        self.assertEqual(greeting["protocolVersion"], "2025-03-26")
        server.send(b'{"jsonrpc":"2.0","method":"notifications/initialized"}')
        self.assertEqual(len(server.request("tools/list")["tools"]), 5)
        self.assertEqual(server.call("index_stats")["indexedItems"], 3)
        found = server.call("search_files", query="plan")
        self.assertEqual([row["path"] for row in found["results"]], [f"{self.root}/notes/plan.txt"])
        found = server.call("search_content", query="plan", within=str(self.root))
        self.assertEqual([row["matches"] for row in found["results"]], [[{"line": 2, "text": "the Plan"}]] * 2)
        self.assertEqual(server.call("find_duplicate_files")["duplicateSets"], 1)
        self.assertEqual(server.call("disk_usage", limit=1)["directories"][0]["files"], 2)
        self.assertEqual(server.call("search_files"), "`query` is required.")
        folder = self.root / "folder"
        folder.mkdir()
        self.assertEqual(server.call("disk_usage", path=str(folder))["directories"][0]["files"], 0)
        folder.rmdir()
        self.assertIn("no folder in the index", server.call("disk_usage", path=str(folder)))
        self.assert_ended(server)
        self.assert_one_line(server.errors.read(), "MCP server", f"ready · 3 items · root {self.root}")

    def test_long_lines(self) -> None:
        server = self.serve()
        start, end = b'{"id":1,"method":"ping","params":"', b'"}'
        fitting = start + b"x" * (LINE_LIMIT - len(start) - len(end)) + end
        self.assertEqual(server.exchange(fitting)["result"], {})
        self.assertEqual(server.exchange(b" " + fitting)["error"]["code"], -32600)
        self.assertEqual(server.exchange(b"\xff")["error"]["code"], -32700)
        server.send(b'\n\r\n{"id":1,"method":"notifications/x"}')
        self.assertEqual(server.request("ping"), {})
        self.assert_ended(server)

    def test_the_last_line_needs_no_end(self) -> None:
        server = self.serve()
        server.input.write(b'{"id":1,"method":"ping"}')
        server.input.close()
        self.assertEqual(server.read(), {"jsonrpc": "2.0", "id": 1, "result": {}})
        self.assertEqual((server.output.read(), server.process.wait(60)), (b"", 0))

    def test_calls_are_answered_in_their_order_when_they_come_at_once(self) -> None:
        server = self.serve()
        messages = [b'{"id":%d,"method":"tools/call","params":{"name":"index_stats"}}' % n for n in range(1000)]
        threading.Thread(target=server.send, args=(b"\n".join(messages),)).start()
        self.assertEqual([server.read()["id"] for _ in messages], list(range(1000)))
        self.assert_ended(server)


class ManyFiles(ToolServerTest):
    def write_many(self, count: int) -> None:
        """Equal files with long names."""
        for number in range(count):
            self.write(f"many/{number:06}{'x' * 240}", b"x")

    def test_a_reader_that_leaves_in_the_middle_of_a_reply(self) -> None:
        self.write_many(1000)
        server = self.serve()
        server.begin("search_files", query="x", limit=1000)
        server.output.read(1)
        server.leave()
        self.assertEqual(server.process.wait(60), 0)
        self.assertNotIn(b"dovra:", server.errors.read())

    def test_what_was_asked_during_the_first_scan_and_before_the_end_of_input_is_answered(self) -> None:
        self.write_many(1000)
        for _ in range(10):
            server = self.serve()
            server.begin("search_files", query="x", limit=1)
            server.begin("index_stats")
            server.input.close()
            found, stats = (json.loads(server.read()["result"]["content"][0]["text"]) for _ in range(2))
            self.assertEqual((found["total"], stats["ready"]), (1000, True))
            self.assertEqual((server.output.read(), server.process.wait(60)), (b"", 0))

    def test_a_write_followed_by_a_question_at_once(self) -> None:
        server = self.serve()
        for number in range(200):
            self.write(f"{number % 7}/{number}.new", b"x" * number)
            found = server.call("search_files", query=f"{number}.new", sort="size", order="desc", limit=1)
            self.assertEqual([row["bytes"] for row in found["results"]], [number])
        self.assert_ended(server)


class Stopping(ToolServerTest):
    """Calls that would read for a minute or more."""

    CALLS = [("search_files", {"query": "content:x"}), ("find_duplicate_files", {})]

    def setUp(self) -> None:
        super().setUp()
        for name in ["one", "other"]:
            with open(self.root / name, "wb") as file:
                file.truncate(200 << 30)

    def serve_working(self, tool: str, arguments: dict[str, str]) -> Server:
        """A server that has begun to work on the call."""
        server = self.serve()
        server.begin(tool, "long", **arguments)
        deadline = time.monotonic() + TIMEOUT_SECONDS
        while self.bytes_read(server) < 100 << 20 and time.monotonic() < deadline:
            time.sleep(0.01)
        return server

    def bytes_read(self, server: Server) -> int:
        return int(Path(f"/proc/{server.process.pid}/io").read_text().split()[1])

    def test_nothing_is_read_outside_of_the_scope(self) -> None:
        for name in ["1", "2"]:
            self.write(f"small folder/{name}", b"x")
        server = self.serve()
        scope = {"within": "small folder"}
        self.assertEqual(server.call("search_files", query="content:x", **scope)["total"], 2)
        self.assertEqual(server.call("find_duplicate_files", **scope)["duplicateSets"], 1)
        self.assertLess(self.bytes_read(server), 100 << 20)
        self.assert_ended(server)

    def test_a_call_that_is_cancelled(self) -> None:
        for call in self.CALLS:
            with self.subTest(call=call):
                server = self.serve_working(*call)
                server.begin("index_stats", "next")
                for cancelled in [b"next", b"long"]:
                    server.send(b'{"method":"notifications/cancelled","params":{"requestId":"%s"}}' % cancelled)
                self.assertEqual(server.request("ping"), {})
                self.assert_ended(server)

    def test_a_client_that_dies(self) -> None:
        for call in self.CALLS:
            with self.subTest(call=call):
                server = self.serve_working(*call)
                server.leave()
                self.assertEqual(server.process.wait(END_SECONDS), 0)


class FirstScan(ToolServerTest):
    """On the whole machine, whose scan takes longer than what is done meanwhile."""

    def test_the_end_of_input_during_the_first_scan(self) -> None:
        for _ in range(20):
            server = self.serve("--in", "/")
            self.assertEqual(server.request("initialize")["protocolVersion"], "2024-11-05")
            self.assert_ended(server)

    def test_a_client_that_dies_while_a_call_waits(self) -> None:
        for _ in range(5):
            server = self.serve("--in", "/")
            server.begin("search_files", query="x")
            server.leave()
            self.assertLess(server.end(), END_SECONDS)
            self.assertEqual(server.process.returncode, 0)


class Streams(ToolServerTest):
    CALL = b'{"id":1,"method":"tools/call","params":{"name":"index_stats"}}\n'

    def answers(self, redirection: str, first: str = ":") -> bytes:
        """What the server says to one call when a shell starts it with a redirection, after another command."""
        command = ["sh", "-c", f'{first}; exec "$0" --mcp --in "$1" {redirection}', PROGRAM, str(self.root)]
        how = {"env": self._environment({}), "timeout": TIMEOUT_SECONDS}
        process = subprocess.run(command, input=self.CALL, capture_output=True, **how)
        self.assertEqual(process.returncode, 0, redirection)
        return process.stdout

    def test_streams_that_are_closed_or_full(self) -> None:
        for redirection in ["2>&-", "2>/dev/full"]:
            self.assertIn(b'"isError":false', self.answers(redirection))
        for redirection in [">&-", "<&-", ">&- 2>&-", "<&- >&-", "<&- >&- 2>&-", ">/dev/full"]:
            self.assertEqual(self.answers(redirection), b"")
        for path in filter(Path.is_file, self.home.rglob("*")):
            self.assertNotIn(b"jsonrpc", path.read_bytes())

    def test_a_cache_file_that_may_not_be_written(self) -> None:
        limited = ["sh", "-c", 'ulimit -f 0; exec "$0" --version', PROGRAM]
        if subprocess.run(limited, capture_output=True, timeout=TIMEOUT_SECONDS).returncode != 0:
            self.skipTest("a sanitizer writes files of its own")
        self.assertIn(b'"isError":false', self.answers("", first="ulimit -f 0"))

    def test_a_client_that_closes_the_errors(self) -> None:
        server = self.serve()
        server.errors.close()
        self.assertEqual(server.call("search_files", query="x")["total"], 0)
        self.assertEqual(server.call("index_stats")["root"], str(self.root))
        self.assert_ended(server)


class Arguments(ToolServerTest):
    def test_a_root_that_is_not_there_is_reported_and_served_empty(self) -> None:
        server = self.serve("--in", self.root / "absent")
        self.assertEqual(server.call("search_files", query="x")["total"], 0)
        self.assert_ended(server)
        self.assertIn(b"is not a folder", server.errors.read())

    def test_the_trigram_index_changes_no_answer(self) -> None:
        self.write("abc.txt")
        for arguments in [(), ("--trigram",)]:
            server = self.serve("-i", f"{self.root}/../root/", *arguments)
            self.assertEqual(server.call("search_files", query="b.\\.", regex=True)["total"], 1)
            self.assertEqual(server.call("index_stats")["root"], str(self.root))
            self.assert_ended(server)


if __name__ == "__main__":
    unittest.main()
