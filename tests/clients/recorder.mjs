// Runs between a client and the server: recorder.mjs LOG HOME SERVER. The client starts this program instead of the server.
// It starts the server, forwards all bytes, and logs each line and event to LOG as one line of JSON.
import { spawn } from "node:child_process";
import { appendFileSync } from "node:fs";

const [log, home, server] = process.argv.slice(2);
const keptCharacters = 4000;

function note(fact) {
  appendFileSync(log, `${JSON.stringify({ at: Date.now(), ...fact })}\n`);
}

/** Logs each line that is forwarded. Of a long line, it logs the beginning and the length. */
function lineRecorder(from) {
  let start = "";
  let length = 0;
  return (chunk) => {
    for (const [index, piece] of chunk.toString("latin1").split("\n").entries()) {
      if (index > 0) {
        note({ from, line: Buffer.from(start, "latin1").toString(), bytes: length });
        start = "";
        length = 0;
      }
      start += piece.slice(0, keptCharacters - start.length);
      length += piece.length;
    }
  };
}

note({ event: "start", process: process.pid, home: process.env.HOME ?? null });
const child = spawn(server, {
  env: { ...process.env, HOME: home, CFFIXED_USER_HOME: home },
  stdio: ["pipe", "pipe", "inherit"],
});
const fromClient = lineRecorder("client");
const fromServer = lineRecorder("server");
process.stdin.on("data", (chunk) => {
  fromClient(chunk);
  child.stdin.write(chunk);
});
process.stdin.on("end", () => {
  note({ event: "end of input" });
  child.stdin.end();
});
child.stdin.on("error", () => {});
child.stdout.on("data", (chunk) => {
  fromServer(chunk);
  process.stdout.write(chunk);
});
process.stdout.on("error", () => note({ event: "the client closed the output" }));
child.on("exit", (status, signal) => {
  note({ event: "the server ended", status, signal });
  process.exitCode = status ?? 1;
  process.stdin.destroy();
});
for (const signal of ["SIGTERM", "SIGINT", "SIGHUP"]) {
  process.on(signal, () => {
    note({ event: signal });
    child.kill(signal);
  });
}
