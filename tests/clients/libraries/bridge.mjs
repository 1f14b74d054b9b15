// A bridge between standard streams and HTTP, called by the SDK's newest client: bridge.mjs NAME COMMAND STEPS.
// mcp-remote bridges the other way, so mcp-proxy is between it and the server.
import { spawn } from "node:child_process";
import { once } from "node:events";
import { createServer } from "node:net";
import { setTimeout as pause } from "node:timers/promises";

import { Client, StreamableHTTPClientTransport } from "sdk-2.4";
import { StdioClientTransport } from "sdk-2.4/stdio";

import { program } from "../stage.mjs";
import { printCalls } from "./calls.mjs";

const [name, command, steps] = process.argv.slice(2);

async function freePort() {
  const listener = createServer().listen(0, "127.0.0.1");
  await once(listener, "listening");
  const { port } = listener.address();
  listener.close();
  return port;
}

const port = await freePort();
const arguments_ = {
  supergateway: ["--stdio", command, "--outputTransport", "streamableHttp", "--stateful", "--port", port],
  "mcp-proxy": ["--port", port, "--host", "127.0.0.1", "--server", "stream", "--", command],
};
const server = name === "mcp-remote" ? "mcp-proxy" : name;
const bridge = spawn(program(server), arguments_[server].map(String), { stdio: ["ignore", "ignore", "inherit"] });
const url = `http://127.0.0.1:${port}/mcp`;
for (let tries = 0; ; ++tries) {
  try {
    await fetch(url, { method: "GET", signal: AbortSignal.timeout(2000) });
    break;
  } catch (error) {
    if (tries === 100) throw error;
    await pause(100);
  }
}
const client = new Client({ name: "clients-bridge", version: "1" }, { capabilities: {} });
client.onerror = (error) => console.error(error.message);
const remote = () => new StdioClientTransport({ command: program("mcp-remote"), args: [url], env: process.env });
await client.connect(name === "mcp-remote" ? remote() : new StreamableHTTPClientTransport(new URL(url)));
await client.listTools();
// Longer than the time limits of the bridges, so that those are measured.
const timeout = 600_000;
await printCalls(JSON.parse(steps), (step, options) =>
  client.callTool({ name: step.tool, arguments: step.arguments }, { ...options, timeout }),
);
await pause(1000); // so that a cancellation reaches the server
await client.close();
bridge.kill("SIGTERM");
