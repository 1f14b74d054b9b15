// The surroundings in which a client runs: a temporary home folder, a command that starts the server and records its
// lines, and a fake application.
import { execFileSync, spawn } from "node:child_process";
import { once } from "node:events";
import { chmod, mkdir, readFile, writeFile } from "node:fs/promises";
import { delimiter, dirname, join } from "node:path";
import { setTimeout as pause } from "node:timers/promises";
import { fileURLToPath } from "node:url";

import { startFakeApplication } from "../sdk-client/fakeApplication.mjs";
import { makeHome, removeHome } from "../sdk-client/home.mjs";
import { startModel } from "./model.mjs";

const here = dirname(fileURLToPath(import.meta.url));
export const packages = join(here, "node_modules");
export const program = (name) => join(packages, ".bin", name);
export const library = (name) => join(here, "libraries", name);

export class Stage {
  #afterwards = [];

  static async make(server) {
    const stage = new Stage();
    stage.home = await makeHome();
    stage.server = server;
    stage.folder = join(stage.home, "project");
    stage.log = join(stage.home, "wire.log");
    await mkdir(stage.folder);
    await writeFile(stage.log, "");
    // The client's configuration names this file. Like the real server, it needs no arguments and no variables.
    stage.command = join(stage.home, "vostel-mcp");
    const recorder = [process.execPath, join(here, "recorder.mjs"), stage.log, stage.home, server];
    await writeFile(stage.command, `#!/bin/sh\nexec ${recorder.map((word) => `'${word}'`).join(" ")}\n`);
    await chmod(stage.command, 0o700);
    return stage;
  }

  /** Starts the fake application. It passes each call to `handle`. */
  async play(handle) {
    await startFakeApplication(this, this.home, handle);
  }

  after(step) {
    this.#afterwards.push(step);
  }

  async model(api, steps) {
    const model = await startModel(api, steps);
    this.after(() => model.close());
    return model;
  }

  async write(name, content) {
    const path = join(this.home, name);
    await mkdir(dirname(path), { recursive: true });
    await writeFile(path, typeof content === "string" ? content : JSON.stringify(content));
  }

  #environment(variables) {
    return {
      PATH: `${dirname(process.execPath)}${delimiter}${process.env.PATH}`,
      HOME: this.home,
      CFFIXED_USER_HOME: this.home,
      XDG_CONFIG_HOME: join(this.home, ".config"),
      XDG_DATA_HOME: join(this.home, ".local/share"),
      LANG: "C.UTF-8",
      TERM: "xterm-256color",
      NO_COLOR: "1",
      ...variables,
    };
  }

  /** Lets the application write the client's configuration. The configuration names the server, not the recorder. */
  async install(client) {
    const application = join(dirname(this.server), "Vostel");
    execFileSync(application, ["clients", "install", client], { cwd: this.folder, env: this.#environment({}) });
  }

  /** Starts a client in the home folder. */
  start([file, ...words], variables = {}) {
    if (this.terminal) return this.#startInTerminal([file, ...words], variables);
    const child = spawn(file, words, {
      cwd: this.folder,
      env: this.#environment(variables),
      stdio: ["ignore", "pipe", "pipe"],
      detached: true,
    });
    const client = { child, output: "", errors: "", ended: once(child, "close") };
    // The client may have started other processes. All are in its process group.
    client.kill = (signal) => {
      try {
        process.kill(-child.pid, signal);
      } catch {
        // All processes of the group have ended.
      }
    };
    child.stdout.on("data", (text) => (client.output += text));
    child.stderr.on("data", (text) => (client.errors += text));
    this.after(() => client.kill("SIGKILL"));
    return client;
  }

  #startInTerminal(words, variables) {
    const options = { cwd: this.folder, env: this.#environment(variables), encoding: "utf8" };
    const tmux = (...command) =>
      execFileSync("tmux", ["-S", join(this.home, "tmux"), "-f", "/dev/null", ...command], options);
    tmux("new-session", "-d", "-x", "120", "-y", "40", ...words);
    const leader = Number(tmux("list-panes", "-F", "#{pane_pid}"));
    this.after(() => {
      try {
        process.kill(-leader, "SIGKILL"); // some clients outlive their terminal
      } catch {
        // The client has ended already.
      }
    });
    return { press: (key) => tmux("send-keys", key), screen: () => tmux("capture-pane", "-p") };
  }

  /** What the recorder logged. Lines that are JSON are parsed. */
  async wire() {
    const text = await readFile(this.log, "utf8");
    return text
      .split("\n")
      .filter(Boolean)
      .map((line) => {
        const fact = JSON.parse(line);
        if (fact.line !== undefined) {
          try {
            fact.message = JSON.parse(fact.line);
          } catch {
            // Only the beginning of a long line is logged.
          }
        }
        return fact;
      });
  }

  /** Ends the processes that were started here, and removes the folder. */
  async end() {
    for (const step of this.#afterwards.reverse()) await step();
    // Processes that outlive the client may still write files.
    for (let tries = 0; ; ++tries) {
      await pause(500);
      try {
        return await removeHome(this.home);
      } catch (error) {
        if (tries === 10) throw error;
      }
    }
  }
}
