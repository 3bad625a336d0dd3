"""A running tool server, as an AI client drives it: a line out, a line back."""

from __future__ import annotations

import json
import os
import subprocess
import threading
import time
from typing import Any

# Sanitizers slow the program down, at its end too.
IS_SANITIZED = any(os.environ.get(f"{name}SAN_OPTIONS") is not None for name in ("A", "T")) or any(
    word in os.environ.get("DOVRA_PROGRAM", "") for word in ("/asan/", "/tsan/")
)


class Server:
    """One running server; requests are sent and answered one by one."""

    def __init__(self, process: subprocess.Popen[bytes]) -> None:
        self.process = process
        assert process.stdin and process.stdout and process.stderr
        self.input, self.errors = process.stdin, process.stderr
        self.output = os.fdopen(os.dup(process.stdout.fileno()), "rb")
        self.last_id = 0

    def send(self, line: bytes) -> None:
        rest = memoryview(line + b"\n")
        while rest:
            rest = rest[self.input.write(rest) :]

    def read(self) -> Any:
        return json.loads(self.output.readline())

    def exchange(self, line: bytes) -> Any:
        self.send(line)
        return self.read()

    def request(self, method: str, params: Any = None) -> Any:
        self.last_id += 1
        message = {"jsonrpc": "2.0", "id": self.last_id, "method": method, "params": params or {}}
        reply = self.exchange(json.dumps(message).encode())
        assert (reply["jsonrpc"], reply["id"]) == ("2.0", self.last_id), reply
        return reply.get("result", reply.get("error"))

    def call(self, tool: str, **arguments: Any) -> Any:
        """The tool's result, or the message of its failure."""
        result = self.request("tools/call", {"name": tool, "arguments": arguments})
        (content,) = result["content"]
        return content["text"] if result["isError"] else json.loads(content["text"])

    def begin(self, tool: str, identifier: str = "1", **arguments: Any) -> None:
        """A call whose reply is not waited for."""
        params = {"name": tool, "arguments": arguments}
        self.send(json.dumps({"id": identifier, "method": "tools/call", "params": params}).encode())

    def leave(self) -> None:
        """Reads nothing any more."""
        self.output.close()
        assert self.process.stdout
        self.process.stdout.close()

    def end(self) -> float:
        """Closes the input and returns the seconds until the program had ended."""
        start = time.monotonic()
        self.input.close()
        killer = threading.Timer(60, self.process.kill)
        killer.start()
        self.process.wait()  # With a time-out it would look only now and then.
        killer.cancel()
        return time.monotonic() - start
