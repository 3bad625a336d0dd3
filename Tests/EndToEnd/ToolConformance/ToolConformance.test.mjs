// All scenarios of the protocol's own conformance package. Most of them call tools, prompts or resources that a
// server is to have for the package's sake; of those this one must refuse each by its name.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, readdirSync, realpathSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { fileURLToPath } from "node:url";
import { startBridge } from "./bridge.mjs";

const program = process.env.DOVRA_PROGRAM;
assert.ok(program, "DOVRA_PROGRAM is not set");

const applicable = ["server-initialize", "ping", "tools-list", "server-sse-multiple-streams"];
// What only the bridge between HTTP and the server could be blamed for.
const concernHTTP = ["server-sse-polling", "dns-rebinding-protection"];
const refusal =
    /Unknown tool: test_|Tool 'json_schema_2020_12_tool' not found|Method not found: (resources|prompts|logging|completion)\//;

let home;
let bridge;
/** What was checked, by the name of the scenario. */
const checks = new Map();

before(async () => {
    home = realpathSync(mkdtempSync(join(tmpdir(), "dovra-test-")));
    mkdirSync(join(home, "root"));
    bridge = await startBridge({
        command: program,
        args: ["--mcp", "--in", join(home, "root")],
        env: { ...process.env, HOME: home },
        stderr: "ignore",
    });
    await runAllScenarios(join(home, "results"));
});

after(async () => {
    await bridge.close();
    rmSync(home, { recursive: true });
});

async function runAllScenarios(results) {
    const conformance = fileURLToPath(import.meta.resolve("@modelcontextprotocol/conformance/dist/index.js"));
    const args = ["server", "--url", bridge.url, "--suite", "all", "--output-dir", results];
    const child = spawn(process.execPath, [conformance, ...args], { stdio: ["ignore", "ignore", "inherit"] });
    await new Promise((resolve) => child.on("close", resolve));
    for (const folder of readdirSync(results)) {
        const scenario = folder.replace(/^server-/, "").replace(/-\d{4}-\d\d-\d\dT.*$/, "");
        checks.set(scenario, JSON.parse(readFileSync(join(results, folder, "checks.json"))));
    }
}

test("what applies to a server of tools passes", () => {
    for (const scenario of applicable) {
        assert.ok(checks.get(scenario)?.length, `${scenario} was not run`);
        for (const check of checks.get(scenario)) assert.equal(check.status, "SUCCESS", JSON.stringify(check));
    }
});

test("what the server does not have is refused by name", () => {
    const others = [...checks.keys()].filter((name) => !applicable.includes(name) && !concernHTTP.includes(name));
    assert.ok(others.length >= 20, `only ${others.length} more scenarios were run`);
    for (const scenario of others) {
        assert.ok(checks.get(scenario).length, scenario);
        for (const check of checks.get(scenario)) assert.match(check.errorMessage ?? check.status, refusal, scenario);
    }
});
