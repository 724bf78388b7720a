// The entry for the registry of servers against the registry's schema and the bundles that it names.
//
// Usage: node registry.test.mjs DIST
import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { readdirSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";

import { Ajv } from "ajv";
import addFormats from "ajv-formats";

const [dist] = process.argv.slice(2);
const entry = JSON.parse(readFileSync(join(dist, "server.json"), "utf8"));

test("it keeps to the registry's schema", () => {
  const schema = JSON.parse(readFileSync(new URL("../data/server.schema.json", import.meta.url), "utf8"));
  const ajv = new Ajv();
  addFormats.default(ajv);
  const isValid = ajv.compile(schema);
  assert.ok(isValid(entry), JSON.stringify(isValid.errors));
  assert.ok(!isValid({ ...entry, name: "brindlevane" }));
});

test("it names each bundle with its sum", () => {
  const bundles = readdirSync(dist).filter((name) => name.endsWith(".mcpb")).sort();
  assert.deepEqual(entry.packages.map(({ identifier }) => identifier.split("/").at(-1)), bundles);
  entry.packages.forEach(({ fileSha256 }, i) => {
    assert.equal(fileSha256, createHash("sha256").update(readFileSync(join(dist, bundles[i]))).digest("hex"));
  });
});
