// A minimal relay in Node: it turns lines into frames and back, without SDK, validation or waiting.
// It answers initialize and tools/call, and is compared only in relaying progress.
import { randomUUID } from "node:crypto";
import { connect } from "node:net";
import { stdin, stdout } from "node:process";
import { createInterface } from "node:readline";

import { FrameReader, encodeFrame, wireProtocolVersion } from "./frames.mjs";
import { socketPath } from "./socketPath.mjs";

let clientInfo = { name: "unknown client" };

const write = (message) => stdout.write(`${JSON.stringify({ jsonrpc: "2.0", ...message })}\n`);

function call(id, { name: tool, arguments: args = {}, _meta: meta }) {
  const progressToken = meta?.progressToken;
  const frames = new FrameReader();
  const socket = connect(socketPath);
  socket.on("connect", () => {
    const requestID = randomUUID().toUpperCase();
    const payload = { protocolVersion: wireProtocolVersion, clientInfo, tool, arguments: args, requestID };
    socket.write(encodeFrame({ kind: "request", payload }));
  });
  socket.on("data", (chunk) => {
    for (const { kind, payload } of frames.push(chunk)) {
      if (kind === "response") {
        write({ id, result: payload.result });
        socket.destroy();
      } else if (progressToken !== undefined) {
        const params = { progressToken, progress: payload.fraction, total: 1, message: payload.message };
        write({ method: "notifications/progress", params });
      }
    }
  });
  socket.on("error", (error) => write({ id, error: { code: -32603, message: error.message } }));
}

createInterface({ input: stdin }).on("line", (line) => {
  const { id, method, params } = JSON.parse(line);
  if (method === "initialize") {
    clientInfo = params.clientInfo;
    const serverInfo = { name: "vostel-bench-plain-relay", version: "1.0.0" };
    write({ id, result: { protocolVersion: params.protocolVersion, capabilities: { tools: {} }, serverInfo } });
  } else if (method === "tools/call") {
    call(id, params);
  }
});
