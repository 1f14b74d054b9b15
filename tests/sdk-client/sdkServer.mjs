// A server that is built with the official SDK. It has one tool, which takes ten seconds and reports progress. The test of
// stdio_check.py checks this server.
import { Server } from "@modelcontextprotocol/sdk/server/index.js";
import { StdioServerTransport } from "@modelcontextprotocol/sdk/server/stdio.js";
import { CallToolRequestSchema, ListToolsRequestSchema } from "@modelcontextprotocol/sdk/types.js";
import { setTimeout as pause } from "node:timers/promises";

const steps = 100;
const server = new Server({ name: "sdk-server", version: "1" }, { capabilities: { tools: {} } });
server.setRequestHandler(ListToolsRequestSchema, () => ({ tools: [{ name: "long", inputSchema: { type: "object" } }] }));
server.setRequestHandler(CallToolRequestSchema, async (request, { signal, sendNotification }) => {
  const progressToken = request.params._meta?.progressToken;
  for (let step = 0; step < steps && !signal.aborted; ++step) {
    await sendNotification({ method: "notifications/progress", params: { progressToken, progress: step, total: steps } });
    await pause(100);
  }
  return { content: [] };
});
await server.connect(new StdioServerTransport());
