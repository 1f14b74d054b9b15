// A server with the function of vostel-mcp, built with the official SDK: node server.mjs TOOLS.JSON
// The file holds the result of tools/list, so that both servers announce the same tools.
import { readFileSync } from "node:fs";
import { argv } from "node:process";

import { Server } from "@modelcontextprotocol/sdk/server/index.js";
import { StdioServerTransport } from "@modelcontextprotocol/sdk/server/stdio.js";
import { CallToolRequestSchema, ListToolsRequestSchema } from "@modelcontextprotocol/sdk/types.js";

import { callApplication } from "./application.mjs";

const toolList = JSON.parse(readFileSync(argv[2], "utf8"));

const server = new Server({ name: "vostel-bench-peer", version: "1.0.0" }, { capabilities: { tools: {} } });

server.setRequestHandler(ListToolsRequestSchema, () => toolList);

server.setRequestHandler(CallToolRequestSchema, ({ params }, { signal, sendNotification }) => {
  const progressToken = params._meta?.progressToken;
  return callApplication({
    clientInfo: server.getClientVersion() ?? { name: "unknown client" },
    tool: params.name,
    args: params.arguments ?? {},
    signal,
    onProgress: async ({ fraction, message }) => {
      if (progressToken === undefined) return;
      const progress = { progressToken, progress: fraction, total: 1, message };
      await sendNotification({ method: "notifications/progress", params: progress });
    },
  });
});

await server.connect(new StdioServerTransport());
