// Signs Mach-O programs and libraries of one processor ad hoc, as Apple's linker does: the sums of
// their pages behind all else. The cross-compiler's linker does so for arm64 only.
// The format is told by bsd/sys/codesign.h and osfmk/kern/cs_blobs.h of Apple's XNU.
//
// Usage: node sign.mjs FILE...
import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";
import { basename } from "node:path";

const pageBits = 12;
const page = 1 << pageBits;
const sumSize = 32;
const isProgram = 2; // MH_EXECUTE
const codeSignature = 0x1d; // LC_CODE_SIGNATURE
const segment = 0x19; // LC_SEGMENT_64
const adHocByLinker = 0x20002; // CS_ADHOC | CS_LINKER_SIGNED
const upTo = (size, unit) => Math.ceil(size / unit) * unit;

/** The load commands, and the segments among them by their names. */
function commandsOf(file) {
  const commands = [];
  const segments = {};
  let at = 32;
  for (let i = file.readUInt32LE(16); i > 0; --i) {
    const kind = file.readUInt32LE(at);
    if (kind === segment) segments[file.toString("latin1", at + 8, at + 24).replace(/\0.*/, "")] = at;
    commands.push(kind);
    at += file.readUInt32LE(at + 4);
  }
  return { commands, segments, end: at };
}

/** The signature of what a file holds: a blob in a list of one, in the byte order of networks. */
function signature(file, name, textSize) {
  const fixed = 88;
  const pages = Math.ceil(file.length / page);
  const sums = fixed + name.length + 1;
  const directory = Buffer.alloc(sums + pages * sumSize);
  const words = [0xfade0c02, directory.length, 0x20400, adHocByLinker, sums, fixed, 0, pages, file.length];
  words.forEach((word, i) => directory.writeUInt32BE(word, 4 * i));
  directory.set([sumSize, 2, 0, pageBits], 36); // SHA-256
  directory.writeBigUInt64BE(BigInt(textSize), 72);
  directory.writeBigUInt64BE(file.readUInt32LE(12) === isProgram ? 1n : 0n, 80);
  directory.write(name, fixed, "latin1");
  for (let i = 0; i < pages; ++i) {
    const sum = createHash("sha256").update(file.subarray(i * page, (i + 1) * page)).digest();
    directory.set(sum, sums + i * sumSize);
  }
  const list = Buffer.alloc(20);
  [0xfade0cc0, list.length + directory.length, 1, 0, list.length].forEach((word, i) => list.writeUInt32BE(word, 4 * i));
  return Buffer.concat([list, directory]);
}

function signed(unsigned, name) {
  const { commands, segments, end } = commandsOf(unsigned);
  if (commands.includes(codeSignature)) return unsigned;
  const { __TEXT: text, __LINKEDIT: last } = segments;
  if (unsigned.subarray(end, end + 16).some((byte) => byte !== 0)) throw new Error(`no room in ${name}`);
  const start = upTo(unsigned.length, 16);
  const size = 20 + 88 + name.length + 1 + Math.ceil(start / page) * sumSize;
  const file = Buffer.concat([unsigned, Buffer.alloc(start - unsigned.length)]);
  file.writeUInt32LE(commands.length + 1, 16);
  file.writeUInt32LE(file.readUInt32LE(20) + 16, 20);
  [codeSignature, 16, start, size].forEach((word, i) => file.writeUInt32LE(word, end + 4 * i));
  const lastSize = BigInt(start + size) - file.readBigUInt64LE(last + 40);
  file.writeBigUInt64LE(BigInt(upTo(Number(lastSize), page)), last + 32);
  file.writeBigUInt64LE(lastSize, last + 48);
  return Buffer.concat([file, signature(file, name, file.readBigUInt64LE(text + 48))]);
}

for (const path of process.argv.slice(2)) {
  writeFileSync(path, signed(readFileSync(path), basename(path)));
}
