import { setTimeout as pause } from "node:timers/promises";

/** A signal that SIGINT aborts, as a person's "stop" does. */
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
    await pause(500); // a client that goes on; one that closed at once would take its cancellation back
    break;
  }
}
