// Tests with the client of the official SDK, the real server and a fake application.
import assert from "node:assert/strict";
import { test } from "node:test";

import { connect, violations } from "./client.mjs";
import { startFakeApplication } from "./fakeApplication.mjs";
import { makeHomeFor } from "./home.mjs";

const transcription = {
  content: [{ type: "text", text: "hello there" }],
  structuredContent: {
    text: "hello there",
    segments: [
      { text: "hello", startTime: 0, endTime: 0.41 },
      { text: "there", startTime: 0.41, endTime: 1 },
    ],
  },
  isError: false,
};

const transcribe = { name: "transcribe_file", arguments: { path: "/a.m4a" } };

async function stage(test, handle) {
  const home = await makeHomeFor(test);
  await startFakeApplication(test, home, handle);
  return connect(test, home);
}

test("the server tells the client its name, version and capabilities", async (t) => {
  const client = await stage(t, assert.fail);
  assert.deepEqual(client.getServerVersion(), { name: "vostel-mcp", version: "4" });
  assert.deepEqual(client.getServerCapabilities(), { tools: { listChanged: false } });
});

test("twelve tools are listed whose schemas are valid", async (t) => {
  const client = await stage(t, assert.fail);
  const { tools, nextCursor } = await client.listTools();
  assert.equal(nextCursor, undefined);
  assert.deepEqual(
    tools.map((tool) => tool.name),
    [
      ...["transcribe_file", "transcribe_url", "history_list", "transcripts_list", "recordings_list", "recording_get"],
      ...["vocabulary_list", "vocabulary_add", "vocabulary_remove", "models_list", "model_install", "model_remove"],
    ],
  );
  for (const tool of tools) {
    assert.ok(tool.description, tool.name);
    assert.ok(Array.isArray(violations(tool.inputSchema, {})), tool.name);
    assert.deepEqual(violations(tool.outputSchema, {}), [], tool.name);
    const undeclared = violations(tool.outputSchema, { somethingElse: 1 });
    assert.deepEqual(undeclared.map(({ keyword }) => keyword), ["additionalProperties"], tool.name);
  }
});

test("a call reports progress and then a result that matches the advertised schema", async (t) => {
  let arrived;
  const client = await stage(t, (call) => {
    arrived = call;
    call.progress(0.25);
    call.progress(0.5, "half-way");
    call.progress(1);
  });
  const { tools } = await client.listTools();
  const reports = [];
  const onprogress = (report) => {
    reports.push(report);
    // The call is answered only now, because the client drops reports that it reads together with the response.
    if (reports.length === 3) arrived.answer(transcription);
  };
  const result = await client.callTool(transcribe, undefined, { onprogress });
  assert.deepEqual(result, transcription);
  assert.deepEqual(violations(tools[0].outputSchema, result.structuredContent), []);
  assert.deepEqual(reports, [
    { progress: 0.25, total: 1 },
    { progress: 0.5, total: 1, message: "half-way" },
    { progress: 1, total: 1 },
  ]);
  const { requestID, ...request } = arrived.request;
  assert.match(requestID, /^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$/);
  assert.deepEqual(request, {
    arguments: { path: "/a.m4a" },
    clientInfo: { name: "sdk-client-tests", version: "1.2.3" },
    protocolVersion: 4,
    tool: "transcribe_file",
  });
});

test("a client that asks for no progress gets none", async (t) => {
  const client = await stage(t, (call) => {
    call.progress(0.5);
    call.answer(transcription);
  });
  assert.deepEqual(await client.callTool(transcribe), transcription);
});

test("the client refuses results that do not match the advertised schema", async (t) => {
  const answers = [
    { content: [] },
    { content: [], structuredContent: { ...transcription.structuredContent, undeclared: 1 } },
    { content: [], structuredContent: { text: 5, segments: [] } },
  ];
  const client = await stage(t, (call) => call.answer(answers[call.request.arguments.answer]));
  await client.listTools();
  for (const answer of answers.keys()) {
    await assert.rejects(client.callTool({ name: "transcribe_file", arguments: { answer } }), { name: "McpError" });
  }
});

test("a failed call has a result, not a protocol error", async (t) => {
  const failure = { content: [{ type: "text", text: "There is no such file." }], isError: true };
  const client = await stage(t, (call) => call.answer(failure));
  await client.listTools();
  assert.deepEqual(await client.callTool(transcribe), failure);
});

test("an aborted call ends for the client and for the application, and no other call ends", async (t) => {
  const arrived = [];
  let secondArrived;
  const both = new Promise((resolve) => (secondArrived = resolve));
  const client = await stage(t, (call) => {
    arrived.push(call);
    if (arrived.length === 2) secondArrived();
  });
  const controller = new AbortController();
  const aborted = client.callTool(transcribe, undefined, {
    signal: controller.signal,
    onprogress: () => assert.fail("no progress was reported"),
  });
  const refused = assert.rejects(aborted, /changed my mind/);
  const other = client.callTool({ name: "history_list" });
  await both;
  const [first, second] = arrived.sort((a, b) => b.request.tool.localeCompare(a.request.tool));

  controller.abort("changed my mind");
  await refused;
  await first.untilCancelled();
  assert.equal(second.cancellation.signal.aborted, false);
  first.progress(0.9);
  first.answer(transcription);
  second.answer({ content: [], structuredContent: {} });
  assert.deepEqual(await other, { content: [], structuredContent: {} });
});

test("a call that reaches the client's time limit is cancelled in the application", async (t) => {
  let cancelled;
  const client = await stage(t, (call) => (cancelled = call.untilCancelled()));
  await assert.rejects(client.callTool(transcribe, undefined, { timeout: 300 }), /timed out/);
  await cancelled;
});

test("simultaneous calls are answered in any order", async (t) => {
  const waiting = [];
  const client = await stage(t, (call) => {
    waiting.push(call);
    if (waiting.length < 64) return;
    for (const each of waiting.reverse()) {
      each.answer({ content: [{ type: "text", text: String(each.request.arguments.number) }] });
    }
  });
  const results = await Promise.all(
    Array.from({ length: 64 }, (_, number) => client.callTool({ name: "models_list", arguments: { number } })),
  );
  assert.deepEqual(results.map(({ content }) => content[0].text), Array.from({ length: 64 }, (_, number) => String(number)));
});

test("an application of another version causes an error that says what to do", async (t) => {
  const client = await stage(t, (call) => call.refuse({ kind: "versionMismatch", helper: 4, app: 5 }));
  await assert.rejects(client.callTool(transcribe), {
    code: -32603,
    message: /helper v4, app v5\). Restart the Vostel MCP server — quit and relaunch your AI client/,
  });
});

test("without an application, outside a bundle, calls fail and everything else works", async (t) => {
  const home = await makeHomeFor(t);
  const client = await connect(t, home);
  await assert.rejects(client.callTool(transcribe), { code: -32603, message: /Please open Vostel yourself/ });
  await assert.rejects(client.ping(), { code: -32601, message: /Method not found: ping/ });
  assert.equal((await client.listTools()).tools.length, 12);
});
