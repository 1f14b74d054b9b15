// The client of the official SDK, connected over standard input and output to the server that VOSTEL_MCP names.
import assert from "node:assert/strict";
import { existsSync } from "node:fs";
import { env } from "node:process";

import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import Ajv from "ajv";

import { atEnd } from "./home.mjs";

/** In milliseconds. The SDK's own minute is too short on a machine that is busy with other work. */
const requestTimeout = 300_000;

/** The path of the server under test. A missing server is a failure. */
export function serverPath() {
  const path = env.VOSTEL_MCP;
  assert.ok(path, "VOSTEL_MCP must name the server to test");
  assert.ok(existsSync(path), `there is no server at ${path}; script/build makes it`);
  return path;
}

/** Connects a client to a new server. Both end with the test. The server must not have written an error by then. */
export async function connect(test, home) {
  const transport = new StdioClientTransport({ command: serverPath(), env: { HOME: home, CFFIXED_USER_HOME: home }, stderr: "pipe" });
  let errorText = "";
  transport.stderr.setEncoding("utf8").on("data", (text) => (errorText += text));
  const client = new Client({ name: "sdk-client-tests", version: "1.2.3" });
  const request = client.request.bind(client);
  client.request = (message, schema, options) => request(message, schema, { timeout: requestTimeout, ...options });
  client.onerror = (error) => {
    if (!error.message.includes("progress notification for an unknown token")) assert.fail(error);
  };
  atEnd(test, async () => {
    await client.close();
    assert.equal(errorText, "vostel-mcp wire protocol v4\n");
  });
  await client.connect(transport);
  expectOnlyAwaitedProgress(transport);
  return client;
}

/**
 * Checks that progress comes only for calls that asked for it, and before their response. The client's own check is too
 * strict: it handles a response at once and a notification a moment later, so it reports an error for progress that it
 * reads together with the response.
 */
function expectOnlyAwaitedProgress(transport) {
  const awaited = new Set();
  const send = transport.send.bind(transport);
  transport.send = (message, options) => {
    // The client makes the request's id the token of its progress.
    if (message.params?._meta?.progressToken !== undefined) awaited.add(message.id);
    return send(message, options);
  };
  const take = transport.onmessage;
  transport.onmessage = (message) => {
    if (message.method === "notifications/progress") assert.ok(awaited.has(message.params.progressToken));
    if (message.method === undefined) awaited.delete(message.id);
    take(message);
  };
}

/** The violations of `schema` in `value`. */
export function violations(schema, value) {
  const validate = new Ajv({ strict: true, allErrors: true }).compile(schema);
  validate(value);
  return validate.errors ?? [];
}
