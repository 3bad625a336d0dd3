// Makes a server that talks on its standard streams reachable by HTTP, one process a session. Messages pass as
// they are, so whoever talks to the bridge talks to the server.

import { randomUUID } from "node:crypto";
import { createServer } from "node:http";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import { StreamableHTTPServerTransport } from "@modelcontextprotocol/sdk/server/streamableHttp.js";

/** The transport of a new session, tied to a server of its own. */
async function openSession(server, sessions) {
    const inner = new StdioClientTransport(server);
    const outer = new StreamableHTTPServerTransport({
        sessionIdGenerator: randomUUID,
        onsessioninitialized: (id) => sessions.set(id, { inner, outer }),
    });
    outer.onmessage = (message) => inner.send(message);
    inner.onmessage = (message) => outer.send(message);
    inner.onclose = () => outer.close();
    await inner.start();
    await outer.start();
    return outer;
}

/**
 * Listens on this machine only. `server` is what StdioClientTransport takes: `command`, `args`, `env`.
 * Returns the address and what ends the bridge with all its servers.
 */
export async function startBridge(server) {
    const sessions = new Map();
    const listener = createServer(async (request, response) => {
        const session = sessions.get(request.headers["mcp-session-id"]);
        const transport = session?.outer ?? (await openSession(server, sessions));
        await transport.handleRequest(request, response);
    });
    await new Promise((resolve) => listener.listen(0, "127.0.0.1", resolve));
    const close = async () => {
        await Promise.all([...sessions.values()].map(({ inner }) => inner.close()));
        listener.closeAllConnections();
        listener.close();
    };
    return { url: `http://127.0.0.1:${listener.address().port}/mcp`, close };
}
