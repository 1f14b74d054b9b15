// Measures how much of a long transcript reaches the model. Some clients show the model only the text of a result, and
// others only the beginning of the structured record. The test prints a table of the words that arrive.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdir, readFile } from "node:fs/promises";
import { join } from "node:path";
import { test } from "node:test";

import { connect, violations } from "./client.mjs";
import { applicationFolder, makeHomeFor } from "./home.mjs";

const recordings = process.env.VOSTEL_SPEECH_DATA;

/** Words per second in a meeting, pauses included. */
const rate = 150 / 60;

/** The words of the spoken sentences that the tests transcribe. */
async function sentences() {
  const text = await readFile(join(recordings, "transcription"), "utf8");
  return text.replaceAll(/<\/?s>|\(.*\)/g, "").trim().split(/\s+/);
}

/** Stores `minutes` of speech as a transcript and as a recorded call. Returns their id and words. */
async function storeMinutes(home, minutes) {
  const words = await sentences();
  const spoken = Array.from({ length: minutes * 60 * rate }, (_, index) => words[index % words.length]);
  const database = join(applicationFolder(home), "Vostel.sqlite");
  const stored = spawnSync(process.env.VOSTEL_STORE_SPEECH, [database, String(rate)], { input: spoken.join(" "), encoding: "utf8" });
  assert.equal(stored.status, 0, stored.stderr);
  return { id: stored.stdout.trim(), spoken };
}

/** Counts the words at the beginning of `spoken` that `text` has, in their order. */
function wordsIn(text, spoken) {
  // Each turn of a call begins a line with its speaker. Sentences begin with a capital and end with a full stop, and
  // empty lines separate paragraphs.
  const plain = text.replaceAll(/(\\n|\n)(Me: |Them: )?/g, " ").replaceAll("Me: ", "").toLowerCase();
  const start = plain.indexOf(spoken.slice(0, 20).join(" "));
  if (start < 0) return 0;
  const heard = plain.slice(start).split(/[^\p{L}\p{N}']+/u);
  const different = spoken.findIndex((word, index) => heard[index] !== word);
  return different < 0 ? spoken.length : different;
}

/** The transcript in a record, or in its beginning. */
function textIn(record) {
  try {
    const { entries, text } = JSON.parse(record);
    return entries?.[0].text ?? text;
  } catch {
    return record; // The record is cut, so it is not JSON.
  }
}

const beginning = (text, bytes) => Buffer.from(text).subarray(0, bytes).toString();

test("every word of an hour reaches clients that read the text or 50 KB of the record", async (t) => {
  const home = await makeHomeFor(t);
  await mkdir(applicationFolder(home), { recursive: true, mode: 0o700 });
  const client = await connect(t, home);
  const { tools } = await client.listTools();

  console.log("words received    spoken  text only  record only  50 KB of it  12 KB of it");
  for (const minutes of [2, 12, 60]) {
    const { id, spoken } = await storeMinutes(home, minutes);
    for (const name of ["transcripts_list", "recording_get"]) {
      const result = await client.callTool({ name, arguments: { id } });
      const when = `${name} of ${minutes} minutes`;
      assert.notEqual(result.isError, true, when);
      const { outputSchema } = tools.find((tool) => tool.name === name);
      assert.deepEqual(violations(outputSchema, result.structuredContent), [], when);
      const text = result.content[0].text;
      const record = JSON.stringify(result.structuredContent);
      const shown = [text, ...[Infinity, 50_000, 12_000].map((bytes) => textIn(beginning(record, bytes)))];
      const received = shown.map((each) => wordsIn(each, spoken));
      const share = received.map((count) => `${Math.round((100 * count) / spoken.length)} %`);
      console.log(
        `${name.padEnd(16)} ${String(minutes).padStart(2)} min ${String(spoken.length).padStart(5)}` +
          ` ${share[0].padStart(8)} ${share[1].padStart(11)} ${share[2].padStart(12)} ${share[3].padStart(12)}`,
      );
      assert.equal(received[0], spoken.length, `${when}: the text`);
      assert.equal(received[1], spoken.length, `${when}: the record`);
      assert.equal(received[2], spoken.length, `${when}: 50 KB of the record`);
      // If words are missing, the note at the beginning names the file with the whole text.
      const [, file] = beginning(record, 12_000).match(/the whole is in the file ([^\]]*)\]/) ?? [];
      if (received[3] < spoken.length) {
        const saved = await readFile(file, "utf8");
        assert.equal(wordsIn(saved, spoken), spoken.length, `${when}: the file`);
      }
    }
  }
});
