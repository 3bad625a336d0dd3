// The tool server, driven by the command-line mode of the protocol's own inspector: a server a call.

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { mkdirSync, mkdtempSync, realpathSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { after, before, describe, test } from "node:test";
import { fileURLToPath } from "node:url";

const program = process.env.DOVRA_PROGRAM;
assert.ok(program, "DOVRA_PROGRAM is not set");

const inspector = fileURLToPath(new URL("node_modules/@modelcontextprotocol/inspector-cli/build/cli.js", import.meta.url));

let home;
let folder;

before(() => {
    home = realpathSync(mkdtempSync(join(tmpdir(), "dovra-test-")));
    folder = join(home, "root");
    mkdirSync(join(folder, "notes"), { recursive: true });
    writeFileSync(join(folder, "notes", "plan.md"), "# Title\nthe Grand plan\n");
    writeFileSync(join(folder, "notes", "copy.md"), "# Title\nthe Grand plan\n");
});

after(() => rmSync(home, { recursive: true }));

/** Runs the inspector; its status and what it printed. It looks for its own name above the folder it runs in. */
function runInspector(args) {
    const options = { cwd: dirname(inspector), env: { ...process.env, HOME: home } };
    return new Promise((resolve) =>
        execFile(process.execPath, [inspector, "--cli", ...args], options, (error, output, errors) =>
            resolve({ status: error?.code ?? 0, output, errors }),
        ),
    );
}

function inspect(...args) {
    return runInspector([program, "--mcp", "--in", folder, ...args]);
}

function inspectTool(name, args) {
    const pairs = Object.entries(args).map(([key, value]) => `${key}=${value}`);
    const given = pairs.length > 0 ? ["--tool-arg", ...pairs] : [];
    return inspect("--method", "tools/call", "--tool-name", name, ...given);
}

/** What a tool returned, and whether as a failure. */
async function call(name, args = {}) {
    const { status, output, errors } = await inspectTool(name, args);
    assert.equal(status, 0, errors);
    const { content, isError } = JSON.parse(output);
    assert.equal(content.length, 1);
    return isError ? { failure: content[0].text } : JSON.parse(content[0].text);
}

describe("the inspector", { concurrency: 2 }, () => {
    test("lists all tools", async () => {
        const { status, output, errors } = await inspect("--method", "tools/list");
        assert.equal(status, 0, errors);
        const { tools } = JSON.parse(output);
        assert.deepEqual(
            tools.map((tool) => tool.name),
            ["search_files", "search_content", "find_duplicate_files", "disk_usage", "index_stats"],
        );
    });

    test("starts the server from a client's settings", async () => {
        const settings = { mcpServers: { dovra: { command: program, args: ["--mcp", "--in", folder] } } };
        const file = join(home, "settings.json");
        writeFileSync(file, JSON.stringify(settings));
        const call = ["--method", "tools/call", "--tool-name", "index_stats"];
        const { status, output, errors } = await runInspector(["--config", file, "--server", "dovra", ...call]);
        assert.equal(status, 0, errors);
        assert.equal(JSON.parse(JSON.parse(output).content[0].text).root, folder);
    });

    test("calls search_files", async () => {
        const { total, results } = await call("search_files", { query: "ext:md", sort: "path", order: "desc", limit: 1 });
        assert.deepEqual([total, results.map((row) => row.path)], [2, [join(folder, "notes", "plan.md")]]);
    });

    test("calls search_content", async () => {
        const found = await call("search_content", { query: "Grand", ext: "md", match_case: true });
        assert.deepEqual([found.filesMatched, found.results[0].matches], [2, [{ line: 2, text: "the Grand plan" }]]);
    });

    test("calls find_duplicate_files", async () => {
        const { sets } = await call("find_duplicate_files", { within: folder });
        assert.deepEqual(sets.map((set) => set.copies), [2]);
    });

    test("calls disk_usage", async () => {
        const { directories } = await call("disk_usage", { path: join(folder, "notes") });
        assert.deepEqual(directories, [{ path: join(folder, "notes"), size: "46 bytes", files: 2 }]);
    });

    test("calls index_stats", async () => {
        const { indexedItems, ready } = await call("index_stats");
        assert.deepEqual([indexedItems, ready], [3, true]);
    });

    test("shows why a tool failed", async () => {
        assert.deepEqual(await call("search_files"), { failure: "`query` is required." });
    });

    test("shows the errors of the protocol", async () => {
        const failures = { no_such_tool: await inspectTool("no_such_tool", {}), resources: await inspect("--method", "resources/list") };
        assert.notEqual(failures.no_such_tool.status, 0);
        assert.match(failures.no_such_tool.errors, /-32602: Unknown tool: no_such_tool/);
        assert.notEqual(failures.resources.status, 0);
        assert.match(failures.resources.errors, /-32601: Method not found: resources\/list/);
    });
});
