// The tool server, driven by the protocol's own client library, which is as strict as real clients are.

import assert from "node:assert/strict";
import { mkdirSync, mkdtempSync, realpathSync, rmSync, truncateSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import { McpError } from "@modelcontextprotocol/sdk/types.js";

const program = process.env.DOVRA_PROGRAM;
assert.ok(program, "DOVRA_PROGRAM is not set");

let home;
let folder;
let client;
let errors = "";

before(async () => {
    home = realpathSync(mkdtempSync(join(tmpdir(), "dovra-test-")));
    folder = join(home, "root");
    mkdirSync(join(folder, "notes"), { recursive: true });
    writeFileSync(join(folder, "notes", "plan.md"), "# Title\nthe Grand plan\n");
    writeFileSync(join(folder, "notes", "copy.md"), "# Title\nthe Grand plan\n");
    writeFileSync(join(folder, "data.bin"), Buffer.alloc(1_500_000));
    const transport = new StdioClientTransport({
        command: program,
        args: ["--mcp", "--in", folder],
        env: { ...process.env, HOME: home },
        stderr: "pipe",
    });
    transport.stderr.on("data", (chunk) => (errors += chunk));
    client = new Client({ name: "dovra-test", version: "1.0.0" });
    await client.connect(transport);
});

after(async () => {
    await client.close();
    rmSync(home, { recursive: true });
});

/** What a tool returns; the message of its failure is thrown. */
async function call(name, args = {}, options = {}) {
    const { content, structuredContent, isError } = await client.callTool({ name, arguments: args }, undefined, options);
    assert.equal(content.length, 1);
    if (isError) throw new Error(content[0].text);
    assert.deepEqual(structuredContent, JSON.parse(content[0].text));
    return structuredContent;
}

test("the server introduces itself", async () => {
    assert.deepEqual(client.getServerVersion(), { name: "dovra", version: "1.0.0" });
    assert.deepEqual(client.getServerCapabilities(), { tools: { listChanged: false } });
    assert.match(client.getInstructions(), /read-only file finder/);
    await client.ping();
});

// From then on the client checks each result against the schema.
test("every tool has a description and schemas", async () => {
    const { tools } = await client.listTools();
    assert.deepEqual(
        tools.map((tool) => tool.name),
        ["search_files", "search_content", "find_duplicate_files", "disk_usage", "index_stats"],
    );
    for (const tool of tools) {
        assert.ok(tool.description.length > 20 && tool.annotations.title.length > 5);
        assert.deepEqual([tool.annotations.readOnlyHint, tool.annotations.openWorldHint], [true, false]);
        assert.equal(tool.outputSchema.type, "object");
        for (const name of tool.inputSchema.required ?? []) assert.ok(name in tool.inputSchema.properties);
    }
});

test("the tools answer as their schemas say", async () => {
    const copies = [join(folder, "notes", "copy.md"), join(folder, "notes", "plan.md")];
    const found = await call("search_files", { query: "*.md", sort: "name", order: "desc", limit: 10 });
    assert.deepEqual(
        found.results.map((row) => row.path),
        [copies[1], copies[0]],
    );
    const lines = await call("search_content", { query: "grand", within: folder, max_files: 1 });
    assert.deepEqual(lines.results, [{ path: copies[0], matches: [{ line: 2, text: "the Grand plan" }] }]);
    const { sets } = await call("find_duplicate_files", { query: "ext:md" });
    assert.deepEqual(sets.map(({ files }) => files.sort()), [copies]);
    const { directories } = await call("disk_usage", { path: folder, limit: 1 });
    assert.deepEqual(directories, [{ path: folder, size: "1.5 MB", files: 3 }]);
    const { indexedItems, lastComparison } = await call("index_stats");
    assert.deepEqual([indexedItems, lastComparison], [4, null]);
    assert.match(errors, /^[^\n]*MCP server[^\n]*ready · 4 items · root [^\n]*\n$/);
});

test("a call tells of its progress and can be cancelled", async () => {
    const large = ["one", "other"].map((name) => join(folder, name));
    for (const path of large) {
        writeFileSync(path, "");
        truncateSync(path, 200 * 2 ** 30);
    }
    const cancelling = new AbortController();
    const told = [];
    const onprogress = (progress) => told.push(progress) === 2 && cancelling.abort();
    await assert.rejects(call("find_duplicate_files", {}, { onprogress, signal: cancelling.signal }));
    assert.ok(told[0].progress < told[1].progress && told[1].progress < told[1].total);
    await client.ping();
    large.forEach((path) => rmSync(path));
});

test("faults are errors, of a tool or of the protocol", async () => {
    await assert.rejects(call("search_files"), { message: "`query` is required." });
    const fails = (promise, code) => assert.rejects(promise, (error) => error instanceof McpError && error.code === code);
    await fails(client.callTool({ name: "no_such_tool" }), -32602);
    await fails(client.listResources(), -32601);
});
