const headerLength = 4;
const maxFrameLength = 67108864;

export const wireProtocolVersion = 4;

/** One frame: the payload's length, 32-bit big-endian, then the payload as JSON text. */
export function encodeFrame(value) {
  const json = JSON.stringify(value);
  const length = Buffer.byteLength(json);
  const frame = Buffer.allocUnsafe(headerLength + length);
  frame.writeUInt32BE(length, 0);
  frame.write(json, headerLength);
  return frame;
}

/** Cuts frames out of a byte stream. It joins the chunks of a large frame once, not after each chunk. */
export class FrameReader {
  #chunks = [];
  #received = 0;
  #needed = headerLength;

  /** Returns the decoded payloads that the chunk completed, in order. */
  push(chunk) {
    this.#chunks.push(chunk);
    this.#received += chunk.length;
    if (this.#received < this.#needed) return [];

    const payloads = [];
    let buffer = this.#chunks.length === 1 ? chunk : Buffer.concat(this.#chunks, this.#received);
    this.#needed = headerLength;
    while (buffer.length >= headerLength) {
      const length = buffer.readUInt32BE(0);
      if (length > maxFrameLength) throw new Error(`A frame of ${length} bytes exceeds the limit.`);
      this.#needed = headerLength + length;
      if (buffer.length < this.#needed) break;
      payloads.push(JSON.parse(buffer.toString("utf8", headerLength, this.#needed)));
      buffer = buffer.subarray(this.#needed);
      this.#needed = headerLength;
    }
    this.#chunks = buffer.length > 0 ? [buffer] : [];
    this.#received = buffer.length;
    return payloads;
  }
}
