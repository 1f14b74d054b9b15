// The home folder of one test, and the application's folder below it.
import { mkdtemp, readFile, rm } from "node:fs/promises";
import { join } from "node:path";

export function applicationFolder(home) {
  return join(home, "Library", "Application Support", "com.vostel.vostel");
}

/** Makes a home folder. Its path is short, because the path of the socket inside must be. */
export async function makeHome() {
  return mkdtemp("/tmp/vostel-");
}

/** Ends the application that was launched for this home folder, if there is one, and removes the folder. */
export async function removeHome(home) {
  const id = await readFile(join(applicationFolder(home), "Vostel.pid"), "utf8").catch(() => "");
  if (id) process.kill(Number(id), "SIGTERM");
  await rm(home, { recursive: true, force: true });
}
