// LangChain's agent with its MCP adapters: langchain.mjs COMMAND MODEL. SIGINT aborts the run.
import { createReactAgent } from "@langchain/langgraph/prebuilt";
import { MultiServerMCPClient } from "@langchain/mcp-adapters";
import { ChatOpenAI } from "@langchain/openai";

import { stopped } from "./calls.mjs";

const [command, url] = process.argv.slice(2);
const servers = new MultiServerMCPClient({
  mcpServers: { vostel: { transport: "stdio", command, args: [] } },
  onProgress: (report) => console.log("progress", report.progress),
});
const llm = new ChatOpenAI({ model: "scripted", apiKey: "none", configuration: { baseURL: url } });
const agent = createReactAgent({ llm, tools: await servers.getTools() });
try {
  const { messages } = await agent.invoke(
    { messages: [{ role: "user", content: "Do it." }] },
    { signal: stopped(), recursionLimit: 100 },
  );
  console.log(messages.at(-1).content);
} finally {
  await servers.close();
}
