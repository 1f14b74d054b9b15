// The home folder of one test, the application's folder in it, and the steps that run at the end of a test.
import assert from "node:assert/strict";
import { mkdtemp, readFile, rm } from "node:fs/promises";
import { join } from "node:path";

export function applicationFolder(home) {
  return join(home, "Library", "Application Support", "com.vostel.vostel");
}

const stepsAtEnd = new WeakMap();

/**
 * Runs `step` when the test has ended. The steps run in reverse order, because a step may need what earlier ones made.
 * Every step runs, even if another fails: a server that is not ended would keep this process alive.
 */
export function atEnd(test, step) {
  const steps = stepsAtEnd.get(test) ?? [];
  steps.unshift(step);
  if (steps.length > 1) return;
  stepsAtEnd.set(test, steps);
  test.after(async () => {
    const failures = [];
    for (const each of steps) {
      try {
        await each();
      } catch (failure) {
        failures.push(failure);
      }
    }
    if (failures.length > 0) throw new AggregateError(failures, failures.map(String).join("; "));
  });
}

/** Makes a home folder with a short path. The path of the socket in it must be short, too. */
export async function makeHome() {
  return mkdtemp("/tmp/vostel-");
}

/** Ends the application that was launched for this home folder, if there is one, and removes the folder. */
export async function removeHome(home) {
  const id = await readFile(join(applicationFolder(home), "Vostel.pid"), "utf8").catch(() => "");
  try {
    if (id) process.kill(Number(id), "SIGTERM");
  } catch (failure) {
    assert.equal(failure.code, "ESRCH"); // The application has ended already.
  }
  // While the application ends, it still writes into its folder. If the folder is not empty, the removal is tried again.
  await rm(home, { recursive: true, force: true, maxRetries: 20, retryDelay: 50 });
}

/** Makes a home folder that is removed when the test has ended. */
export async function makeHomeFor(test) {
  const home = await makeHome();
  atEnd(test, () => removeHome(home));
  return home;
}
