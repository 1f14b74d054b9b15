// The Vercel AI SDK with its MCP client: ai-sdk.mjs COMMAND MODEL. SIGINT aborts the run.
import { setTimeout as pause } from "node:timers/promises";

import { createMCPClient } from "@ai-sdk/mcp";
import { Experimental_StdioMCPTransport as StdioTransport } from "@ai-sdk/mcp/mcp-stdio";
import { createOpenAICompatible } from "@ai-sdk/openai-compatible";
import { generateText, isStepCount } from "ai";

import { stopped } from "./calls.mjs";

const [command, url] = process.argv.slice(2);
const client = await createMCPClient({ transport: new StdioTransport({ command }) });
const scripted = createOpenAICompatible({ name: "scripted", baseURL: url, apiKey: "none" });
try {
  const { text } = await generateText({
    model: scripted("scripted"),
    tools: await client.tools(),
    stopWhen: isStepCount(100),
    prompt: "Do it.",
    abortSignal: stopped(),
  });
  console.log(text);
} finally {
  await pause(500); // the client continues to run after an aborted call
  await client.close();
}
