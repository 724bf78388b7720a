// A bundle, unpacked as an assistant's application does it, or an installed server, heard through the
// official client: every format decodes, or a library is missing, which nothing else would show.
//
// Usage: node bundle.test.mjs BUNDLE|SERVER ROOT [RUNNER...]   ROOT is the system's as the server
//   sees it, RUNNER what starts programs in it, "chroot ROOT" or a Windows
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import { join, relative } from "node:path";
import { after, before, test } from "node:test";
import { fileURLToPath } from "node:url";

import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const [bundle, root, ...runner] = process.argv.slice(2);
const offered = JSON.parse(readFileSync(new URL("../data/offered.json", import.meta.url), "utf8"));
const isBundle = bundle.endsWith(".mcpb");
const forWindows = bundle.includes("windows");
mkdirSync(join(root, "tmp"), { recursive: true });
const folder = mkdtempSync(join(root, "tmp", "brindlevane bundle "));
const unpacked = join(folder, "unpacked here");
let heard;  // the file that the bridge names

/** A path as the server sees it. */
function inside(path) {
  const seen = `/${relative(root, path)}`;
  return forWindows ? `Z:${seen.replaceAll("/", "\\")}` : seen;
}

/** Where the server looks for the bridge: Windows tells it, others are told. */
function supportFolder() {
  if (!forWindows) {
    return join(folder, "data é 音");
  }
  const roaming = execFileSync(runner[0], ["cmd", "/c", "echo %APPDATA%"], { encoding: "utf8" }).trim();
  const drive = fileURLToPath(new URL("../../build/wine/drive_c", import.meta.url));
  return join(drive, ...roaming.split("\\").slice(1));
}

const bridge = createServer((request, response) => {
  const answers = {
    "/v1/health": { bridgeVersion: "99.0.0", capabilities: offered.capabilities },
    "/v1/key-source": { kind: "audio", filePath: heard },
  };
  response.end(JSON.stringify({ ok: true, result: answers[request.url] }));
});

const client = new Client({ name: "bundle", version: "1.0.0" });
let manifest = {
  version: offered.initialize.serverInfo.version,
  tools: offered.tools.map(({ name, description }) => ({ name, description })),
};

/** Where the server lies, as the runner sees it. */
function program() {
  if (!isBundle) {
    return bundle;
  }
  execFileSync("unzip", ["-q", bundle, "-d", unpacked]);
  manifest = JSON.parse(readFileSync(join(unpacked, "manifest.json"), "utf8"));
  const path = manifest.server.mcp_config.command.replace("${__dirname}", unpacked);
  return runner.length > 0 ? inside(path) : path;
}

before(async () => {
  await new Promise((resolve) => bridge.listen(0, "127.0.0.1", resolve));
  const data = supportFolder();
  mkdirSync(join(data, "Brindlevane"), { recursive: true });
  const bridgeUrl = `http://127.0.0.1:${bridge.address().port}`;
  const authToken = "t".repeat(32);
  writeFileSync(join(data, "Brindlevane", "bridge.json"), JSON.stringify({ bridgeUrl, authToken }));
  const [command, ...args] = [...runner, program()];
  const env = { ...process.env, XDG_DATA_HOME: inside(data) };
  const began = performance.now();
  await client.connect(new StdioClientTransport({ command, args, env }));
  console.log(`${bundle}: answers ${Math.round(performance.now() - began)} ms after its start`);
});

after(async () => {
  await client.close();
  bridge.close();
  rmSync(folder, { recursive: true });
});

/** The measurement of a file, or the error. */
async function listen(file) {
  heard = inside(file);
  return (await client.callTool({ name: "brindlevane_listen_selected_clip" })).structuredContent;
}

test("it is the version and has the tools that its manifest tells", async () => {
  assert.equal(client.getServerVersion().version, manifest.version);
  const { tools } = await client.listTools();
  assert.deepEqual(tools.map(({ name, description }) => ({ name, description })), manifest.tools);
  assert.equal(manifest.tools.length, 28);
});

test("what is to be started may be", { skip: forWindows || !isBundle }, () => {
  for (const name of ["bin/brindlevane", "lib/brindlevane/brindlevane-listener"]) {
    assert.equal(statSync(join(unpacked, "server", name)).mode & 0o777, 0o755, name);
  }
});

for (const [format, codec] of Object.entries({
  wav: "pcm_s24le", flac: "flac", mp3: "libmp3lame -q:a 2", ogg: "libvorbis -q:a 6", opus: "libopus -b:a 128k",
  aac: "aac -b:a 192k", m4a: "aac -b:a 192k", mp4: "alac", aiff: "pcm_s16be", wma: "wmav2 -b:a 192k", ac3: "ac3",
})) {
  test(`it hears ${format}`, async () => {
    const file = join(folder, `café 音 🎵.${format}`);
    const chord = [130.81, 261.63, 329.63, 392].map((hertz) => `0.1*sin(2*PI*${hertz}*t)`).join("+");
    execFileSync("ffmpeg", ["-v", "error", "-f", "lavfi", "-i", `aevalsrc=${chord}:d=8:s=48000`,
      "-c:a", ...codec.split(" "), file]);
    const { rmsDbFS, key, error } = await listen(file);
    assert.equal(error, undefined);
    assert.ok(Math.abs(rmsDbFS - 20 * Math.log10(0.1 * Math.sqrt(2))) < 0.3, `${rmsDbFS} dB`);
    assert.equal(key, "C major");
  });
}

test("a file that is none costs one error", async () => {
  const file = join(folder, "none.m4a");
  writeFileSync(file, "no sound");
  assert.equal((await listen(file)).error.message, "Le fichier audio du clip est illisible.");
});
