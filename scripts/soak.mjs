// Calls every tool of one server again and again, while the bridge is started anew and the audio
// files change and vanish, and prints what the server holds after 10^3, 10^4, 10^5 ... calls.
//
// Usage: node soak.mjs SERVER CALLS
import { spawn, execFileSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { fileURLToPath } from "node:url";

const [path, calls] = process.argv.slice(2);
const callsBetweenBridges = 977;
const callsBetweenFiles = 53;

const folder = mkdtempSync(join(tmpdir(), "brindlevane-soak-"));
const data = fileURLToPath(new URL("../tests/data/", import.meta.url));
const readData = (name) => JSON.parse(readFileSync(data + name, "utf8"));
const { capabilities } = readData("offered.json");

const sounds = ["wav", "flac", "mp3", "ogg", "opus", "m4a"].map((type) => {
  const file = `${folder}/sound.${type}`;
  execFileSync("ffmpeg", `-v error -f lavfi -i sine=440:d=0.3 -ac 2 ${file}`.split(" "));
  return readFileSync(file);
});
const clip = { kind: "audio", filePath: `${folder}/clip` };

const answers = {
  "/v1/health": { bridgeVersion: "0.17.10", capabilities },
  "/v1/key-source": clip,
  "/v1/master-capture/status": { status: "ready", filePath: clip.filePath },
};
let bridge;
async function startBridge() {
  bridge?.closeAllConnections();
  bridge?.close();
  bridge = createServer((request, response) => {
    request.resume().on("end", () => {
      const result = answers[request.url] ?? { done: request.url, list: [1, 2.5, "text"] };
      response.end(JSON.stringify({ ok: true, result }));
    });
  });
  await new Promise((ready) => bridge.listen(0, "127.0.0.1", ready));
  const bridgeUrl = `http://127.0.0.1:${bridge.address().port}`;
  const configuration = JSON.stringify({ bridgeUrl, authToken: "t".repeat(32) });
  writeFileSync(`${folder}/Brindlevane/bridge.json`, configuration);
}

/** Another file, a part of one, none at all. */
function changeFile(n) {
  const sound = sounds[n % sounds.length];
  if (n % 7 === 0) rmSync(clip.filePath, { force: true });
  else writeFileSync(clip.filePath, n % 5 === 0 ? sound.subarray(0, n % sound.length) : sound);
}

mkdirSync(`${folder}/Brindlevane`);
const server = spawn(path, [], {
  env: { XDG_DATA_HOME: folder },
  stdio: ["pipe", "pipe", "ignore"],
});
const lines = createInterface({ input: server.stdout })[Symbol.asyncIterator]();

function report(n, errors) {
  const process = `/proc/${server.pid}`;
  const value = (name) =>
    new RegExp(`${name}:\\s*(\\d+)`).exec(readFileSync(`${process}/status`, "utf8"))[1];
  const children = readFileSync(`${process}/task/${server.pid}/children`, "utf8");
  console.log(
    `${n} calls, ${errors} errors: ${value("VmRSS")} KiB, ${readdirSync(`${process}/fd`).length}`
      + ` descriptors, ${value("Threads")} threads, ${children.split(" ").length - 1} children`,
  );
}

const requests = Object.entries(readData("calls.json")).map(([name, { arguments: given }]) => ({
  method: "tools/call",
  params: { name: `brindlevane_${name}`, arguments: given },
}));
let errors = 0;
let next = 1000;
for (let n = 1; n <= Number(calls); ++n) {
  if (n % callsBetweenBridges === 1) await startBridge();
  if (n % callsBetweenFiles === 1) changeFile(n);
  server.stdin.write(`${JSON.stringify({ id: n, ...requests[n % requests.length] })}\n`);
  const { id, result } = JSON.parse((await lines.next()).value);
  if (id !== n) throw new Error(`${id} answers ${n}`);
  errors += result.isError ? 1 : 0;
  if (n === next) {
    report(n, errors);
    next *= 10;
  }
}
server.stdin.end();
bridge.close();
rmSync(folder, { recursive: true });
