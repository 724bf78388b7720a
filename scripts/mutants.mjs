// Builds the faults that scripts/mutations.mjs draws, each in a clone of the working tree, runs the
// unit tests on it and prints each that survives, and last the share that was caught.
//
// Usage: node mutants.mjs [COUNT [SEED [FOLDER...]]], from the root of the working tree
import { execFileSync, spawn } from "node:child_process";
import { existsSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { availableParallelism } from "node:os";
import { dirname, relative, resolve } from "node:path";

import { drawnFaults } from "./mutations.mjs";

const kibPerProgram = 8 << 20; // A fault can make a program take all the memory there is,
const secondsPerBuild = 600; // or the compiler all the time.

const notCompiled = "does not compile";
const unchanged = "changes nothing";
const survived = "survived";

const running = new Set();

function endWithChildren(child) {
  try {
    process.kill(-child.pid, "SIGKILL");
  } catch {
    // All of them have ended.
  }
}

/** Whether a program succeeds within some seconds, after which it is ended with its children. */
function succeeds(folder, seconds, command, ...args) {
  return new Promise((settle) => {
    const limited = ["-c", `ulimit -v ${kibPerProgram}; exec "$0" "$@"`, command, ...args];
    const child = spawn("sh", limited, { cwd: folder, stdio: "ignore", detached: true });
    running.add(child);
    const timer = setTimeout(() => endWithChildren(child), seconds * 1000);
    child.once("exit", (status) => {
      clearTimeout(timer);
      endWithChildren(child);
      running.delete(child);
      settle(status === 0);
    });
  });
}

/** A built copy of the working tree, in which one fault after another is judged. */
class Clone {
  constructor(number) {
    this.tree = resolve(`build/mutants/${number}`);
    this.original = `${this.tree}.original`;
  }

  build(tree = this.tree) {
    return `${tree}/build/release`;
  }

  run(command, ...args) {
    return execFileSync(command, args, { cwd: this.tree, encoding: "utf8", maxBuffer: 1 << 28 });
  }

  /** Takes over the files of the working tree and builds the test programs. */
  prepare(files) {
    if (existsSync(this.original)) this.restore();
    for (const file of files) {
      const [bytes, copy] = [readFileSync(file), `${this.tree}/${file}`];
      if (existsSync(copy) && readFileSync(copy).equals(bytes)) continue;
      mkdirSync(dirname(copy), { recursive: true });
      writeFileSync(copy, bytes);
    }
    // By default a test program is run when it is built, and a faulty one would seem not to build.
    const discovery = "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST";
    // What lies beyond a container is read unnoticed, unless the library looks.
    const assertions = "-DCMAKE_CXX_FLAGS=-D_GLIBCXX_ASSERTIONS";
    this.run("cmake", "--preset", "release", discovery, assertions);
    const targets = this.run("ninja", "-C", this.build(), "-t", "targets", "all");
    this.programs = [...targets.matchAll(/^(test_\w+): CXX_EXECUTABLE/gm)].map(([, name]) => name);
    this.run("ninja", "-C", this.build(), ...this.programs);
    this.inputsOf = new Map();
    for (const program of this.programs) {
      const inputs = this.run("ninja", "-C", this.build(), "-t", "inputs", program).split("\n");
      this.inputsOf.set(program, new Set(inputs));
    }
    rmSync(this.original, { recursive: true, force: true });
    this.run("cp", "-a", this.tree, this.original);

    this.objectsOf = new Map();
    for (const entry of this.run("ninja", "-C", this.build(), "-t", "deps").split("\n\n")) {
      const [head, ...sources] = entry.split("\n");
      for (const source of sources) {
        const file = relative(this.tree, resolve(this.build(), source.trim()));
        this.objectsOf.set(file, [...(this.objectsOf.get(file) ?? []), head.split(":")[0]]);
      }
    }
  }

  /** Brings back the sources and what was built of them, with their times. */
  restore() {
    rmSync(this.tree, { recursive: true, force: true });
    execFileSync("cp", ["-a", this.original, this.tree]);
  }

  passes(program, seconds) {
    const options = ["--gtest_fail_fast", "--gtest_brief=1"];
    return succeeds(this.build(), seconds, `./${program}`, ...options);
  }

  /** A test that looks at a clock may fail on a busy machine, but hardly twice. */
  async passesOnce(program, seconds) {
    return (await this.passes(program, seconds)) || this.passes(program, seconds);
  }

  /** The program that notices a fault, or what else becomes of it. */
  async verdict({ file, mutant }, programs, secondsOf) {
    const objects = this.objectsOf.get(file);
    if (objects === undefined) return unchanged;
    this.restore();
    writeFileSync(`${this.tree}/${file}`, mutant);
    const make = (...targets) =>
      succeeds(this.build(), secondsPerBuild, "ninja", "-j1", ...targets);
    if (!(await make(...objects))) return notCompiled;
    const code = (tree, object) => readFileSync(`${this.build(tree)}/${object}`);
    if (objects.every((it) => code(this.tree, it).equals(code(this.original, it)))) {
      return unchanged;
    }
    const takesPart = (program) => objects.some((it) => this.inputsOf.get(program).has(it));
    for (const program of programs.filter(takesPart)) {
      if (!(await make(program))) return notCompiled;
      if (!(await this.passesOnce(program, secondsOf.get(program)))) return program;
    }
    return survived;
  }
}

/** A fault for a person to read: its lines without and with it, the one before, the one behind. */
function shown({ kind, file, line, code, mutant }) {
  const [before, after] = [code.split("\n"), mutant.split("\n")];
  const changed = [...before.keys()].filter((i) => before[i] !== after[i]);
  const row = (mark, i, lines) => `${String(i + 1).padStart(6)} ${mark} ${lines[i] ?? ""}`;
  return [
    `${file}:${line}: ${kind}`,
    row(" ", changed[0] - 1, before),
    ...changed.map((i) => row("-", i, before)),
    ...changed.filter((i) => /[^\s;]/.test(after[i])).map((i) => row("+", i, after)),
    row(" ", changed.at(-1) + 1, before),
    "",
  ].join("\n");
}

for (const signal of ["SIGINT", "SIGTERM"]) {
  process.once(signal, () => {
    running.forEach(endWithChildren);
    process.exit(1);
  });
}

const [count = "20", seed = String(Date.now()), ...folders] = process.argv.slice(2);
const list = execFileSync("git", ["ls-files", "-co", "--exclude-standard"], { encoding: "utf8" });
const files = list.split("\n").filter((file) => file !== "" && existsSync(file));
const wanted = (folders.length > 0 ? folders : ["src"]).map((folder) => relative(".", folder));
const sources = files
  .filter((file) => /^src\/.*\.(cpp|h)$/.test(file))
  .filter((file) => wanted.some((folder) => `${file}/`.startsWith(`${folder}/`)))
  .map((file) => ({ file, code: readFileSync(file, "utf8") }));
const faults = drawnFaults(sources, seed);

console.error(`mutants: ${count} faults with seed ${seed}; building the clones`);
const clones = Array.from({ length: availableParallelism() }, (_, i) => new Clone(i + 1));
clones.forEach((clone) => clone.prepare(files));

const secondsOf = new Map();
for (const program of clones[0].programs) {
  const start = Date.now();
  if (!(await clones[0].passes(program, secondsPerBuild))) {
    throw new Error(`${program} fails without a fault.`);
  }
  secondsOf.set(program, 10 + (3 * (Date.now() - start)) / 1000);
}

const folderSums = new Map(); // {caught, all}
const noticed = new Map(); // by "FILE PROGRAM": how often
let underWay = 0;
let judged = 0;

/** The most likely to notice first, which saves time only: by file, by layer, then the quickest. */
function programsFor(file) {
  const rank = (program) => {
    const isOfLayer = file.split("/").includes(program.replace("test_", ""));
    const times = noticed.get(`${file} ${program}`) ?? 0;
    return 1e6 * times + (isOfLayer ? 1e5 : 0) - secondsOf.get(program);
  };
  return [...secondsOf.keys()].sort((a, b) => rank(b) - rank(a));
}

function keep(fault, verdict) {
  const folder = dirname(fault.file);
  const { caught, all } = folderSums.get(folder) ?? { caught: 0, all: 0 };
  folderSums.set(folder, { caught: caught + (verdict === survived ? 0 : 1), all: all + 1 });
  if (verdict === survived) {
    console.log(shown(fault));
  } else {
    const key = `${fault.file} ${verdict}`;
    noticed.set(key, (noticed.get(key) ?? 0) + 1);
  }
}

/**
 * Judges in one clone. A fault is drawn for each one that is missing, so that which faults count
 * does not hang on which clone is quicker.
 */
async function work(clone) {
  while (judged < count) {
    const fault = judged + underWay < count ? faults.next().value : undefined;
    if (fault === undefined) {
      if (underWay === 0) return;
      await new Promise((wake) => setTimeout(wake, 100));
      continue;
    }
    ++underWay;
    const start = Date.now();
    const verdict = await clone.verdict(fault, programsFor(fault.file), secondsOf);
    --underWay;
    if (verdict !== notCompiled && verdict !== unchanged) {
      ++judged;
      keep(fault, verdict);
    }
    const seconds = ((Date.now() - start) / 1000).toFixed(1);
    const place = `${fault.file}:${fault.line}`;
    console.error(`${judged}/${count} ${place} ${fault.kind}: ${verdict}, ${seconds} s`);
  }
}

await Promise.all(clones.map(work));
const share = ({ caught, all }) =>
  `${caught} of ${all} caught, ${((100 * caught) / all).toFixed(1)} %`;
const sums = [...folderSums].sort();
sums.forEach(([folder, sum]) => console.log(`${folder}: ${share(sum)}`));
const caught = sums.reduce((total, [, sum]) => total + sum.caught, 0);
console.log(`all, with seed ${seed}: ${share({ caught, all: judged })}`);
