// The official SDK's client, of any version: sdk.mjs PACKAGE COMMAND STEPS [MODE]. MODE is how version 2 negotiates the
// revision: "auto", or the only revision that the client accepts.
import { printCalls } from "./calls.mjs";

const [name, command, steps, mode] = process.argv.slice(2);

async function load() {
  try {
    return { ...(await import(name)), ...(await import(`${name}/stdio`)), major: 2 };
  } catch {
    const [client, stdio] = await Promise.all([import(`${name}/client/index.js`), import(`${name}/client/stdio.js`)]);
    return { ...client, ...stdio, major: name === "sdk-0.4" ? 0 : 1 };
  }
}

const { Client, StdioClientTransport, major } = await load();
const identity = { name: "clients-sdk", version: "1" };
const options = {
  capabilities: {},
  ...(mode && { versionNegotiation: { mode: mode === "auto" ? mode : { pin: mode } } }),
};
const client = major === 0 ? new Client(identity) : new Client(identity, options);
client.onerror = (error) => console.error(error.message);
await client.connect(new StdioClientTransport({ command }));
await client.listTools();
await printCalls(JSON.parse(steps), (step, options) => {
  const call = { name: step.tool, arguments: step.arguments };
  if (major === 0) return client.callTool(call, undefined, options.onprogress);
  return major === 1 ? client.callTool(call, undefined, options) : client.callTool(call, options);
});
await client.close();
