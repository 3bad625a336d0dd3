#!/usr/bin/env python3
"""The web server from its start to its end, as a browser and a shell see it."""

from __future__ import annotations

import http.client
import json
import re
import signal
import socket
import subprocess
import unittest

from harness import TIMEOUT_SECONDS, ProgramTest


class WebServerTest(ProgramTest):
    def serve(self, *options: str) -> subprocess.Popen[bytes]:
        """Starts it on a free port and reads what it says, up to the end of the first scan."""
        process = self.start_program("--http", "--in", self.root, "0", *options)
        assert process.stderr
        self.said = ""
        while " indexed" not in self.said:
            line = process.stderr.readline()
            self.assertTrue(line, self.said)
            self.said += line.decode()
        self.port = int(re.search(r"http://[^/]*:(\d+)/", self.said)[1])  # type: ignore[index]
        return process

    def get(self, target: str, **headers: str) -> http.client.HTTPResponse:
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=TIMEOUT_SECONDS)
        self.addCleanup(connection.close)
        connection.request("GET", target, headers=headers)
        return connection.getresponse()

    def test_answers_know_every_change_made_before(self) -> None:
        process = self.serve()
        self.assertRegex(
            self.said,
            rf"\AIndexing {self.root}\nDovra web UI  http://127\.0\.0\.1:{self.port}/\n"
            r"0 items indexed · downloads disabled\n\Z",
        )
        for number in range(1, 100):
            self.write(f"file{number}")
            self.assertEqual(json.load(self.get("/?search=file&json=1"))["totalResults"], number)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(TIMEOUT_SECONDS), -signal.SIGTERM)

    def test_downloads_and_the_token_are_for_those_who_ask(self) -> None:
        path = self.write("file", b"contents")
        self.serve()
        self.assertEqual(self.get(f"/download?path={path}").status, 403)
        self.serve("--allow-download", "--token")
        self.assertIn("downloads enabled", self.said)
        self.assertEqual(self.get(f"/download?path={path}").status, 401)
        welcome = self.get("/" + re.search(r"\?token=\w{32}", self.said)[0])  # type: ignore[index]
        cookie = welcome.headers["Set-Cookie"].split(";")[0]
        self.assertEqual((welcome.status, welcome.headers["Location"]), (303, "/"))
        self.assertEqual(self.get(f"/download?path={path}", Cookie=cookie).read(), b"contents")

    def test_who_else_could_see_is_told_and_a_port_that_is_taken_too(self) -> None:
        self.serve("--host", "0.0.0.0")
        self.assertIn(f"warning: whoever reaches this port over the network sees the names", self.said)
        self.assertIn(f"http://localhost:{self.port}/", self.said)
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
            refused = self.run_program("--http", "--in", self.root, str(port))
        self.assertEqual((refused.status, refused.out), (1, b""))
        self.assertIn(f"Failed to start HTTP server on 127.0.0.1:{port}: Address already in use\n", refused.err.decode())


if __name__ == "__main__":
    unittest.main()
