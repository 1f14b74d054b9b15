// The measurements that are made with each client. Most probes run the client once. Each returns facts, which table.mjs
// turns into texts.
import { setTimeout as pause } from "node:timers/promises";

import { Stage } from "./stage.mjs";

const minute = 60_000;

/** Numbered words, so that a cut can be found: `c0000000 c0000001 …`. */
function numbered(letter, characters) {
  const words = [];
  for (let index = 0; index * 9 < characters; ++index) words.push(letter + String(index).padStart(7, "0"));
  return words.join(" ");
}

const transcription = (content, text) => ({
  content: [{ type: "text", text: content }],
  structuredContent: { text, segments: [] },
  isError: false,
});
const failure = (text) => ({ content: [{ type: "text", text }], isError: true });

/** The results of the fake application, by the recording's path or the tool's name. */
const results = {
  "/words.wav": () => transcription("words in the content", "words in the structure"),
  "/failed.wav": () => failure("There is no such file."),
  "/long.wav": () => transcription(numbered("c", 500_000), numbered("s", 500_000)),
  "/huge.wav": () => transcription(numbered("c", 11_000_000), "short"),
  vocabulary_list: () => ({
    content: [{ type: "text", text: "No words." }],
    structuredContent: { entries: [] },
    isError: false,
  }),
  vocabulary_remove: () =>
    failure("This action has NOT been performed. It is a pending request that waits for the user."),
};

const progressText = "still working";
const transcribe = (path) => ({ tool: "transcribe_file", arguments: { path } });

/** Stores all calls. Answers every call except those for `/held.wav`. */
function application(reportEvery) {
  const calls = [];
  const timers = [];
  const handle = (call) => {
    calls.push(call);
    const { tool, arguments: given } = call.request;
    const sized = given.path?.match(/^\/room-(\d+)\.wav$/);
    const make = sized
      ? () => transcription(numbered("c", Number(sized[1])), numbered("s", Number(sized[1])))
      : (results[given.path] ?? results[tool]);
    if (make) {
      call.progress(0.5, "half");
      timers.push(setTimeout(() => call.answer(make()), 100));
    } else if (reportEvery) {
      let fraction = 0;
      timers.push(
        setInterval(() => call.progress((fraction = Math.min(fraction + 0.001, 1)), progressText), reportEvery),
      );
    }
  };
  return { calls, handle, end: () => timers.forEach(clearTimeout) };
}

/** All texts in a result that the model received, without names and ids. */
function texts(value) {
  if (typeof value === "string") return value;
  if (Array.isArray(value)) return value.map(texts).join("\n");
  if (!value || typeof value !== "object") return "";
  const isFrame = (key) => ["type", "role", "name", "id", "call_id", "tool_call_id", "tool_use_id"].includes(key);
  return Object.entries(value)
    .filter(([key]) => !isFrame(key))
    .map(([, each]) => texts(each))
    .filter(Boolean)
    .join("\n");
}

/** Waits until the recorder has logged the end of each server, but not forever: a killed recorder logs none. */
async function ended(stage) {
  for (let tries = 0; tries < 20; ++tries) {
    await pause(250);
    const wire = await stage.wire();
    const count = (event) => wire.filter((fact) => fact.event === event).length;
    if (count("the server ended") === count("start")) return;
  }
}

/** Runs one conversation: `body` may act while the client runs. Ends the client after `limit`. */
async function converse(
  client,
  server,
  { steps, permitted = true, seconds, installed, limit = 2 * minute, reportEvery, companion },
  body,
) {
  const stage = await Stage.make(server);
  const { calls, handle, end } = application(reportEvery);
  try {
    if (!companion) await stage.play(handle);
    const model = client.api && (await stage.model(client.api, steps));
    const started = await client.start(stage, { model, steps, permitted, seconds, installed });
    const acted = body?.({ started, calls, stage, model });
    const late = new AbortController();
    const inTime = await Promise.race([started.ended, pause(limit, null, { signal: late.signal, ref: false })]);
    late.abort();
    if (!inTime) started.kill("SIGKILL");
    await started.ended;
    await acted;
    await ended(stage);
    const seen = model ? model.seen : client.seen(started);
    return {
      wire: await stage.wire(),
      seen,
      calls,
      model,
      inTime: inTime !== null,
      status: started.child.exitCode,
      started,
    };
  } finally {
    end();
    await stage.end();
  }
}

const messages = (wire, from, method) => wire.filter((fact) => fact.from === from && fact.message?.method === method);

/** Which revision was negotiated, which messages the client wrote, and how it ended the server. */
function protocol(wire) {
  const [initialize] = messages(wire, "client", "initialize");
  const reply = wire.find((fact) => fact.from === "server" && fact.message?.result?.protocolVersion);
  const calls = messages(wire, "client", "tools/call");
  const refused = wire.filter((fact) => fact.from === "server" && fact.message?.error);
  const last = wire.findLast((fact) => fact.from === "client");
  return {
    discovers: messages(wire, "client", "server/discover").length > 0,
    asked: initialize?.message.params.protocolVersion,
    agreed: reply?.message.result.protocolVersion,
    starts: wire.filter((fact) => fact.event === "start").length,
    homePassed: wire.find((fact) => fact.event === "start")?.home !== null,
    wantsProgress: calls.length > 0 && calls.every((fact) => fact.message.params._meta?.progressToken !== undefined),
    refused: refused.map((fact) => fact.message.error.message),
    end: wire
      .filter((fact) => fact.event && fact.at > last?.at && !/server ended|start/.test(fact.event))
      .map((fact) => fact.event),
    lateCancellations: messages(wire, "client", "notifications/cancelled").length,
  };
}

/** Counts the numbered words in a text: all of them, and those from the first one without a gap (`head`). */
function numberedIn(text, letter) {
  const found = [...text.matchAll(new RegExp(`\\b${letter}(\\d{7})\\b`, "g"))];
  let head = 0;
  while (head < found.length && Number(found[head][1]) === head) ++head;
  if (head === 0) return { words: found.length, head };
  const end = found[head - 1].index + 8;
  return { words: found.length, head, last: Number(found.at(-1)[1]), after: text.slice(end, end + 60) };
}

/** Measures how long a client waits for a call that is never answered. With `reportEvery`, the call reports progress. */
async function measureTimeout(client, server, { limit, reportEvery, seconds }) {
  const steps = [transcribe("/held.wav")];
  const { wire, seen, calls, inTime } = await converse(client, server, { steps, limit, reportEvery, seconds });
  const call = messages(wire, "client", "tools/call")[0];
  const cancelled = messages(wire, "client", "notifications/cancelled")[0];
  const ended = wire.find((fact) => fact.event && fact.event !== "start" && fact.at > call?.at);
  const gaveUp = cancelled?.at ?? (inTime ? ended?.at : undefined);
  return {
    reached: calls.length > 0,
    limit: limit / 1000,
    gaveUp: gaveUp && call ? (gaveUp - call.at) / 1000 : null,
    calls: calls.length,
    refused: protocol(wire).refused,
    cancelled: cancelled !== undefined,
    seen: texts(seen[0]).slice(0, 200),
  };
}

export const probes = {
  /** Makes three calls and finds out what the model sees of a result and of a failure. */
  async words(client, server) {
    const { wire, seen, status, inTime, model, started } = await converse(client, server, {
      steps: ["/words.wav", "/failed.wav", "/words.wav"].map(transcribe),
    });
    const [first, failed] = seen.map(texts);
    return {
      ...protocol(wire),
      status,
      inTime,
      searched: (model?.searched.size ?? 0) > 0,
      answered: seen.length,
      content: /words in the content/.test(first),
      structure: /words in the structure/.test(first),
      failure: /no such file/.test(failed),
      seen: seen.slice(0, 2),
      progress: seen[0]?.progress,
      ...(seen.length < 3 && { output: (started.output + started.errors).slice(-2000) }),
    };
  },

  /** Returns a result of 500,000 characters, the length of the longest transcript. */
  async long(client, server) {
    const { seen } = await converse(client, server, { steps: [transcribe("/long.wav")] });
    const text = texts(seen[0]);
    return {
      characters: text.length,
      content: numberedIn(text, "c"),
      structure: numberedIn(text, "s"),
      start: text.slice(0, 300),
      end: text.slice(-60),
    };
  },

  /** Finds the longest result that the model sees whole, and the shortest that it does not. */
  async room(client, server) {
    if (!client.api) return undefined;
    const sizes = [8, 10, 12, 16, 20, 24, 30, 40, 48, 52, 64, 80, 96, 104, 128, 200].map((each) => each * 1000);
    const { seen } = await converse(client, server, {
      steps: sizes.map((size) => transcribe(`/room-${size}.wav`)),
      limit: 4 * minute,
    });
    const whole = sizes.map((size, index) => {
      const text = texts(seen[index]);
      return Math.max(numberedIn(text, "c").head, numberedIn(text, "s").head) === Math.ceil(size / 9);
    });
    const cut = whole.indexOf(false);
    return { answered: seen.length, whole: cut < 0 ? sizes.at(-1) : (sizes[cut - 1] ?? 0), cut: sizes[cut] ?? null };
  },

  /** Returns a line of 11 MB and then a small result. */
  async huge(client, server) {
    const { seen, wire, inTime } = await converse(client, server, {
      steps: ["/huge.wav", "/words.wav"].map(transcribe),
    });
    const [first, second] = seen.map(texts);
    const line = Math.max(...wire.filter((fact) => fact.from === "server").map((fact) => fact.bytes));
    return {
      line,
      inTime,
      starts: wire.filter((fact) => fact.event === "start").length,
      arrives: first !== undefined && !/closed|not connected|timed out|exceeded/i.test(first),
      first: first?.slice(0, 120),
      nextWorks: /words in/.test(second ?? ""),
      second: second?.slice(0, 120),
    };
  },

  /**
   * Sends SIGINT during a call. Does the client cancel the call? Like a terminal, the probe sends the signal to all
   * programs that the client started.
   */
  async stop(client, server) {
    let stopped;
    const { wire, calls, inTime, status } = await converse(
      client,
      server,
      { steps: [transcribe("/held.wav")], limit: minute },
      async ({ started, calls }) => {
        for (let tick = 0; calls.length === 0 && tick < 500; ++tick) await pause(100);
        await pause(1000);
        stopped = Date.now();
        if (calls.length === 0) return;
        if (client.library) started.child.kill("SIGINT");
        else started.kill("SIGINT");
      },
    );
    const cancelled = wire.find((fact) => fact.message?.method === "notifications/cancelled" && fact.from === "client");
    const after = wire.filter((fact) => fact.event && fact.at >= stopped).map((fact) => fact.event);
    return {
      reached: calls.length > 0,
      cancelled: cancelled !== undefined,
      reason: cancelled?.message.params.reason,
      // The method had this name in a draft of MCP. Old SDKs still use it.
      draftName: wire.some((fact) => fact.from === "client" && fact.message?.method === "cancelled"),
      applicationTold: calls[0]?.cancellation.signal.aborted === true,
      after,
      inTime,
      status,
    };
  },

  /** Presses Escape in a terminal during a call, and finds out what the terminal shows of the progress. */
  async terminal(client, server) {
    if (!client.api || client.library) return undefined;
    const stage = await Stage.make(server);
    const { calls, handle, end } = application(1000);
    try {
      await stage.play(handle);
      const model = await stage.model(client.api, [transcribe("/held.wav")]);
      stage.terminal = true;
      const started = await client.start(stage, { model, permitted: true, terminal: true });
      for (let tick = 0; calls.length === 0 && tick < 600; ++tick) await pause(100);
      await pause(4000);
      const screen = started.screen();
      if (calls.length === 0) return { reached: false, screen };
      const cancellation = async () => messages(await stage.wire(), "client", "notifications/cancelled")[0];
      started.press("Escape");
      await pause(3000);
      let twice = false;
      if (!(await cancellation())) {
        // Some clients require two in a row.
        twice = true;
        started.press("Escape");
        await pause(300);
        started.press("Escape");
        await pause(5000);
      }
      const cancelled = await cancellation();
      return {
        reached: true,
        showsText: screen.includes(progressText),
        showsFraction: /\b[0-9.]+ ?%/.test(screen),
        cancelled: cancelled !== undefined,
        twice,
        applicationTold: calls[0].cancellation.signal.aborted,
        screen: screen.replace(/\n\s*\n+/g, "\n"),
        after: started.screen().replace(/\n\s*\n+/g, "\n"),
      };
    } finally {
      end();
      await stage.end();
    }
  },

  /** Finds out which tools run before the user has given permission, and whether a removal runs with permission. */
  async permission(client, server) {
    if (!client.api || client.library) return undefined;
    const list = { tool: "vocabulary_list", arguments: {} };
    const remove = { tool: "vocabulary_remove", arguments: { words: ["a"] } };
    const attempt = async (step, permitted) => {
      const { seen, calls, model, status, inTime, started } = await converse(client, server, {
        steps: [step],
        permitted,
        limit: minute,
      });
      const text = texts(seen[0]).slice(0, 300) || (started.output + started.errors).slice(-300);
      return { ran: calls.length > 0, shown: model.tools[0] !== undefined, seen: text, status, inTime };
    };
    return {
      list: await attempt(list, false),
      transcribe: await attempt(transcribe("/words.wav"), false),
      remove: await attempt(remove, false),
      permittedRemove: await attempt(remove, true),
    };
  },

  /** Finds out whether the client's setting of a time limit works. */
  async timeout(client, server) {
    return client.timeoutSetting && measureTimeout(client, server, { limit: minute, seconds: 5 });
  },

  /** Makes a call that is never answered and reports no progress. */
  async patience(client, server) {
    return measureTimeout(client, server, { limit: 6 * minute });
  },

  async patienceWithProgress(client, server) {
    return measureTimeout(client, server, { limit: 6 * minute, reportEvery: 1000 });
  },

  /** Lets the companion transcribe a real recording. */
  async recording(client, server, { recording }) {
    const { seen, wire } = await converse(client, server, { steps: [transcribe(recording)], companion: true });
    const text = texts(seen[0]);
    const line = wire.filter((fact) => fact.from === "server" && fact.message?.method === "notifications/progress");
    return {
      text: text.slice(0, 2000),
      fence: text.includes("BEGIN UNTRUSTED TOOL OUTPUT"),
      words: /john dashwood/i.test(text),
      progress: line.length,
    };
  },

  /** Does the same with the entry that `Vostel clients install` writes. */
  async installed(client, server, { recording }) {
    if (!client.installable) return undefined;
    const { seen } = await converse(client, server, {
      steps: [transcribe(recording)],
      companion: true,
      installed: true,
    });
    return { words: /dashwood/i.test(texts(seen[0])), seen: texts(seen[0]).slice(0, 300) };
  },
};
