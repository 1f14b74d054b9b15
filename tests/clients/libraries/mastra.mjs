// A Mastra agent with its MCP client: mastra.mjs COMMAND MODEL. SIGINT aborts the run.
import { Agent } from "@mastra/core/agent";
import { MCPClient } from "@mastra/mcp";

import { stopped } from "./calls.mjs";

const [command, url] = process.argv.slice(2);
const servers = new MCPClient({ servers: { vostel: { command } } });
const agent = new Agent({
  id: "scripted",
  name: "scripted",
  instructions: "Do it.",
  tools: await servers.listTools(),
  model: { id: "scripted/scripted", url, apiKey: "none" },
});
try {
  const { text } = await agent.generate("Do it.", { maxSteps: 100, abortSignal: stopped() });
  console.log(text);
} finally {
  await servers.disconnect();
}
