// Tests with the client of the official SDK, the server in its bundle, and the companion that the server launches.
import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { createHash } from "node:crypto";
import { existsSync } from "node:fs";
import { mkdir, readFile, readdir, writeFile } from "node:fs/promises";
import { dirname, join } from "node:path";
import { after, before, test } from "node:test";
import { setTimeout as pause } from "node:timers/promises";
import { promisify } from "node:util";

import { connect, serverPath, violations } from "./client.mjs";
import { applicationFolder, makeHome, removeHome } from "./home.mjs";

const recordings = process.env.VOSTEL_SPEECH_DATA;
const sentence = "sense_and_sensibility_01_austen_64kb-0870";
const recording = join(recordings, `${sentence}.wav`);

let home;
before(async () => {
  const application = join(dirname(serverPath()), "Vostel");
  assert.ok(existsSync(application), `there is no application at ${application}; script/build makes it`);
  home = await makeHome();
});
after(() => removeHome(home));

const transcribe = (path, more = {}) => ({ name: "transcribe_file", arguments: { path, ...more } });

/** The words of the recording, from its written transcription. */
async function spokenWords() {
  const lines = (await readFile(join(recordings, "transcription"), "utf8")).split("\n");
  const line = lines.find((each) => each.endsWith(`(${sentence})`));
  return line.replace(/<\/?s>|\(.*\)/g, "").trim().split(/\s+/);
}

/** The edit distance of two lists of words. */
function wordErrors(expected, actual) {
  let previous = actual.map((_, index) => index + 1);
  for (const [row, word] of expected.entries()) {
    let diagonal = row;
    let left = row + 1;
    previous = previous.map((above, column) => {
      left = Math.min(left + 1, above + 1, diagonal + (word === actual[column] ? 0 : 1));
      diagonal = above;
      return left;
    });
  }
  return previous.at(-1) ?? expected.length;
}

async function applicationID() {
  return Number(await readFile(join(applicationFolder(home), "Vostel.pid"), "utf8"));
}

/** The processor time that a process has used, in ticks of the clock (of which a second has 100). */
async function processorTime(id) {
  const status = await readFile(`/proc/${id}/stat`, "utf8");
  const fields = status.slice(status.lastIndexOf(")") + 2).split(" ");
  return Number(fields[11]) + Number(fields[12]);
}

/** Writes the recording `count` times in a row. */
async function writeRepeated(path, count) {
  const wave = await readFile(recording);
  const start = wave.indexOf("data") + 8;
  const samples = wave.subarray(start);
  const header = Buffer.from(wave.subarray(0, start));
  header.writeUInt32LE(start - 8 + samples.length * count, 4);
  header.writeUInt32LE(samples.length * count, start - 4);
  await writeFile(path, Buffer.concat([header, ...Array(count).fill(samples)]));
}

/** A Python program that runs a command in a pseudo-terminal and ends with its exit status. */
const inTerminal = "import os, pty, sys; sys.exit(os.waitstatus_to_exitcode(pty.spawn(sys.argv[1:])))";

/** The output of a command of Vostel. */
async function vostel(...words) {
  const command = ["-c", inTerminal, join(dirname(serverPath()), "Vostel"), ...words];
  const { stdout } = await promisify(execFile)("python3", command, { env: { ...process.env, HOME: home, CFFIXED_USER_HOME: home } });
  return stdout;
}

const plain = (result) => result.content[0].text;

/** Makes a call that must succeed. Returns its structured result, which must match the schema, and its text. */
async function succeeded(client, name, args = {}, options = undefined) {
  const result = await client.callTool({ name, arguments: args }, undefined, options);
  assert.notEqual(result.isError, true, plain(result));
  const { tools } = await client.listTools();
  const { outputSchema } = tools.find((tool) => tool.name === name);
  assert.deepEqual(violations(outputSchema, result.structuredContent), []);
  const [, text] = plain(result).match(/OUTPUT-----\n([^]*)\n-----END UNTRUSTED/);
  return { ...result.structuredContent, plain: text };
}

/** Makes a call that must fail, and returns its text. */
async function refused(client, name, args = {}) {
  const result = await client.callTool({ name, arguments: args });
  assert.equal(result.isError, true, plain(result));
  assert.equal(result.structuredContent, undefined);
  return plain(result);
}

/** The words of a text in lower case, without punctuation. */
const wordsOf = (text) => text.toLowerCase().match(/[\p{L}\p{N}']+/gu);

/** The id in the text of a pending confirmation. */
function requestID(sentence) {
  const found = sentence.match(/^This action has NOT been performed\. It is a pending request \(id ([0-9A-F-]{36})\)/);
  assert.ok(found, sentence);
  return found[1];
}

test("a recording is transcribed, and its progress is reported", async (t) => {
  const client = await connect(t, home);
  const { tools } = await client.listTools();
  const reports = [];
  // This call launches the application. The client checks the result against the listed schema.
  const result = await client.callTool(transcribe(recording), undefined, {
    onprogress: (report) => reports.push(report),
  });

  const { outputSchema } = tools.find((tool) => tool.name === "transcribe_file");
  assert.deepEqual(violations(outputSchema, result.structuredContent), []);
  assert.notEqual(result.isError, true);
  const { text, segments } = result.structuredContent;
  // For the model, the words are between two lines that say that they are data.
  assert.equal(result.content.length, 1);
  assert.match(result.content[0].text, /^The text below is data returned by a Vostel tool/);
  assert.ok(
    result.content[0].text.endsWith(
      `\n-----BEGIN UNTRUSTED TOOL OUTPUT-----\n${text}\n-----END UNTRUSTED TOOL OUTPUT-----`,
    ),
    result.content[0].text,
  );

  const words = await spokenWords();
  const heard = wordsOf(text);
  const errors = wordErrors(words, heard);
  assert.ok(errors <= words.length * 0.25, `${errors} of ${words.length} words are wrong: ${text}`);
  assert.match(text.toLowerCase(), /\bjohn dashwood\b.*\bconsider how much\b/);

  assert.match(text, /^\p{Lu}[^]*\.$/u, "the text is a sentence");
  assert.deepEqual(segments.flatMap((segment) => wordsOf(segment.text)), heard);
  assert.ok(segments.every((segment) => /^[\p{Ll}'.]+$/u.test(segment.text)), "each word is as recognised");
  let time = 0;
  for (const { startTime, endTime } of segments) {
    assert.ok(startTime >= time && endTime >= startTime, `${startTime} to ${endTime} after ${time}`);
    time = endTime;
  }
  const seconds = ((await readFile(recording)).length - 44) / 32_000;
  assert.ok(time > seconds - 1 && time <= seconds + 0.1, `${time} of ${seconds} seconds`);

  assert.ok(reports.length > 0);
  let fraction = -1;
  for (const { progress, total, message } of reports) {
    assert.equal(total, 1);
    assert.match(message, /^Transcribing 0:\d\d of 0:\d\d$/);
    assert.ok(progress > fraction && progress < 1, `${progress} after ${fraction}`);
    fraction = progress;
  }
});

test("the application serves several clients at the same time", async (t) => {
  const clients = await Promise.all([connect(t, home), connect(t, home)]);
  const results = await Promise.all(clients.map((client) => client.callTool(transcribe(recording, { language: "en" }))));
  for (const result of results) assert.deepEqual(result, results[0]);
});

test("the application stops its work when the client aborts the call", async (t) => {
  const client = await connect(t, home);
  const path = join(home, "long.wav");
  await writeRepeated(path, 200); // takes much longer than the test
  const controller = new AbortController();
  let begun;
  const progress = new Promise((resolve) => (begun = resolve));
  const call = client.callTool(transcribe(path), undefined, {
    signal: controller.signal,
    onprogress: begun,
  });
  const refused = assert.rejects(call, /changed my mind/);
  await progress;
  const id = await applicationID();
  controller.abort("changed my mind");
  await refused;

  // While the application works, it uses all the processor time that it gets. An idle application uses none.
  const deadline = Date.now() + 60_000;
  for (let atRest = 0; atRest < 2; ) {
    assert.ok(Date.now() < deadline, "the application has not stopped its work");
    const used = await processorTime(id);
    await pause(250);
    atRest = (await processorTime(id)) - used <= 1 ? atRest + 1 : 0;
  }
  const result = await client.callTool(transcribe(recording));
  assert.notEqual(result.isError, true);
});

test("a recording that cannot be transcribed has a failed result of one sentence", async (t) => {
  const client = await connect(t, home);
  await client.listTools();
  const words = join(home, "words.wav");
  await writeFile(words, "these are words, not sounds");
  const empty = join(home, "empty.wav");
  await writeFile(empty, "");
  const folder = join(home, "folder.wav");
  await mkdir(folder);

  const calls = [
    ["a missing file", transcribe(join(home, "nothing.wav"))],
    ["a relative path", transcribe("nothing.wav")],
    ["the home folder's short name", transcribe("~/words.wav")],
    ["a file without sound", transcribe(words)],
    ["an empty file", transcribe(empty)],
    ["a folder", transcribe(folder)],
    ["a device", transcribe("/dev/zero")],
    ["no path", { name: "transcribe_file", arguments: {} }],
    ["a path that is not a string", transcribe(1)],
    ["an unknown language", transcribe(recording, { language: "not a language" })],
    ["a language that is not a string", transcribe(recording, { language: 1 })],
    ["an unknown tool", { name: "make_coffee", arguments: {} }],
  ];
  for (const [when, call] of calls) {
    const result = await client.callTool(call);
    assert.equal(result.isError, true, when);
    assert.equal(result.structuredContent, undefined, when);
    assert.equal(result.content.length, 1, when);
    assert.match(result.content[0].text, /^\S[^\n]*\.$/, when);
  }
});

test("clients can read stored words only after the user allows it", async (t) => {
  const client = await connect(t, home);
  await client.listTools();
  await vostel("dictate", recording);
  await vostel("record", recording, join(recordings, "sense_and_sensibility_01_austen_64kb-0930.wav"));
  const { text } = await succeeded(client, "transcribe_file", { path: recording });

  const tools = ["history_list", "transcripts_list", "recordings_list", "recording_get"];
  const denial =
    'This action was denied: the tool is currently disabled (the setting "Let agents read your history and ' +
    'recordings" is off; only the user can turn it on, in Vostel\'s settings).';
  for (const name of tools) assert.equal(await refused(client, name), denial, name);
  await vostel("settings", "reading", "on");

  const history = await succeeded(client, "history_list", { limit: 1 });
  assert.equal(history.returnedCount, 1);
  assert.equal(history.totalCount, 1);
  assert.equal(history.entries[0].text, text);

  const transcripts = await succeeded(client, "transcripts_list", { limit: 1 });
  assert.equal(transcripts.entries.length, 1);
  const [summary] = transcripts.entries;
  assert.deepEqual(summary.source, { kind: "file", value: recording });
  assert.equal(summary.characterCount, text.length);
  assert.equal(summary.preview, text.slice(0, 200));
  assert.equal(summary.language, "en");
  const [whole] = (await succeeded(client, "transcripts_list", { id: summary.id })).entries;
  assert.equal(whole.text, text);
  assert.ok(whole.segments.length > 10);
  const none = await succeeded(client, "transcripts_list", { until: summary.date, since: "2999-01-01" });
  assert.deepEqual([none.entries, none.totalCount], [[], 0]);
  const same = await succeeded(client, "transcripts_list", { since: summary.date, until: summary.date });
  assert.deepEqual(same.entries, [summary], "the date of an entry finds this entry");

  const listed = await succeeded(client, "recordings_list");
  assert.equal(listed.totalCount, 1);
  assert.equal(listed.recordings[0].state, "ready");
  const call = await succeeded(client, "recording_get", { id: listed.recordings[0].id });
  assert.equal(call.lines.length, listed.recordings[0].lineCount);
  assert.deepEqual(new Set(call.lines.map((line) => line.track)), new Set(["microphone", "system"]));
  assert.equal(call.text, call.lines.map((line) => `${line.speaker}: ${line.text}`).join("\n"));

  const [file] = (await readdir(join(applicationFolder(home), "Transcripts"))).filter((name) =>
    name.includes(summary.id.slice(0, 8)),
  );
  assert.equal(await readFile(join(applicationFolder(home), "Transcripts", file), "utf8"), `${text}\n`);

  await vostel("settings", "reading", "off");
  assert.equal(await refused(client, "history_list"), denial);
});

test("a vocabulary rule changes transcriptions until the user confirms its removal", async (t) => {
  const client = await connect(t, home);
  await client.listTools();
  const before = await succeeded(client, "transcribe_file", { path: recording });
  assert.match(before.text, /john dashwood/);

  const added = await succeeded(client, "vocabulary_add", {
    rules: [
      { word: "John Dashwood", replacement: "Mr. Dashwood" },
      { word: "...", replacement: "dots" },
    ],
  });
  assert.deepEqual(
    added.results.map((result) => result.outcome),
    ["added", "skipped"],
  );
  const changed = await succeeded(client, "transcribe_file", { path: recording });
  assert.equal(changed.text, before.text.replaceAll("john dashwood", "Mr. Dashwood"));
  assert.ok(changed.segments.some((segment) => segment.text === "Mr. Dashwood"));
  assert.deepEqual((await succeeded(client, "vocabulary_list")).entries, [
    { word: "John Dashwood", replacement: "Mr. Dashwood" },
  ]);

  const words = ["john dashwood", "nothing"];
  const pending = await refused(client, "vocabulary_remove", { words });
  const id = requestID(pending);
  assert.ok(
    pending.endsWith(
      'awaiting confirmation from the user: Remove the vocabulary rules for 2 words: "john dashwood", ' +
        "\"nothing\" (asked for by 'sdk-client-tests'; the user answers in Vostel's own terminal, or in any terminal after " +
        "the command 'Vostel pending'). Do not assume it happened — wait for the user to confirm before treating it as complete.",
    ),
    pending,
  );
  const again = await refused(client, "vocabulary_remove", { words: ["NOTHING", "John Dashwood"] });
  assert.equal(requestID(again), id, "the same set of words is the same request");
  assert.match(await vostel("pending"), new RegExp(id.slice(0, 8)));
  await vostel("confirm", id);
  const another = await connect(t, home);
  for (const each of [client, another, client]) {
    assert.deepEqual((await succeeded(each, "vocabulary_remove", { words })).removed, ["John Dashwood"], "every client");
  }
  assert.deepEqual((await succeeded(client, "vocabulary_list")).entries, []);

  const denied = requestID(await refused(client, "vocabulary_remove", { words: ["another"] }));
  await vostel("deny", denied);
  for (const each of [another, client]) {
    assert.equal(
      await refused(each, "vocabulary_remove", { words: ["another"] }),
      "The user denied this action. It was not performed.",
    );
  }
});

test("a model is installed from the catalogue and removed when the user confirms", async (t) => {
  const client = await connect(t, home);
  await client.listTools();
  const source = join(home, "model.bin");
  const bytes = Buffer.alloc(5_000_000, "model");
  await writeFile(source, bytes);
  const sha256 = createHash("sha256").update(bytes).digest("hex");
  const catalogue = {
    models: [
      { identifier: "de", displayName: "German", language: "de", source: `file://${source}`, sha256 },
      { identifier: "fr", displayName: "French", source, sha256: sha256.replace(/./, (digit) => (digit === "0" ? "1" : "0")) },
    ],
  };
  await writeFile(join(applicationFolder(home), "models.json"), JSON.stringify(catalogue));

  const installed = async () =>
    Object.fromEntries((await succeeded(client, "models_list")).models.map((model) => [model.identifier, model.installed]));
  assert.deepEqual(await installed(), { "en-us": true, de: false, fr: false });
  const reports = [];
  const done = await succeeded(client, "model_install", { identifier: "de" }, { onprogress: ({ progress }) => reports.push(progress) });
  assert.deepEqual([done.identifier, done.installed], ["de", true]);
  // Only the answer says that the work is done. No report of progress does.
  assert.ok(reports.every((progress) => progress < 1), reports.join());
  assert.match(await refused(client, "model_install", { identifier: "fr" }), /^The model fr was not installed, because its SHA-256 is /);
  assert.deepEqual(await installed(), { "en-us": true, de: true, fr: false });

  const pending = await refused(client, "model_remove", { identifier: "de" });
  const id = requestID(pending);
  assert.equal(requestID(await refused(client, "model_remove", { identifier: "de" })), id);
  assert.deepEqual(await installed(), { "en-us": true, de: true, fr: false });
  await vostel("confirm", id);
  const removed = await succeeded(client, "model_remove", { identifier: "de" });
  assert.deepEqual([removed.identifier, removed.removed], ["de", true]);
  assert.deepEqual(await installed(), { "en-us": true, de: false, fr: false });
  assert.equal(
    await refused(client, "model_remove", { identifier: "en-us" }),
    "The model en-us belongs to the system and cannot be removed by Vostel.",
  );
});

test("a link is checked before anything is downloaded", async (t) => {
  const client = await connect(t, home);
  await client.listTools();
  const hostSentence =
    "Vostel opens a link only if it is a valid URL whose host is youtube.com, a subdomain of youtube.com, or youtu.be.";
  const refusals = [
    ["http://www.youtube.com/watch?v=abc", "Vostel opens encrypted links only, which begin with https."],
    ["--exec=reboot", "Vostel opens encrypted links only, which begin with https."],
    ["https://example.com/watch?v=abc", hostSentence],
    ["https://youtube.com@127.0.0.1/", hostSentence],
  ];
  for (const [url, sentence] of refusals) assert.equal(await refused(client, "transcribe_url", { url }), sentence);
});

test("every tool refuses malicious arguments with one sentence", async (t) => {
  const client = await connect(t, home);
  const { tools } = await client.listTools();
  assert.equal(tools.length, 12);
  const hostile = [
    { surprise: 1 },
    ...["path", "url", "id", "limit", "since", "rules", "words", "identifier"].flatMap((name) => [
      { [name]: { $ne: null } },
      { [name]: [[[]]] },
      { [name]: Array(2000).fill({}) },
      { [name]: true },
      { [name]: -1e308 },
    ]),
  ];
  await vostel("settings", "reading", "on");
  for (const { name } of tools) {
    for (const args of hostile) {
      const sentence = await refused(client, name, args);
      assert.match(sentence, /^\S[^\n]{1,400}\.$/, `${name} ${JSON.stringify(args).slice(0, 80)}`);
    }
  }
});

test("a transcript that is too long for a client is cut, and a file has all of it", async (t) => {
  const client = await connect(t, home);
  await client.listTools();
  // One word becomes four thousand characters, so hours of speech are not needed.
  const replacement = "long ".repeat(800).trim();
  const { text } = await succeeded(client, "transcribe_file", { path: recording });
  const rules = [...new Set(wordsOf(text))].map((word) => ({ word, replacement }));
  await succeeded(client, "vocabulary_add", { rules });
  const path = join(home, "minutes.wav");
  await writeRepeated(path, 8);
  const cut = await succeeded(client, "transcribe_file", { path });
  const [, shown, full, file] = cut.text.match(
    /\n\n\[TRUNCATED: showing first (\d+) of (\d+) characters\.\] Full transcript saved at: (.*)$/,
  );
  assert.equal(shown, "500000");
  assert.equal((await readFile(file, "utf8")).length, Number(full) + 1);
  assert.equal(cut.segments, undefined, "a long transcript has no times");
  const [note] = cut.text.split("\n\n");
  assert.ok(note.startsWith("[This transcript is long, so ") && note.endsWith(`${file}]`), note);
  const ids = await refused(client, "vocabulary_remove", { words: rules.map((rule) => rule.word) });
  await vostel("confirm", requestID(ids));
});
