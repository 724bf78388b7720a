// The official client starts the real server over stdio and works against the practice bridge. The
// client checks each message against its own schemas and throws at the first that does not fit.
//
// Usage: node session.test.mjs SERVER PRACTICE-BRIDGE
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";

import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const [server, practiceBridge] = process.argv.slice(2);
const supportFolder = mkdtempSync(join(tmpdir(), "brindlevane interop "));
const transport = new StdioClientTransport({
  command: server,
  env: { XDG_DATA_HOME: supportFolder },
  stderr: "pipe",
});
const client = new Client({ name: "interop", version: "1.0.0" });
let bridge;
let chatter = "";

/** Resolves once the practice bridge has said where it listens, which it does when it is ready. */
function startBridge() {
  return new Promise((resolve, reject) => {
    const process = spawn(practiceBridge, [supportFolder], { stdio: ["ignore", "pipe", "inherit"] });
    process.stdout.once("data", () => resolve(process));
    process.once("error", reject);
    process.once("exit", (code) => reject(new Error(`the practice bridge left with ${code}`)));
  });
}

/** Calls a tool; both forms of its answer must hold the same data. */
async function call(name, args = {}) {
  const result = await client.callTool({ name: `brindlevane_${name}`, arguments: args });
  assert.equal(result.content.length, 1);
  assert.deepEqual(JSON.parse(result.content[0].text), result.structuredContent);
  return result;
}

/** Calls a tool that must succeed and returns its data. */
async function data(name, args) {
  const { isError, structuredContent } = await call(name, args);
  assert.equal(isError, false, JSON.stringify(structuredContent));
  return structuredContent;
}

/** Calls a tool that must fail and returns what the assistant reads. */
async function refusal(name, args) {
  const { isError, structuredContent } = await call(name, args);
  assert.equal(isError, true);
  assert.equal(structuredContent.error.type, "MCPServerError");
  return structuredContent.error.message;
}

before(async () => {
  bridge = await startBridge();
  await client.connect(transport);
  transport.stderr.on("data", (text) => (chatter += text));
});

after(async () => {
  await client.close();
  bridge.removeAllListeners("exit");
  bridge.kill("SIGTERM");
  await new Promise((resolve) => bridge.once("exit", resolve));
  rmSync(supportFolder, { recursive: true });
});

test("the server introduces itself", async () => {
  assert.deepEqual(client.getServerVersion(), { name: "Brindlevane", version: "0.16.3" });
  assert.deepEqual(client.getServerCapabilities(), { tools: { listChanged: false } });
  assert.match(client.getInstructions(), /^Always call brindlevane_get_context /);
  await client.ping();
});

test("the client accepts all 28 tools", async () => {
  const { tools, nextCursor } = await client.listTools();
  assert.equal(nextCursor, undefined);
  assert.equal(new Set(tools.map((tool) => tool.name)).size, 28);
  for (const tool of tools) {
    assert.equal(tool.inputSchema.additionalProperties, false, tool.name);
    assert.equal(typeof tool.annotations.readOnlyHint, "boolean", tool.name);
  }
});

test("a write shows in the next read, and a stale revision is refused", async () => {
  const session = await data("get_session");
  const tempo = { tempo: 131.5, expectedRevision: session.revision, confirm: true };
  await data("set_tempo", tempo);
  const changed = await data("get_session");
  assert.equal(changed.tempo, 131.5);
  assert.ok(changed.revision > session.revision);
  assert.match(await refusal("set_tempo", tempo), /^BrindlevaneBridge error REVISION_CONFLICT: ./);
});

test("the whole context comes through the client's pipes", async () => {
  const context = await data("get_context");
  assert.ok(Number.isInteger(context.revision));
});

test("a call that cannot be carried out is a result, not a fault of the protocol", async () => {
  assert.equal(await refusal("make_coffee"), "Unknown Brindlevane tool: brindlevane_make_coffee");
  assert.match(await refusal("play"), /confirm/);
  await assert.rejects(client.listResourceTemplates(), { code: -32601 });
});

test("the server keeps its standard error silent", () => {
  assert.equal(chatter, "");
});
