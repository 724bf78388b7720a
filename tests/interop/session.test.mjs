// The official client starts the real server over stdio and works against the practice bridge. The
// client checks each message against its own schemas and throws at the first that does not fit.
//
// Usage: node session.test.mjs SERVER PRACTICE-BRIDGE
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { once } from "node:events";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";

import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const [server, practiceBridge] = process.argv.slice(2);
const supportFolder = mkdtempSync(join(tmpdir(), "brindlevane interop "));
const bridge = spawn(practiceBridge, [supportFolder], { stdio: ["ignore", "pipe", "inherit"] });
const env = { XDG_DATA_HOME: supportFolder };
const transport = new StdioClientTransport({ command: server, env, stderr: "pipe" });
const client = new Client({ name: "interop", version: "1.0.0" });
let chatter = "";

/** Calls a tool, both forms of whose answer must hold the same data, and returns them. */
async function call(name, args = {}) {
  const { content, isError, structuredContent } =
    await client.callTool({ name: `brindlevane_${name}`, arguments: args });
  assert.deepEqual(content.map(({ text }) => JSON.parse(text)), [structuredContent]);
  assert.equal(isError, "error" in structuredContent, JSON.stringify(structuredContent));
  return structuredContent;
}

before(async () => {
  await once(bridge.stdout, "data");  // where it listens, which it says when it is ready
  await client.connect(transport);
  transport.stderr.on("data", (text) => (chatter += text));
});

after(async () => {
  await client.close();
  bridge.kill("SIGTERM");
  await once(bridge, "exit");
  rmSync(supportFolder, { recursive: true });
});

test("the client accepts the server and all 28 tools", async () => {
  await client.ping();
  const { tools } = await client.listTools();
  assert.equal(tools.length, 28);
});

test("a write shows in the next read, and a stale revision is refused", async () => {
  const { revision } = await call("get_session");
  const tempo = { tempo: 131.5, expectedRevision: revision, confirm: true };
  await call("set_tempo", tempo);
  assert.equal((await call("get_session")).tempo, 131.5);
  assert.equal((await call("get_context")).revision, revision + 1);
  const { error } = await call("set_tempo", tempo);
  assert.match(error.message, /^BrindlevaneBridge error REVISION_CONFLICT: ./);
});

test("a call that cannot be carried out is a result, not a fault of the protocol", async () => {
  const { error } = await call("listen");
  assert.equal(error.message, "Unknown Brindlevane tool: brindlevane_listen");
  await assert.rejects(client.listResourceTemplates(), { code: -32601 });
});

test("the server keeps its standard error silent", () => {
  assert.equal(chatter, "");
});
