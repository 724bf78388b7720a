// A server for one tool, "the context", as one would write it for Node.js with what that brings.
import { readFile } from "node:fs/promises";
import { join } from "node:path";
import { createInterface } from "node:readline";

const needed = 18;

function sorted(value) {
  if (Array.isArray(value)) {
    return value.map(sorted);
  }
  if (value !== null && typeof value === "object") {
    return Object.fromEntries(Object.keys(value).sort().map((key) => [key, sorted(value[key])]));
  }
  return value;
}

async function ask(bridge, path) {
  const response = await fetch(new URL(path, bridge.bridgeUrl), {
    headers: { "X-Brindlevane-Token": bridge.authToken, Accept: "application/json" },
  });
  const answer = await response.json();
  if (!response.ok || answer.ok !== true) {
    throw new Error("The request was rejected.");
  }
  return answer.result;
}

async function context() {
  const file = join(process.env.XDG_DATA_HOME, "Brindlevane", "bridge.json");
  const bridge = JSON.parse(await readFile(file, "utf8"));
  const health = await ask(bridge, "/v1/health");
  if (health.capabilities.length < needed) {
    throw new Error("The bridge is outdated.");
  }
  return ask(bridge, "/v1/context");
}

for await (const line of createInterface({ input: process.stdin, terminal: false })) {
  const request = JSON.parse(line);
  const structuredContent = await context();
  const text = JSON.stringify(sorted(structuredContent), null, 2);
  const result = { content: [{ type: "text", text }], structuredContent, isError: false };
  process.stdout.write(JSON.stringify({ jsonrpc: "2.0", id: request.id, result }) + "\n");
}
