// All scenarios of the protocol's own conformance package. Most of them call tools, prompts or resources that the
// package asks of a server made for it. This server must refuse each of those by name.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { randomUUID } from "node:crypto";
import { once } from "node:events";
import { mkdtempSync, readFileSync, readdirSync, realpathSync, rmSync } from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import { StreamableHTTPServerTransport } from "@modelcontextprotocol/sdk/server/streamableHttp.js";

const command = process.env.DOVRA_PROGRAM;
assert.ok(command, "DOVRA_PROGRAM is not set");

const applicable = ["server-initialize", "ping", "tools-list", "server-sse-multiple-streams"];
// Checks that concern only the bridge between HTTP and the server.
const concernHTTP = ["server-sse-polling", "dns-rebinding-protection"];
const refusal =
    /Unknown tool: test_|Tool 'json_schema_2020_12_tool' not found|Method not found: (resources|prompts|logging|completion)\//;

const home = realpathSync(mkdtempSync(join(tmpdir(), "dovra-test-")));
const sessions = new Map();

/** The end towards HTTP of a new session, whose messages pass as they are to and from a server of its own. */
async function openSession() {
    const env = { ...process.env, HOME: home };
    const inner = new StdioClientTransport({ command, args: ["--mcp", "--in", home], env, stderr: "ignore" });
    const outer = new StreamableHTTPServerTransport({
        sessionIdGenerator: randomUUID,
        onsessioninitialized: (id) => sessions.set(id, { inner, outer }),
    });
    outer.onmessage = (message) => inner.send(message);
    inner.onmessage = (message) => outer.send(message);
    inner.onclose = () => outer.close();
    await Promise.all([inner.start(), outer.start()]);
    return outer;
}

test("what applies to a server of tools passes, and the rest is refused by name", async (context) => {
    const bridge = createServer(async (request, response) => {
        const session = sessions.get(request.headers["mcp-session-id"]);
        await (session?.outer ?? (await openSession())).handleRequest(request, response);
    });
    context.after(async () => {
        await Promise.all([...sessions.values()].map(({ inner }) => inner.close()));
        bridge.closeAllConnections();
        bridge.close();
        rmSync(home, { recursive: true });
    });
    await once(bridge.listen(0, "127.0.0.1"), "listening");
    const program = fileURLToPath(import.meta.resolve("@modelcontextprotocol/conformance/dist/index.js"));
    const url = `http://127.0.0.1:${bridge.address().port}/mcp`;
    const results = join(home, "results");
    const args = [program, "server", "--url", url, "--suite", "all", "--output-dir", results];
    await once(spawn(process.execPath, args, { stdio: ["ignore", "ignore", "inherit"] }), "close");
    const others = new Set();
    for (const folder of readdirSync(results)) {
        const scenario = folder.replace(/^server-/, "").replace(/-\d{4}-\d\d-\d\dT.*$/, "");
        const checks = JSON.parse(readFileSync(join(results, folder, "checks.json")));
        assert.ok(checks.length, scenario);
        if (concernHTTP.includes(scenario)) continue;
        if (!applicable.includes(scenario)) others.add(scenario);
        for (const { status, errorMessage } of checks) {
            if (others.has(scenario)) assert.match(errorMessage ?? status, refusal, scenario);
            else assert.equal(status, "SUCCESS", `${scenario}: ${errorMessage}`);
        }
    }
    assert.ok(others.size >= 20, `only ${others.size} more scenarios were run`);
    assert.equal(readdirSync(results).filter((folder) => applicable.some((name) => folder.includes(name))).length, 4);
});
