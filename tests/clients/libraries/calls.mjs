import { setTimeout as pause } from "node:timers/promises";

/** A signal that SIGINT aborts. */
export function stopped() {
  const stop = new AbortController();
  process.once("SIGINT", () => stop.abort(new Error("stopped")));
  return stop.signal;
}

/** Makes the calls in order and prints each result as a line of JSON. */
export async function printCalls(steps, call) {
  const signal = stopped();
  for (const step of steps) {
    const reports = [];
    let outcome;
    try {
      outcome = { result: await call(step, { signal, onprogress: (report) => reports.push(report) }) };
    } catch (error) {
      outcome = { error: String(error?.message ?? error) };
    }
    console.log(JSON.stringify({ ...outcome, progress: reports.length }));
    if (!signal.aborted) continue;
    await pause(500); // the client continues to run; if it closed at once, the cancellation would not be sent
    break;
  }
}
