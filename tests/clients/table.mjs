// Writes the measurements as tables between the marks in docs/clients.md.
import { clients } from "./clients.mjs";

const number = (value) => value.toLocaleString("en-US");

function table(headings, rows) {
  const line = (cells) => `| ${cells.join(" | ")} |`;
  return [line(headings), `|${"---|".repeat(headings.length)}`, ...rows.map(line)].join("\n");
}

/** One row for each client that the probe was run with. */
function rows(measured, probe, cells) {
  return Object.keys(clients)
    .filter((name) => measured[name]?.[probe] && !measured[name][probe].broken)
    .map((name) => [
      clients[name].name,
      measured[name].version,
      ...cells(measured[name][probe], measured[name], clients[name]),
    ]);
}

const endings = { "end of input": "closes the input", SIGTERM: "SIGTERM", SIGINT: "SIGINT" };

function shown({ content, structure }) {
  if (content && structure) return "both";
  return content ? "the text" : "the structure only";
}

function stopping(stop, client) {
  if (!stop) return "";
  if (stop.cancelled && stop.applicationTold) return "cancels the call";
  // A program's server gets the signal, too, and may have ended before the cancellation comes.
  if (stop.cancelled && client.library) return "cancels the call, too late";
  if (stop.draftName) return "sends `cancelled`, not `notifications/cancelled`";
  if (client.library) return "does not tell the server";
  return stop.inTime ? "ends the server" : "waits";
}

/** How much of the 500,000 characters is shown. A word and its space are nine characters. */
function part({ content, structure, start, end }) {
  const of = content.words > 0 ? content : structure;
  if (of.words === 55_556) return "all";
  const file = /saved to|full output/i.test(start + end) ? "; names a file" : "";
  if (of.words === 0) return `none${file}`;
  const first = of.head * 9;
  const last = (of.words - of.head) * 9;
  return `the first ${number(first)}${last > 500 ? ` and the last ${number(last)}` : ""}${file}`;
}

/** The longest result that was shown whole, and the shortest that was not. */
function wholeUpTo(room, long) {
  if (!room || part(long) === "all") return "";
  return `${number(room.whole)}; ${number(room.cut)} is cut`;
}

function longLine({ arrives, nextWorks, inTime }) {
  if (arrives) return nextWorks ? "arrives" : "arrives; the next call fails";
  if (!inTime) return "does not arrive; the client hangs";
  return nextWorks ? "that call fails" : "that call and all later ones fail";
}

function waiting(patience) {
  if (!patience?.reached) return "";
  if (patience.gaveUp === null) return `waits ${patience.limit} s and longer`;
  return `${Math.round(patience.gaveUp)} s${patience.cancelled ? ", cancels" : ""}`;
}

function verdict({ ran, shown }) {
  if (ran) return "runs";
  return shown ? "refused" : "hidden from the model";
}

export const tables = {
  protocol: (measured) =>
    table(
      ["client", "version", "revision", "asks for progress", "when stopped", "ends the server by"],
      rows(measured, "words", (words, { stop }, client) => [
        words.agreed
          ? `${words.agreed}${words.discovers ? ", after `server/discover`" : ""}`
          : "none: it does not connect",
        !words.agreed ? "" : words.wantsProgress ? "yes" : "no",
        stopping(stop, client),
        Object.keys(endings)
          .filter((event) => words.end.includes(event))
          .map((event) => endings[event])
          .join(", ") || "kills it",
      ]),
    ),
  model: (measured) =>
    table(
      [
        "client",
        "version",
        "shows the model",
        "failed result",
        "whole up to characters",
        "of 500,000",
        "a line of 11 MB",
      ],
      rows(measured, "long", (long, { words, room, huge }) => [
        shown(words),
        words.failure ? "shown" : "not shown",
        wholeUpTo(room, long),
        part(long),
        huge ? longLine(huge) : "",
      ]),
    ),
  time: (measured) =>
    table(
      ["client", "version", "a silent call", "with progress each second", "set by"],
      rows(measured, "patience", (patience, { patienceWithProgress, timeout }, client) => [
        waiting(patience),
        waiting(patienceWithProgress),
        timeout && Math.round(timeout.gaveUp) === 5 ? client.timeoutSetting : "",
      ]),
    ),
  terminal: (measured) =>
    table(
      ["client", "version", "progress", "Escape"],
      rows(measured, "terminal", (terminal) => [
        terminal.showsText ? "shown, with its text" : "not shown",
        terminal.cancelled
          ? `cancels the call${terminal.twice ? " when pressed twice" : ""}`
          : "does not tell the server",
      ]),
    ),
  permission: (measured) =>
    table(
      [
        "client",
        "version",
        "`vocabulary_list`",
        "`transcribe_file`",
        "`vocabulary_remove`",
        "`vocabulary_remove`, permitted",
      ],
      rows(measured, "permission", ({ list, transcribe, remove, permittedRemove }) =>
        [list, transcribe, remove, permittedRemove].map(verdict),
      ),
    ),
};

/** The page, with the tables between its marks replaced. */
export function withTables(page, measured) {
  return Object.entries(tables).reduce(
    (text, [name, make]) =>
      text.replace(
        new RegExp(`(<!-- measured: ${name} -->\n)[^]*?(<!-- end -->)`),
        (_, opening, closing) => `${opening}\n${make(measured)}\n\n${closing}`,
      ),
    page,
  );
}
