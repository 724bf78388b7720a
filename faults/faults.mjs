// Makes calls of the C library fail in the server and in the listener, the first, the second and so
// on until none is left, and looks at what becomes of the answers. A call that failed may cost the
// tool call its success, but never more than that.
//
// Usage: node faults.mjs SERVER LISTENER INTERPOSER [PERCENT [SEED]]
import { spawn, execFileSync } from "node:child_process";
import {
  mkdirSync, mkdtempSync, readFileSync, rmSync, symlinkSync, utimesSync, writeFileSync,
} from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";

const [server, listener, interposer, percent = "100", seed = "1"] = process.argv.slice(2);
const millisecondsForAnAnswer = 20000;
const looksForOutput = 10;

const folder = mkdtempSync(join(tmpdir(), "brindlevane-faults-"));
// The loader takes a space for the end of a name.
symlinkSync(interposer, `${folder}/interposer.so`);
const data = fileURLToPath(new URL("../tests/data/", import.meta.url));
const readData = (name) => JSON.parse(readFileSync(data + name, "utf8"));

const kinds = [
  ...["malloc", "malloc lasting", "open", "stat", "socket", "connect", "epoll", "poll", "pipe"],
  ...["spawn", "thread"],
  ...["read", "send", "recv"].map((kind) => `${kind} error`),
  ...["read", "write", "send", "recv"].flatMap((kind) => [`${kind} short`, `${kind} eintr`]),
  // Sockets are waited for by their edges, which a call that only seems to find nothing would miss.
  ...["read eagain", "write eagain"],
];
const listenerKinds = ["malloc", "malloc lasting", "open", "stat", "thread", "dlopen"].concat(
  ["error", "short", "eintr", "eagain"].map((how) => `read ${how}`),
);

let state = Number(seed);
/** Whether to try one of the many; the first of each are always tried. */
function isDrawn(n) {
  state = (state * 1103515245 + 12345) % 2147483648;
  return n <= 3 || state / 2147483648 < percent / 100;
}

let faults = 0;
let bad = 0;
function complain(what, ...details) {
  ++bad;
  console.log(`faults: ${what}`);
  details.forEach((text) => console.log(`  ${String(text).slice(0, 300)}`));
}

/** The bridge: the tools' requests, and how often each was received. */
const clip = { kind: "audio", clip: "Clip" };
const received = new Map();
const bridge = createServer((request, response) => {
  const answers = {
    "/v1/health": { bridgeVersion: "0.17.10", capabilities: readData("offered.json").capabilities },
    "/v1/key-source": clip,
    "/v1/master-capture/status": { status: "ready", filePath: clip.filePath },
  };
  received.set(request.url, (received.get(request.url) ?? 0) + 1);
  request.resume().on("end", () => {
    const result = answers[request.url] ?? { done: request.url, list: [1, 2.5, "text"] };
    response.end(JSON.stringify({ ok: true, result }));
  });
});
await new Promise((ready) => bridge.listen(0, "127.0.0.1", ready));
mkdirSync(`${folder}/Brindlevane`);
writeFileSync(
  `${folder}/Brindlevane/bridge.json`,
  JSON.stringify({
    bridgeUrl: `http://127.0.0.1:${bridge.address().port}`,
    authToken: "t".repeat(32),
  }),
);

/** A program with the interposer before it. */
class Program {
  constructor(path) {
    const environment = { LD_PRELOAD: `${folder}/interposer.so`, XDG_DATA_HOME: folder };
    this.child = spawn(path, [], { env: environment, stdio: ["pipe", "pipe", "ignore", "pipe"] });
    this.output = "";
    this.report = "";
    this.ended = false;
    this.child.stdin.on("error", () => {});
    this.child.stdout.on("data", (text) => (this.output += text));
    this.child.stdio[3].on("data", (text) => {
      this.report += text;
      this.wake?.();
    });
    this.child.once("close", (status, signal) => {
      this.ended = true;
      this.end = signal ?? status;
      this.wake?.();
    });
  }

  /** Sends lines and waits until the program comes back for another, or ends. */
  async answer(lines) {
    this.output = "";
    this.report = "";
    this.child.stdin.write(lines);
    return this.outcome(() => this.ended || this.report.includes("."));
  }

  /** Sends the last lines and waits until the program ends. */
  async lastAnswer(lines) {
    this.child.stdin.end(lines);
    return this.outcome(() => this.ended);
  }

  async outcome(isOver) {
    const limit = Date.now() + millisecondsForAnAnswer;
    while (!isOver()) {
      if (Date.now() > limit) {
        this.leave();
        return { output: this.output, hasFailed: true, end: "a hang" };
      }
      await new Promise((wake) => {
        this.wake = wake;
        setTimeout(wake, 1000);
      });
    }
    // What was written before the report may still be on its way.
    for (let i = 0; i < looksForOutput && !this.output.endsWith("\n") && !this.ended; ++i) {
      await new Promise((wake) => setTimeout(wake, 1));
    }
    return { output: this.output, hasFailed: this.report.includes("f"), end: this.end };
  }

  leave() {
    this.child.kill("SIGKILL");
  }
}

/** Whether an answer is that of a failed tool call. */
function isToolError(output) {
  try {
    const { id, result } = JSON.parse(output);
    const text = JSON.parse(result.content[0].text);
    return (
      id === 1 && result.isError === true && typeof result.structuredContent.error.type === "string"
      && JSON.stringify(text) === JSON.stringify(result.structuredContent)
    );
  } catch {
    return false;
  }
}

/** A measured capture that admits that it was not cleaned up, as if it had been. */
function asIfCleanedUp(output) {
  return output
    .replace(/"cleanupWarning":"[^"]*",/, "")
    .replace(/\\"cleanupWarning\\": \\"[^"]*\\",\\n {2}/, "")
    .replaceAll('temporaryTrackRemoved":false', 'temporaryTrackRemoved":true')
    .replaceAll('temporaryTrackRemoved\\": false', 'temporaryTrackRemoved\\": true');
}

let clock = 1.6e9;
/** Makes the file another one for the cache. */
const touch = () => clip.filePath && utimesSync(clip.filePath, clock, ++clock);

/** @param isFresh whether each failing call meets a program that has answered nothing before */
async function tryServer(name, line, isFresh = false) {
  let program = new Program(server);
  touch();
  const usual = (await program.answer(line)).output;
  for (const kind of kinds) {
    let hasFailed = true;
    for (let n = 1; hasFailed; ++n) {
      if (!isDrawn(n)) continue;
      if (isFresh) {
        program.leave();
        program = new Program(server);
      }
      touch();
      received.clear();
      const { output, ...faulty } = await program.answer(`@${n} ${kind}\n${line}`);
      ({ hasFailed } = faulty);
      faults += hasFailed ? 1 : 0;
      const where = `${name}: ${kind}, call ${n}`;
      const isCall = name.startsWith("brindlevane_");
      const isRight =
        output === usual ||
        (isCall && isToolError(output)) ||
        (name.includes("get_master") && asIfCleanedUp(output) === usual) ||
        (output === "" && kind === "malloc lasting");
      if (program.ended) complain(`${where} ends the server with ${program.end}`, output);
      else if (!isRight) complain(`${where} gives another answer`, output, usual);
      if ([...received.values()].some((times) => times > 1)) complain(`${where}: sent twice`);
      if (program.ended) program = new Program(server);
      touch();
      const next = await program.answer(line);
      if (next.output !== usual) {
        complain(`after ${where} the next answer is another`, next.output, usual);
        program.leave();
        program = new Program(server);
      }
    }
  }
  program.leave();
}

async function tryListener(path) {
  const task = { path, transposeSemitones: 0, startSeconds: 0.2 };
  for (const what of ["measurement", "key"]) {
    const line = `${JSON.stringify({ task: what, ...task })}\n`;
    const usual = (await new Program(listener).lastAnswer(line)).output;
    for (const kind of listenerKinds) {
      let hasFailed = true;
      for (let n = 1; hasFailed; ++n) {
        if (!isDrawn(n)) continue;
        const tried = await new Program(listener).lastAnswer(`@${n} ${kind}\n${line}`);
        const { output, end } = tried;
        ({ hasFailed } = tried);
        faults += hasFailed ? 1 : 0;
        const isRight =
          output === usual || output === "" || /^\{"failure":"[a-zA-Z]+"\}\n$/.test(output);
        const where = `${path.split("/").at(-1)} ${what}: ${kind}, call ${n}`;
        if (end === "a hang") complain(`${where} keeps the listener busy`);
        else if (!isRight) complain(`${where} gives another answer`, output, usual);
      }
    }
  }
}

/** Sound in the formats that each decoder reads. */
function sounds() {
  const sound = "-f lavfi -i sine=440:d=1 -f lavfi -i anoisesrc=d=1:a=0.1 -filter_complex amix";
  return ["wav", "flac", "mp3", "ogg", "opus", "m4a"].map((type) => {
    const file = `${folder}/sound.${type}`;
    execFileSync("ffmpeg", ["-v", "error", ...sound.split(" "), "-ac", "2", file]);
    return file;
  });
}

const files = sounds();
[clip.filePath] = files;
const line = (method, params) => `${JSON.stringify({ id: 1, method, params })}\n`;
const badLine = '{"id":1,"method":\n';
for (const isFresh of [false, true]) {
  for (const method of ["initialize", "tools/list", "ping"]) await tryServer(method, line(method), isFresh);
  await tryServer("a bad line", badLine, isFresh);
}
for (const [name, { arguments: given }] of Object.entries(readData("calls.json"))) {
  const tool = `brindlevane_${name}`;
  await tryServer(tool, line("tools/call", { name: tool, arguments: given }));
}
for (const file of files) await tryListener(file);
bridge.close();
rmSync(folder, { recursive: true });
console.log(`faults: ${faults} failing calls, ${bad} faults`);
process.exitCode = bad > 0 ? 1 : 0;
