// The web pages in a real browser: what people do with them, by mouse and by keys, with the script and without.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, realpathSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, describe, test } from "node:test";
import { AxeBuilder } from "@axe-core/playwright";
import { chromium } from "playwright-core";

const { DOVRA_PROGRAM: program, NEEDED_PROGRAM: executablePath } = process.env;
assert.ok(program && executablePath, "DOVRA_PROGRAM or NEEDED_PROGRAM is not set");

const home = realpathSync(mkdtempSync(join(tmpdir(), "dovra-test-")));
const folder = join(home, "root");
const hostile = "<img src=x onerror=alert(1)>\u202Etxt.\nexe";
/** Whatever a page complains of, violations of its own policy included. */
const complaints = [];
let server;
let browser;
let address;

/** A page of its own; all of them are closed at the end. */
async function open(path, options = {}) {
    const page = await (await browser.newContext({ baseURL: address, ...options })).newPage();
    page.on("console", (message) => message.type() === "error" && complaints.push(message.text()));
    page.on("pageerror", (error) => complaints.push(String(error)));
    page.on("dialog", (dialog) => complaints.push(dialog.message()) && dialog.dismiss());
    await page.goto(path);
    return page;
}

const names = (page) => page.locator("td.name").allInnerTexts();
const field = (page) => page.locator("#field");
/** Waits until the page lists exactly these names. */
const listed = (page, expected) =>
    page.waitForFunction(
        (wanted) => [...document.querySelectorAll("td.name")].map((cell) => cell.textContent).join("|") === wanted,
        expected.join("|"),
    );
const focused = (page) => page.evaluate(() => document.activeElement.textContent || document.activeElement.id);

describe("the web pages", () => {
    before(async () => {
        for (const name of ["many", "reports/old"]) mkdirSync(join(folder, name), { recursive: true });
        for (let i = 100; i < 250; ++i) writeFileSync(join(folder, "many", `file-${i}.dat`), "x".repeat(i));
        writeFileSync(join(folder, "reports", "report.txt"), "r".repeat(2000));
        writeFileSync(join(folder, "reports", "old", "report-2019.txt"), "r".repeat(2000));
        writeFileSync(join(folder, hostile), "hostile");
        writeFileSync(Buffer.concat([Buffer.from(join(folder, "odd-")), Buffer.from([0xff])]), "odd");
        // Both write to the home folder.
        const env = { ...process.env, HOME: home, XDG_DATA_HOME: home, XDG_CONFIG_HOME: home, XDG_CACHE_HOME: home };
        server = spawn(program, ["--http", "--in", folder, "--allow-download", "0"], {
            env,
            stdio: ["ignore", "ignore", "pipe"],
        });
        let errors = "";
        await new Promise((resolve, reject) => {
            server.stderr.on("data", (chunk) => (errors += chunk).includes("items indexed") && resolve());
            server.on("exit", () => reject(new Error(errors)));
        });
        address = errors.match(/http:\S+/)[0];
        // The browser's sandbox needs user namespaces, which containers refuse, and does not work for root. All pages
        // come from the program under test.
        browser = await chromium.launch({ executablePath, env, args: ["--no-sandbox"] });
    });

    after(async () => {
        await browser?.close();
        server?.kill("SIGTERM");
        rmSync(home, { recursive: true });
    });

    test("searches while one types, and an overtaken answer is dropped", async () => {
        const page = await open("/");
        let release;
        await page.route("**/?search=rep", async (route) => {
            await new Promise((resolve) => (release = resolve));
            await route.continue().catch(() => {});
        });
        const asked = page.waitForRequest("**/?search=rep");
        await page.keyboard.type("rep");
        await asked;
        await page.keyboard.type("ort-");
        await listed(page, ["report-2019.txt"]);
        release();
        await page.waitForLoadState("networkidle");
        assert.deepEqual(await names(page), ["report-2019.txt"]);
        assert.equal(await page.locator("mark").innerText(), "report-");
        assert.equal(new URL(page.url()).search, "?search=report-");
        assert.match(await page.locator("#announcement").textContent(), /^1 result in/);
        await page.getByLabel("Regex").check();
        await page.keyboard.press("/");
        await page.keyboard.type("(");
        await page.getByRole("alert").filter({ hasText: "no valid regular expression" }).waitFor();
    });

    test("says that an answer takes its time, and stops it", async () => {
        const page = await open("/");
        await page.route("**/?search=slow", () => {});
        await page.keyboard.type("slow");
        await page.getByText("Escape stops it").waitFor();
        await page.keyboard.press("Escape");
        await page.getByText("Stopped.").waitFor();
        assert.equal(await field(page).inputValue(), "slow");
        await page.keyboard.press("Control+A");
        await page.keyboard.type("report.");
        await listed(page, ["report.txt"]);
    });

    test("goes back and forward through what was searched", async () => {
        const page = await open("/");
        await page.keyboard.type("report-");
        await listed(page, ["report-2019.txt"]);
        await page.keyboard.press("Enter");
        await page.keyboard.press("Control+A");
        await page.keyboard.type("old");
        await listed(page, ["old"]);
        await page.goBack();
        await listed(page, ["report-2019.txt"]);
        assert.equal(await field(page).inputValue(), "report-");
        await page.goBack();
        await page.getByText("Find anything on your computer").waitFor();
        assert.equal(await field(page).inputValue(), "");
        await page.goForward();
        await listed(page, ["report-2019.txt"]);
        await page.goto("/?search=file:%20old");
        const entries = await page.evaluate(() => history.length);
        await page.keyboard.press("Enter");
        await page.waitForLoadState("networkidle");
        assert.equal(await page.evaluate(() => history.length), entries, "the address says the same in another way");
    });

    test("sorts and pages", async () => {
        const page = await open("/?search=file-");
        await page.getByRole("link", { name: "Size" }).click();
        assert.equal(await page.getByRole("columnheader", { name: "Size" }).getAttribute("aria-sort"), "descending");
        assert.equal((await names(page))[0], "file-249.dat");
        await page.getByRole("link", { name: "Next" }).click();
        assert.equal((await names(page))[0], "file-149.dat");
        assert.equal((await names(page)).length, 50);
        await page.getByRole("link", { name: "Previous" }).click();
        await page.getByRole("link", { name: "Size" }).click();
        assert.equal((await names(page))[0], "file-100.dat");
        await page.keyboard.press("Control+A");
        await page.keyboard.type("file-24");
        await page.waitForURL(/search=file-24&sort=size/);
        await page.goto("/?search=file-");
        await page.evaluate(() => scrollTo(0, 900));
        await page.locator("td.path a").nth(40).click();
        await page.waitForURL(/\/du/);
        await page.goBack();
        await page.waitForFunction(() => scrollY === 900);
    });

    test("obeys keys", async () => {
        const page = await open("/?search=report");
        await field(page).fill("report folder:");
        await page.keyboard.press("ArrowDown");
        await listed(page, ["reports"]);
        assert.equal(await focused(page), "reports", "the first row of the answer that came later");
        await page.goto("/?search=reports|old+folder:");
        await page.keyboard.press("ArrowDown");
        assert.equal(await focused(page), "old");
        await page.keyboard.press("ArrowDown");
        await page.keyboard.press("ArrowDown");
        assert.equal(await focused(page), "reports", "the last one");
        await page.keyboard.press("?");
        assert.equal(await page.locator("#help").getAttribute("open"), "");
        await page.keyboard.press("Escape");
        assert.equal(await page.locator("#help").getAttribute("open"), null);
        await page.keyboard.press("ArrowDown");
        await page.keyboard.press("ArrowUp");
        assert.equal(await focused(page), "field");
        await page.keyboard.press("Escape");
        await page.getByText("Find anything on your computer").waitFor();
        await page.goBack();
        await listed(page, ["old", "reports"]);
        await page.keyboard.press("ArrowDown");
        await page.keyboard.press("Enter");
        await page.waitForURL(/\/du\?path=.*old$/);
    });

    test("shows where the space went", async () => {
        const page = await open("/du");
        assert.equal(await page.title(), "Disk usage — Dovra");
        await page.locator(".treemap a", { hasText: "many" }).first().click();
        await page.getByText("No folders in this one").waitFor();
        await page.getByRole("link", { name: "Up" }).click();
        await page.getByRole("cell", { name: "reports" }).getByRole("link").click();
        assert.equal(await page.locator("td.share svg").getAttribute("aria-label"), "50.0 per cent");
        await page.getByRole("link", { name: "Largest files below" }).click();
        assert.equal((await names(page)).length, 2);
        await page.locator("td.path a").first().click();
        await page.getByRole("heading").getByRole("link", { name: folder }).click();
        assert.equal(new URL(page.url()).pathname, "/du");
    });

    test("works without a script", async () => {
        const page = await open("/", { javaScriptEnabled: false });
        await field(page).fill("REPORT.");
        await page.getByLabel("Match case").check();
        await page.keyboard.press("Enter");
        await page.getByText("No results", { exact: true }).waitFor();
        assert.equal(await page.getByLabel("Match case").isChecked(), true);
        await page.getByLabel("Match case").uncheck();
        await page.getByRole("button").click();
        assert.deepEqual(await names(page), ["report.txt"]);
        await page.locator("summary").click();
        await page.getByRole("link", { name: "folder:", exact: true }).click();
        assert.deepEqual((await names(page)).sort(), ["many", "old", "reports"]);
    });

    test("shows hostile names as they are, and downloads them", async () => {
        const page = await open("/?search=file:+!.dat+!.txt");
        const shown = ["<img src=x onerror=alert(1)>\\u202Etxt.\\nexe", "odd-\uFFFD"];
        assert.deepEqual(await names(page), shown);
        for (const [i, contents] of ["hostile", "odd"].entries()) {
            const coming = page.waitForEvent("download");
            await page.locator("td.name a").nth(i).click();
            assert.equal(readFileSync(await (await coming).path(), "utf8"), contents);
        }
    });

    test("is accessible, fits and has its colours, light and dark, wide and narrow", async () => {
        const pages = ["/", "/?search=report", "/?search=dupe:content", "/?search=none", "/?offset=x", "/du", "/nowhere"];
        for (const [colorScheme, background, width] of [
            ["light", "rgb(250, 246, 238)", 1200],
            ["dark", "rgb(27, 24, 21)", 360],
        ]) {
            const page = await open("/", { colorScheme, viewport: { width, height: 800 } });
            for (const path of pages) {
                await page.goto(path);
                await page.evaluate(() => document.getElementById("help")?.setAttribute("open", ""));
                const { violations } = await new AxeBuilder({ page }).analyze();
                const faults = violations.map(({ id, nodes }) => `${id}: ${nodes[0].html}`);
                const look = await page.evaluate(() => [
                    document.documentElement.scrollWidth <= innerWidth,
                    getComputedStyle(document.body).backgroundColor,
                ]);
                assert.deepEqual([path, faults, ...look], [path, [], true, background]);
            }
        }
        // The browser itself reports the pages that are meant to fail.
        assert.deepEqual(complaints.filter((text) => !/status of 40[04]/.test(text)), []);
    });
});
