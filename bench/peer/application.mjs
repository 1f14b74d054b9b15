import { randomUUID } from "node:crypto";
import { connect } from "node:net";

import { FrameReader, encodeFrame, wireProtocolVersion } from "./frames.mjs";
import { socketPath } from "./socketPath.mjs";

/**
 * Sends one tool call to the application on a connection of its own and returns the result of the response.
 * `onProgress` gets each progress report, and is awaited before the next frame is read. That is the fastest use of the
 * SDK: each notification that is sent without waiting adds a listener to a full standard output, and removing these
 * listeners takes quadratic time.
 */
export function callApplication({ clientInfo, tool, args, signal, onProgress }) {
  const requestID = randomUUID().toUpperCase();
  return new Promise((resolve, reject) => {
    const socket = connect(socketPath);
    const frames = new FrameReader();

    const settle = (action, value) => {
      signal.removeEventListener("abort", cancel);
      socket.destroy();
      action(value);
    };
    const cancel = () => {
      cancelInApplication(requestID);
      settle(reject, signal.reason);
    };
    signal.addEventListener("abort", cancel, { once: true });

    socket.on("connect", () => {
      const payload = { protocolVersion: wireProtocolVersion, clientInfo, tool, arguments: args, requestID };
      socket.write(encodeFrame({ kind: "request", payload }));
    });
    const relay = async (chunk) => {
      try {
        const received = frames.push(chunk);
        if (received.length === 0) return;
        socket.pause();
        for (const { kind, payload } of received) {
          if (kind === "progress") {
            await onProgress(payload);
          } else if (payload.error) {
            settle(reject, new Error(`The application refused the call: ${payload.error.kind}.`));
          } else {
            settle(resolve, payload.result);
          }
        }
        socket.resume();
      } catch (error) {
        settle(reject, error);
      }
    };
    let relaying;
    socket.on("data", (chunk) => {
      relaying = relay(chunk);
    });
    socket.on("end", async () => {
      // Despite the pause, this event may come before the reports of the last chunk have been relayed.
      await relaying;
      settle(reject, new Error("The application closed the connection before it answered."));
    });
    socket.on("error", (error) => settle(reject, error));
  });
}

function cancelInApplication(requestID) {
  const socket = connect(socketPath);
  socket.on("error", () => {});
  socket.on("connect", () => {
    socket.end(encodeFrame({ kind: "cancellation", payload: { protocolVersion: wireProtocolVersion, requestID } }));
  });
}
