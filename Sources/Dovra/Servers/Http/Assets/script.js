// What the pages do beyond forms and links: search while one types, and keys. Without this everything else works.

/** How long the field rests before it is searched for. */
const debounceMilliseconds = 120;
/** From when on one is told that the answer takes its time. */
const patienceMilliseconds = 800;
/** How often a page is made anew while the index grows. */
const refreshMilliseconds = 2000;

document.documentElement.classList.add("scripted");
const form = document.getElementById("search");
const field = document.getElementById("field");
const help = document.getElementById("help");
const announcement = document.getElementById("announcement");
const results = () => document.getElementById("results");

let running = new AbortController();
let debounce = 0;
/** Whether the address names what one has come to look at, so that what is typed next gets an entry of its own. */
let isSettled = true;

/** The address that the form stands for, without what is empty or usual. */
function formAddress() {
    const parameters = new URLSearchParams(new FormData(form));
    for (const [name, value] of [...parameters]) if (value === "") parameters.delete(name);
    return parameters.size > 0 ? `/?${parameters}` : "/";
}

function note(className, role, text) {
    const made = Object.assign(document.createElement("p"), { className, textContent: text });
    made.setAttribute("role", role);
    return made;
}

function showFault(message) {
    results().replaceChildren(note("fault", "alert", message));
}

/** Makes the form say what that of another page says. */
function copyForm(other) {
    field.value = other.querySelector("#field").value;
    for (const box of form.querySelectorAll("[type=checkbox]")) box.checked = other.querySelector(`[name=${box.name}]`).checked;
    for (const kept of form.querySelectorAll("[type=hidden]")) kept.remove();
    form.append(...other.querySelectorAll("[type=hidden]"));
}

/** Shows other results; whoever was in a row stays in the row of that number. */
function replaceResults(fresh) {
    const at = focusedRow();
    results().replaceWith(fresh);
    if (at >= 0) rowLinks()[at]?.focus();
}

/** Shows the page at the address, with or without a word about it; an answer that another has overtaken is dropped. */
async function show(address, { alsoForm = false, isQuiet = false } = {}) {
    running.abort();
    running = new AbortController();
    const { signal } = running;
    if (!isQuiet) results().setAttribute("aria-busy", "true");
    const patience = setTimeout(() => {
        if (!signal.aborted && !isQuiet) results().prepend(note("note", "status", "This takes a while. Escape stops it."));
    }, patienceMilliseconds);
    try {
        const answer = await fetch(address, { signal });
        const text = await answer.text();
        if (signal.aborted) return;
        const page = new DOMParser().parseFromString(text, "text/html");
        const fresh = page.getElementById("results");
        if (fresh && alsoForm) copyForm(page.getElementById("search"));
        if (fresh) replaceResults(fresh);
        else showFault(text.trim() || answer.statusText);
        if (!isQuiet) announcement.textContent = document.getElementById("summary")?.textContent ?? "";
    } catch (error) {
        if (signal.aborted) return;
        showFault("The server does not answer.");
    } finally {
        clearTimeout(patience);
    }
    results().removeAttribute("aria-busy");
    refreshWhileIndexing();
}

/** Searches for what the form says, and has the address say it. */
function search() {
    clearTimeout(debounce);
    const address = formAddress();
    // The server writes some characters in another way.
    const [asked, shown] = [address, location.href].map((one) => new URL(one, location.origin).searchParams);
    if (String(asked) !== String(shown)) {
        history[isSettled ? "pushState" : "replaceState"](null, "", address);
        isSettled = false;
    }
    show(address);
}

/** Ends the search that runs, if one does; whether it did. */
function stopSearch() {
    if (!results()?.hasAttribute("aria-busy")) return false;
    running.abort();
    results().removeAttribute("aria-busy");
    showFault("Stopped.");
    return true;
}

function settle() {
    isSettled = true;
}

let refresh = 0;
function refreshWhileIndexing() {
    clearTimeout(refresh);
    if (!results()?.hasAttribute("data-indexing")) return;
    refresh = setTimeout(() => {
        // Nothing moves away from under somebody who is at it.
        const isInUse = results().contains(document.activeElement) || results().matches(":hover");
        if (isInUse) refreshWhileIndexing();
        else show(location.href, { isQuiet: true });
    }, refreshMilliseconds);
}

if (form) {
    form.addEventListener("input", () => {
        clearTimeout(debounce);
        debounce = setTimeout(search, debounceMilliseconds);
    });
    form.addEventListener("submit", (event) => {
        event.preventDefault();
        search();
        settle();
    });
    field.addEventListener("blur", settle);
    addEventListener("popstate", () => {
        settle();
        show(location.href, { alsoForm: true });
    });
    // Whoever comes back to a page comes back to where they were on it.
    field.focus({ preventScroll: true });
    field.setSelectionRange(field.value.length, field.value.length);
    refreshWhileIndexing();
}

/** The link of each row by which it is opened. */
const rowLinks = () => [...document.querySelectorAll("tbody tr")].map((row) => row.querySelector("a")).filter(Boolean);

/** The number of the row that one is in, or -1. */
const focusedRow = () => rowLinks().findIndex((link) => link.closest("tr").contains(document.activeElement));

/** Moves to the row so many rows further on; above the first one is the field. */
function move(step) {
    const links = rowLinks();
    const at = focusedRow();
    if (at + step < 0) field?.focus();
    else links[Math.min(at + step, links.length - 1)]?.focus();
}

function focusField() {
    if (!field) location.assign("/");
    field?.focus();
    field?.select();
}

function toggleHelp() {
    if (!help) return;
    help.open = !help.open;
    (help.open ? help.querySelector("summary") : field).focus();
}

const keys = {
    "/": focusField,
    "?": toggleHelp,
    F1: toggleHelp,
    ArrowDown: () => move(1),
    ArrowUp: () => move(-1),
    Escape: () => {
        if (stopSearch()) return;
        if (help?.open) toggleHelp();
        else field?.focus();
    },
};

addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || event.isComposing) return;
    const isTyping = document.activeElement === field && field;
    const isCharacter = event.key.length === 1;
    if (isTyping && isCharacter) return;
    if (isTyping && event.key === "ArrowUp") return;
    // The field itself knows what Escape means when there is nothing else to leave.
    if (isTyping && event.key === "Escape" && !help.open && !results().hasAttribute("aria-busy")) return;
    const act = keys[event.key];
    if (!act) return;
    event.preventDefault();
    act();
});
