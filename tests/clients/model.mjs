// A scripted model: a local HTTP server that implements the API of a client's model. It asks the client for one tool call
// after the other and stores what the client sends back, which is exactly what a real model would see.
import { once } from "node:events";
import { createServer } from "node:http";

const ending = "The conversation is over.";

let identifiers = 0;
/** Makes an id that is never used again. Clients treat two messages with the same id as one message. */
const unique = (prefix) => `${prefix}_${++identifiers}`;

/**
 * How each API writes a conversation. `tools` and `results` read a request; `call` and `say` write the answer, as one
 * JSON value (`whole`) or as server-sent events.
 */
const apis = {
  anthropic: {
    path: /\/v1\/messages(\?|$)/,
    streams: (body) => body.stream === true,
    tools: (body) => (body.tools ?? []).map((tool) => ({ name: tool.name, definition: tool })),
    results: (body) =>
      body.messages
        .flatMap((message) => (Array.isArray(message.content) ? message.content : []))
        .filter((block) => block.type === "tool_result" && block.tool_use_id.startsWith("toolu_step")),
    call: ({ name }, step, id) => ({ type: "tool_use", id: `toolu_${id}`, name, input: step.arguments }),
    say: (text) => ({ type: "text", text }),
    whole: (block, body) => ({
      id: unique("msg"),
      type: "message",
      role: "assistant",
      model: body.model,
      content: [block],
      stop_reason: block.type === "tool_use" ? "tool_use" : "end_turn",
      stop_sequence: null,
      usage: { input_tokens: 10, output_tokens: 10 },
    }),
    *events(block, body) {
      const message = apis.anthropic.whole(block, body);
      const named = (event) => [event.type, event];
      yield named({ type: "message_start", message: { ...message, content: [], stop_reason: null } });
      const empty = block.type === "tool_use" ? { ...block, input: {} } : { ...block, text: "" };
      yield named({ type: "content_block_start", index: 0, content_block: empty });
      const delta =
        block.type === "tool_use"
          ? { type: "input_json_delta", partial_json: JSON.stringify(block.input) }
          : { type: "text_delta", text: block.text };
      yield named({ type: "content_block_delta", index: 0, delta });
      yield named({ type: "content_block_stop", index: 0 });
      yield named({
        type: "message_delta",
        delta: { stop_reason: message.stop_reason, stop_sequence: null },
        usage: { output_tokens: 10 },
      });
      yield named({ type: "message_stop" });
    },
  },

  responses: {
    path: /\/responses(\?|$)/,
    streams: (body) => body.stream === true,
    tools: (body) => {
      const found = (Array.isArray(body.input) ? body.input : []).filter((item) => item.type === "tool_search_output");
      return [...(body.tools ?? []), ...found.flatMap((item) => item.tools)].flatMap((tool) =>
        tool.type === "namespace"
          ? tool.tools.map((inner) => ({ name: inner.name, namespace: tool.name, definition: inner }))
          : [{ name: tool.name ?? tool.type, definition: tool }],
      );
    },
    results: (body) =>
      (Array.isArray(body.input) ? body.input : []).filter(
        (item) => item.type === "function_call_output" && item.call_id.startsWith("call_step"),
      ),
    call: ({ name, namespace }, step, id) =>
      name === "tool_search"
        ? {
            type: "tool_search_call",
            call_id: `call_${id}`,
            execution: "client",
            status: "completed",
            arguments: step.arguments,
          }
        : {
            type: "function_call",
            id: `fc_${id}`,
            call_id: `call_${id}`,
            name,
            ...(namespace && { namespace }),
            arguments: JSON.stringify(step.arguments),
            status: "completed",
          },
    say: (text) => ({
      type: "message",
      id: unique("msg"),
      role: "assistant",
      status: "completed",
      content: [{ type: "output_text", text, annotations: [] }],
    }),
    whole: (item, body) => ({
      id: unique("resp"),
      object: "response",
      created_at: 0,
      status: "completed",
      model: body.model,
      output: [item],
      usage: {
        input_tokens: 10,
        input_tokens_details: { cached_tokens: 0 },
        output_tokens: 10,
        output_tokens_details: { reasoning_tokens: 0 },
        total_tokens: 20,
      },
    }),
    *events(item, body) {
      const response = apis.responses.whole(item, body);
      const named = (event) => [event.type, event];
      yield named({ type: "response.created", response: { ...response, status: "in_progress", output: [] } });
      yield named({ type: "response.output_item.added", output_index: 0, item });
      yield named({ type: "response.output_item.done", output_index: 0, item });
      yield named({ type: "response.completed", response });
    },
  },

  completions: {
    path: /\/chat\/completions(\?|$)/,
    streams: (body) => body.stream === true,
    tools: (body) =>
      (body.tools ?? [])
        .filter((tool) => tool.type === "function")
        .map(({ function: tool }) => ({ name: tool.name, definition: tool })),
    results: (body) =>
      body.messages.filter((message) => message.role === "tool" && message.tool_call_id.startsWith("call_step")),
    call: ({ name }, step, id) => ({
      role: "assistant",
      content: null,
      tool_calls: [
        { id: `call_${id}`, type: "function", function: { name, arguments: JSON.stringify(step.arguments) } },
      ],
    }),
    say: (content) => ({ role: "assistant", content }),
    whole: (message, body) => ({
      id: unique("chatcmpl"),
      object: "chat.completion",
      created: 0,
      model: body.model,
      choices: [{ index: 0, message, finish_reason: message.tool_calls ? "tool_calls" : "stop" }],
      usage: { prompt_tokens: 10, completion_tokens: 10, total_tokens: 20 },
    }),
    *events(message, body) {
      const { choices, ...head } = apis.completions.whole(message, body);
      const delta = {
        ...message,
        ...(message.tool_calls && { tool_calls: message.tool_calls.map((call) => ({ index: 0, ...call })) }),
      };
      const chunk = { ...head, object: "chat.completion.chunk" };
      yield [null, { ...chunk, usage: null, choices: [{ index: 0, delta, finish_reason: null }] }];
      yield [null, { ...chunk, choices: [{ index: 0, delta: {}, finish_reason: choices[0].finish_reason }] }];
      yield [null, "[DONE]"];
    },
  },

  gemini: {
    path: /:(streamGenerateContent|generateContent)(\?|$)/,
    streams: (_, url) => url.includes(":streamGenerateContent"),
    tools: (body) =>
      (body.tools ?? [])
        .flatMap((tool) => tool.functionDeclarations ?? [])
        .map((tool) => ({ name: tool.name, definition: tool })),
    results: (body) =>
      body.contents
        .flatMap((content) => content.parts ?? [])
        .filter((part) => part.functionResponse)
        .map((part) => part.functionResponse),
    call: ({ name }, step) => ({ functionCall: { name, args: step.arguments } }),
    say: (text) => ({ text }),
    whole: (part) => ({
      candidates: [{ content: { role: "model", parts: [part] }, finishReason: "STOP", index: 0 }],
      usageMetadata: { promptTokenCount: 10, candidatesTokenCount: 10, totalTokenCount: 20 },
    }),
    *events(part, body) {
      yield [null, apis.gemini.whole(part, body)];
    },
  },
};

/** Roughly the number of tokens that a real model would count. */
function counted(body) {
  const tokens = Math.ceil(JSON.stringify(body).length / 4);
  return { input_tokens: tokens, totalTokens: tokens };
}

async function readBody(request) {
  const chunks = [];
  for await (const chunk of request) chunks.push(chunk);
  const text = Buffer.concat(chunks).toString();
  try {
    return JSON.parse(text);
  } catch {
    return {};
  }
}

/**
 * Starts a model that makes the calls in `steps`. Each step names a tool of the server and its arguments. Clients add
 * their own prefix to the tool's name.
 */
export async function startModel(api, steps) {
  const { path, streams, tools, results, call, say, whole, events } = apis[api];
  const model = {
    /** For each step, the tool's result that the client sent. */
    seen: [],
    /** For each step, the definition of its tool. */
    tools: [],
    /** The steps whose tool the model had to search for first. */
    searched: new Set(),
  };
  /** The message that asks for `step`, if the client shows its tool or a search that finds it. */
  function next(listed, step, index) {
    if (!step) return undefined;
    const tool = listed.find(
      ({ name }) => name === step.tool || name.endsWith(`_${step.tool}`) || name.endsWith(`-${step.tool}`),
    );
    if (tool) {
      model.tools[index] = tool;
      return call(tool, step, `step${index}`);
    }
    const search = listed.find(({ name }) => name === "ToolSearch" || name === "tool_search");
    if (!search || model.searched.has(index)) return undefined;
    model.searched.add(index);
    return call(search, { arguments: { query: step.tool } }, `search${index}`);
  }

  const server = createServer(async (request, response) => {
    const body = await readBody(request);
    response.on("error", () => {});
    if (request.method !== "POST" || !path.test(request.url)) {
      const found = /count_?tokens/i.test(request.url)
        ? counted(body)
        : /models/.test(request.url)
          ? { data: [], models: [] }
          : null;
      response.writeHead(found ? 200 : 404, { "content-type": "application/json" });
      response.end(JSON.stringify(found ?? { error: { message: "There is nothing here.", type: "not_found" } }));
      return;
    }
    const listed = tools(body);
    const back = results(body);
    const step = steps[back.length];
    // Only the first version of a result is stored. Some clients shorten old results in later requests.
    for (const [index, result] of back.entries()) model.seen[index] ??= result;
    const message = next(listed, step, back.length) ?? say(ending);
    if (streams(body, request.url)) {
      response.writeHead(200, { "content-type": "text/event-stream" });
      for (const [name, event] of events(message, body)) {
        const data = typeof event === "string" ? event : JSON.stringify(event);
        response.write(`${name ? `event: ${name}\n` : ""}data: ${data}\n\n`);
      }
      response.end();
    } else {
      response.writeHead(200, { "content-type": "application/json" });
      response.end(JSON.stringify(whole(message, body)));
    }
  });
  server.listen(0, "127.0.0.1");
  await once(server, "listening");
  model.url = `http://127.0.0.1:${server.address().port}`;
  model.close = () => {
    server.closeAllConnections();
    server.close();
  };
  return model;
}
