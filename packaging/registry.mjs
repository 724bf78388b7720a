// Writes server.json, the entry for the registry of servers, about the bundles in a folder.
//
// Usage: node registry.mjs DIST
import { createHash } from "node:crypto";
import { readdirSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";

const [dist] = process.argv.slice(2);
const owner = JSON.parse(readFileSync(new URL("owner.json", import.meta.url), "utf8"));
const build = readFileSync(new URL("../CMakeLists.txt", import.meta.url), "utf8");
const [, version] = /project\(brindlevane VERSION ([0-9.]+)/.exec(build);
const bundles = readdirSync(dist).filter((name) => name.endsWith(`.mcpb`) && name.includes(`-${version}-`)).sort();
const entry = {
  $schema: "https://static.modelcontextprotocol.io/schemas/2025-12-11/server.schema.json",
  name: owner.registryName,
  title: "Brindlevane",
  description: "Hands and ears for the assistant in the open Ableton Live project.",
  version,
  websiteUrl: owner.homepage,
  repository: { url: owner.repository, source: "git" },
  packages: bundles.map((name) => ({
    registryType: "mcpb",
    identifier: `${owner.downloads}/${version}/${name}`,
    version,
    fileSha256: createHash("sha256").update(readFileSync(join(dist, name))).digest("hex"),
    transport: { type: "stdio" },
  })),
};
writeFileSync(join(dist, "server.json"), `${JSON.stringify(entry, null, 2)}\n`);
