// A fake application: the other end of the socket, controlled by a test. A frame is its length in four bytes, most
// significant first, and then JSON.
import { once } from "node:events";
import { mkdir, rm } from "node:fs/promises";
import { createServer } from "node:net";
import { join } from "node:path";

import { applicationFolder, atEnd } from "./home.mjs";

function framed(value) {
  const payload = Buffer.from(JSON.stringify(value));
  const header = Buffer.alloc(4);
  header.writeUInt32BE(payload.length);
  return Buffer.concat([header, payload]);
}

async function readFrame(connection) {
  const length = (await readBytes(connection, 4)).readUInt32BE();
  return JSON.parse(await readBytes(connection, length));
}

async function readBytes(connection, count) {
  while (true) {
    const bytes = connection.read(count);
    if (bytes !== null) return bytes;
    await once(connection, "readable");
  }
}

/** A call that has arrived. */
class Call {
  #connection;

  constructor(connection, request) {
    this.#connection = connection;
    this.request = request;
    /** Is aborted when the client cancels the call. */
    this.cancellation = new AbortController();
  }

  #send(kind, content) {
    this.#connection.write(framed({ kind, payload: { requestID: this.request.requestID, ...content } }));
  }

  progress(fraction, message) {
    this.#send("progress", { fraction, message });
  }
  answer(result) {
    this.#send("response", { result });
  }
  refuse(error) {
    this.#send("response", { error });
  }
  async untilCancelled() {
    if (!this.cancellation.signal.aborted) await once(this.cancellation.signal, "abort");
  }
}

/** Listens in the application's folder in `home` until the test ends. Passes each call to `handle`. */
export async function startFakeApplication(test, home, handle) {
  const calls = new Map();
  // A cancellation may arrive before the call, because it comes through another connection.
  const cancelled = new Set();
  const listener = createServer(async (connection) => {
    connection.on("error", () => {});
    const { kind, payload } = await readFrame(connection);
    if (kind === "cancellation") {
      cancelled.add(payload.requestID);
      calls.get(payload.requestID)?.cancellation.abort();
      return;
    }
    const call = new Call(connection, payload);
    calls.set(payload.requestID, call);
    handle(call);
    if (cancelled.has(payload.requestID)) call.cancellation.abort();
  });
  await mkdir(applicationFolder(home), { recursive: true, mode: 0o700 });
  const path = join(applicationFolder(home), "mcp.sock");
  listener.listen(path);
  await once(listener, "listening");
  atEnd(test, async () => {
    listener.close();
    await rm(path, { force: true });
  });
}
