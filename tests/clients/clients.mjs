// How each client is configured and started. `start` begins one conversation. The scripted model, or a small program that
// uses a library, makes the calls in `steps`. The other arguments of `start`:
//   permitted   whether the user has permitted the server's tools
//   terminal    whether the client runs in a terminal, where a user can press keys
//   installed   whether `Vostel clients install` configures the client
//   seconds     a time limit for calls. It is written to the client's own setting, which `timeoutSetting` describes.
import { join } from "node:path";

import { library, packages, program } from "./stage.mjs";

const prompt = "Do what the script says.";
const node = process.execPath;

const fromLines = (client) =>
  client.output
    .split("\n")
    .filter((line) => line.startsWith("{"))
    .map((line) => JSON.parse(line));

function sdk(name, title, mode) {
  return {
    name: title,
    package: name,
    library: true,
    start: (stage, { steps }) =>
      stage.start([node, library("sdk.mjs"), name, stage.command, JSON.stringify(steps), ...(mode ? [mode] : [])]),
    seen: fromLines,
  };
}

/** A library whose small program makes the calls itself. */
function caller(name, title, file, words = []) {
  return {
    name: title,
    package: name,
    library: true,
    seen: fromLines,
    start: (stage, { steps }) => stage.start([node, library(file), ...words, stage.command, JSON.stringify(steps)]),
  };
}

/** A library whose agent asks the scripted model. */
function agent(name, title, file) {
  return {
    name: title,
    package: name,
    api: "completions",
    library: true,
    start: (stage, { model }) => stage.start([node, library(file), stage.command, `${model.url}/v1`]),
  };
}

const codex = {
  name: "Codex",
  package: "@openai/codex",
  api: "responses",
  /** A model that Codex knows. It is not used in a terminal, because there Codex would first offer a newer model. */
  slug: "gpt-5.5",
  installable: true,
  timeoutSetting: "`tool_timeout_sec`, in seconds",
  async start(stage, { model, permitted, terminal, seconds, installed }) {
    const entry = `
[mcp_servers.vostel]
command = "${stage.command}"
${permitted ? 'default_tools_approval_mode = "approve"\n' : ""}${seconds ? `tool_timeout_sec = ${seconds}\n` : ""}`;
    await stage.write(
      ".codex/config.toml",
      `model = "${terminal ? "scripted" : this.slug}"
model_provider = "scripted"

[model_providers.scripted]
name = "scripted"
base_url = "${model.url}/v1"
wire_api = "responses"

[projects."${stage.folder}"]
trust_level = "trusted"
${installed ? "" : entry}`,
    );
    if (installed) await stage.install("codex");
    return stage.start([program("codex"), ...(terminal ? [] : ["exec", "--skip-git-repo-check"]), prompt]);
  },
};

export const clients = {
  "sdk-0.4": sdk("sdk-0.4", "TypeScript SDK"),
  "sdk-0.7": sdk("sdk-0.7", "TypeScript SDK"),
  "sdk-1.0": sdk("sdk-1.0", "TypeScript SDK"),
  "sdk-1.32": sdk("sdk-1.32", "TypeScript SDK"),
  "sdk-2.0": sdk("sdk-2.0", "TypeScript SDK"),
  "sdk-2.4": sdk("sdk-2.4", "TypeScript SDK"),
  "sdk-2.4-auto": sdk("sdk-2.4", 'TypeScript SDK, `mode: "auto"`', "auto"),

  "sdk-2.4-pinned": {
    ...sdk("sdk-2.4", 'TypeScript SDK, `mode: { pin: "2026-07-28" }`', "2026-07-28"),
    only: ["words"],
  },
  inspector: { ...caller("@modelcontextprotocol/inspector", "Inspector, `--cli`", "inspector.mjs"), library: false },

  "claude-code": {
    name: "Claude Code",
    package: "@anthropic-ai/claude-code",
    api: "anthropic",
    installable: true,
    timeoutSetting: "`MCP_TOOL_TIMEOUT`, an environment variable, in milliseconds",
    async start(stage, { model, permitted, terminal, seconds, installed }) {
      await stage.write(".claude.json", {
        ...(!installed && { mcpServers: { vostel: { type: "stdio", command: stage.command } } }),
        // Answers to the questions that the client asks at its first start.
        hasCompletedOnboarding: true,
        customApiKeyResponses: { approved: ["none"] },
        projects: { [stage.folder]: { hasTrustDialogAccepted: true } },
      });
      if (installed) await stage.install("claude-code");
      const words = [...(terminal ? [] : ["-p"]), prompt, ...(permitted ? ["--allowedTools", "mcp__vostel"] : [])];
      return stage.start([program("claude"), ...words], {
        ANTHROPIC_BASE_URL: model.url,
        ANTHROPIC_API_KEY: "none",
        CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC: "1",
        ...(seconds && { MCP_TOOL_TIMEOUT: String(seconds * 1000) }),
      });
    },
  },

  codex,
  "codex-other": {
    ...codex,
    name: "Codex, with a model that it does not know",
    slug: "scripted",
    only: ["words", "long", "room"],
  },

  gemini: {
    name: "Gemini CLI",
    package: "@google/gemini-cli",
    api: "gemini",
    timeoutSetting: "`timeout`, in milliseconds",
    async start(stage, { model, permitted, terminal, seconds }) {
      await stage.write(".gemini/settings.json", {
        mcpServers: { vostel: { command: stage.command, ...(seconds && { timeout: seconds * 1000 }) } },
        security: { auth: { selectedType: "gemini-api-key" } },
      });
      return stage.start(
        [
          program("gemini"),
          "--skip-trust",
          "-m",
          "gemini-2.5-flash",
          terminal ? "-i" : "-p",
          prompt,
          ...(permitted ? ["--yolo"] : []),
        ],
        {
          GEMINI_API_KEY: "none",
          GOOGLE_GEMINI_BASE_URL: model.url,
        },
      );
    },
  },

  copilot: {
    name: "GitHub Copilot CLI",
    package: "@github/copilot",
    api: "completions",
    timeoutSetting: "`timeout`, in milliseconds",
    async start(stage, { model, permitted, terminal, seconds }) {
      await stage.write(".copilot/mcp-config.json", {
        mcpServers: {
          vostel: {
            type: "local",
            command: stage.command,
            args: [],
            tools: ["*"],
            ...(seconds && { timeout: seconds * 1000 }),
          },
        },
      });
      await stage.write(".copilot/config.json", { trusted_folders: [stage.folder] });
      return stage.start(
        [program("copilot"), terminal ? "-i" : "-p", prompt, ...(permitted ? ["--allow-all-tools"] : [])],
        {
          COPILOT_PROVIDER_BASE_URL: `${model.url}/v1`,
          COPILOT_MODEL: "scripted",
          COPILOT_OFFLINE: "true",
        },
      );
    },
  },

  opencode: {
    name: "opencode",
    // The package of the program itself. The package `opencode-ai` also depends on the programs for other systems, which
    // some registries do not have.
    package: "opencode-linux-x64",
    api: "completions",
    timeoutSetting: "`timeout`, in milliseconds",
    async start(stage, { model, permitted, terminal, seconds }) {
      await stage.write(".config/opencode/opencode.json", {
        autoupdate: false,
        provider: {
          scripted: {
            npm: "@ai-sdk/openai-compatible",
            name: "scripted",
            options: { baseURL: `${model.url}/v1`, apiKey: "none" },
            models: { scripted: { name: "scripted" } },
          },
        },
        mcp: {
          vostel: {
            type: "local",
            command: [stage.command],
            enabled: true,
            ...(seconds && { timeout: seconds * 1000 }),
          },
        },
      });
      const command = terminal ? ["--prompt"] : ["run", ...(permitted ? ["--auto"] : [])];
      return stage.start([
        join(packages, "opencode-linux-x64/bin/opencode"),
        "--model",
        "scripted/scripted",
        ...command,
        prompt,
      ]);
    },
  },

  langchain: agent("@langchain/mcp-adapters", "LangChain MCP adapters", "langchain.mjs"),
  "ai-sdk": agent("@ai-sdk/mcp", "Vercel AI SDK", "ai-sdk.mjs"),
  mastra: agent("@mastra/mcp", "Mastra", "mastra.mjs"),

  supergateway: caller("supergateway", "supergateway, to HTTP", "bridge.mjs", ["supergateway"]),
  "mcp-proxy": caller("mcp-proxy", "mcp-proxy, to HTTP", "bridge.mjs", ["mcp-proxy"]),
  "mcp-remote": caller("mcp-remote", "mcp-remote, over mcp-proxy", "bridge.mjs", ["mcp-remote"]),
};
