// The Inspector's command line: inspector.mjs COMMAND STEPS. It makes one call in each run.
import { spawn } from "node:child_process";

import { program } from "../stage.mjs";
import { printCalls } from "./calls.mjs";

const [command, steps] = process.argv.slice(2);

await printCalls(JSON.parse(steps), (step, { signal }) => {
  const call = ["--method", "tools/call", "--tool-name", step.tool, "--tool-args-json", JSON.stringify(step.arguments)];
  const child = spawn(program("inspector"), ["--cli", command, ...call, "--format", "json", "-q"], {
    stdio: ["ignore", "pipe", "pipe"],
  });
  signal.addEventListener("abort", () => child.kill("SIGINT"));
  let output = "";
  let errors = "";
  child.stdout.on("data", (text) => (output += text));
  child.stderr.on("data", (text) => (errors += text));
  return new Promise((resolve, reject) => {
    child.on("close", (status) => {
      try {
        resolve(JSON.parse(output));
      } catch {
        reject(new Error(`status ${status}: ${errors}`));
      }
    });
  });
});
