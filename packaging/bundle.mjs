// Makes a bundle of what has been installed for a target: adds the manifest, the notices, the list
// of what is inside and the icon, and packs all of it, the same bytes each time.
//
// Usage: node bundle.mjs TARGET STAGE DIST   with the programs in STAGE/server
import { execFileSync } from "node:child_process";
import { cpSync, readdirSync, readFileSync, statSync, writeFileSync } from "node:fs";
import { dirname, join, sep } from "node:path";
import { fileURLToPath } from "node:url";

import { unzipSync, zipSync } from "fflate";

const [target, stage, dist] = process.argv.slice(2);
const here = dirname(fileURLToPath(import.meta.url));
const root = dirname(here);
const json = (path) => JSON.parse(readFileSync(join(root, path), "utf8"));
const owner = json("packaging/owner.json");
const version = /project\(brindlevane VERSION ([0-9.]+)/.exec(readFileSync(join(root, "CMakeLists.txt"), "utf8"))[1];
const [system] = target.split("-");
const created = new Date(Number(process.env.SOURCE_DATE_EPOCH) * 1000);
const libraries = join(root, "build/libraries", system === "macos" ? "macos-arm64" : target);
const components = json("packaging/components.json")
  .filter(({ systems }) => !systems || systems.includes(system))
  .map((component) => ({
    ...component,
    version: readFileSync(join(libraries, "licences", component.source, "version"), "utf8").trim(),
  }));

function filesBelow(folder) {
  return readdirSync(folder, { recursive: true })
    .filter((name) => statSync(join(folder, name)).isFile())
    .map((name) => name.split(sep).join("/"))
    .sort();
}

function writeManifest() {
  const program = `server/bin/brindlevane${system === "windows" ? ".exe" : ""}`;
  const { tools } = json("tests/data/offered.json");
  const manifest = {
    manifest_version: "0.3",
    name: "brindlevane",
    display_name: "Brindlevane",
    version,
    description: "Lets the assistant see, change and hear the open Ableton Live project.",
    long_description: readFileSync(join(here, "long_description.md"), "utf8"),
    author: { name: owner.author, url: owner.homepage },
    repository: { type: "git", url: owner.repository },
    homepage: owner.homepage,
    documentation: owner.documentation,
    support: owner.support,
    icon: "icon.png",
    server: {
      type: "binary",
      entry_point: program,
      mcp_config: { command: `\${__dirname}/${program}`, args: [], env: {} },
    },
    tools: tools.map(({ name, description }) => ({ name, description })),
    tools_generated: false,
    keywords: ["ableton", "live", "music", "audio", "mixing"],
    privacy_policies: [owner.privacy],
    compatibility: { platforms: [{ linux: "linux", macos: "darwin", windows: "win32" }[system]] },
  };
  writeFileSync(join(stage, "manifest.json"), `${JSON.stringify(manifest, null, 2)}\n`);
}

function writeNotices() {
  let text = "Brindlevane comes with these works of others. Those under the LGPL are libraries of their own in\n" +
    "server/lib/brindlevane, which you may replace by your own builds of the sources that are named.\n";
  for (const { name, version: built, source, licence, texts } of components) {
    const folder = join(libraries, "licences", source);
    text += `\n${"=".repeat(96)}\n${name} ${built} (source package ${source}), ${licence}\n${"=".repeat(96)}\n`;
    for (const file of texts ?? filesBelow(folder).filter((each) => each !== "version")) {
      text += `\n${readFileSync(join(folder, file), "utf8").trim()}\n`;
    }
  }
  writeFileSync(join(stage, "THIRD-PARTY-NOTICES.txt"), text);
}

/** What is inside, as SPDX 2.3 has it. */
function writeContents() {
  const packages = [{ name: "brindlevane", source: "brindlevane", version, licence: "NOASSERTION" }, ...components];
  const id = (source) => `SPDXRef-${source.replaceAll(/[^A-Za-z0-9.]/g, "-")}`;
  const contents = {
    spdxVersion: "SPDX-2.3",
    dataLicense: "CC0-1.0",
    SPDXID: "SPDXRef-DOCUMENT",
    name: `brindlevane-${version}-${target}`,
    documentNamespace: `${owner.downloads}/spdx/brindlevane-${version}-${target}`,
    creationInfo: { created: created.toISOString().replace(".000", ""), creators: ["Tool: scripts/package"] },
    packages: packages.map(({ name, source, version: built, licence, linked }) => ({
      name,
      SPDXID: id(source),
      versionInfo: built,
      downloadLocation: source === "brindlevane" ? owner.repository : "NOASSERTION",
      filesAnalyzed: false,
      licenseConcluded: licence,
      licenseDeclared: licence,
      copyrightText: "NOASSERTION",
      ...(linked && { sourceInfo: `built from the source package ${source} ${built}`, comment: linked }),
    })),
    relationships: [
      { spdxElementId: "SPDXRef-DOCUMENT", relationshipType: "DESCRIBES", relatedSpdxElement: id("brindlevane") },
      ...components.map(({ source }) => ({
        spdxElementId: id("brindlevane"),
        relationshipType: "CONTAINS",
        relatedSpdxElement: id(source),
      })),
    ],
  };
  writeFileSync(join(stage, "sbom.spdx.json"), `${JSON.stringify(contents, null, 2)}\n`);
}

/** A zip archive of files below a folder: in order, with the commit's time and the files' modes. */
function zipped(folder, names, prefix = "") {
  const entries = names.map((name) => [
    prefix + name,
    [
      readFileSync(join(folder, name)),
      { mtime: created, os: 3, attrs: (statSync(join(folder, name)).mode & 0o777 | 0o100000) << 16, level: 9 },
    ],
  ]);
  return zipSync(Object.fromEntries(entries));
}

function mcpb(...args) {
  execFileSync(join(here, "node_modules/.bin/mcpb"), args, { stdio: ["ignore", "ignore", "inherit"] });
}

cpSync(join(root, "build/icon.png"), join(stage, "icon.png"));
writeManifest();
writeNotices();
writeContents();
mcpb("validate", join(stage, "manifest.json"));
const bundle = join(dist, `brindlevane-${version}-${target}.mcpb`);
mcpb("pack", stage, bundle);
// The packer writes the time of packing, and folders in the order of the file system.
writeFileSync(bundle, zipped(stage, Object.keys(unzipSync(readFileSync(bundle))).sort()));
if (system === "windows") {
  const names = filesBelow(stage).filter((name) => !["manifest.json", "icon.png"].includes(name));
  writeFileSync(join(dist, `brindlevane-${version}-${target}.zip`), zipped(stage, names, `brindlevane-${version}/`));
}
