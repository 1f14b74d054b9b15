// Rules for the sources that matter only on macOS. Neither its compiler nor the executable shows a violation.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import test from "node:test";

const root = join(new URL(".", import.meta.url).pathname, "../..");
/// The files of the project that match the patterns, as [name, text].
function files(...patterns) {
  const names = execFileSync("git", ["ls-files", ...patterns], { cwd: root, encoding: "utf8" }).trim().split("\n");
  assert.notEqual(names[0], "", "no file matches");
  return names.filter((name) => !name.startsWith("tests/macos/"))
    .map((name) => [name, readFileSync(join(root, name), "utf8")]);
}

/// HOME=…, "HOME=" + …, setenv("HOME", …) and { HOME: … }.
const assignment = /(?<![A-Z_])HOME(=|: \w|", [^)])/;

// macOS prefers CFFIXED_USER_HOME. A program that a test starts with only HOME would use the user's real data.
test("every file that sets HOME sets CFFIXED_USER_HOME, too", () => {
  const setting = files("*.cpp", "*.h", "*.mjs", "*.py", "script/*").filter(([, text]) => assignment.test(text));
  const names = setting.map(([name]) => name);
  assert.ok(names.includes("script/demo") && names.includes("tests/sdk-client/client.mjs"), "known files are missing");
  const alone = setting.filter(([, text]) => !text.includes("CFFIXED_USER_HOME")).map(([name]) => name);
  assert.deepEqual(alone, []);
});

// fsync does not reach the disk on macOS.
test("only flushToDisk flushes files", () => {
  const flushing = files("*.cpp", "*.mm").filter(([, text]) => /\b(fsync|fdatasync)\(/.test(text)).map(([name]) => name);
  assert.deepEqual(flushing, ["posix/DiskFlush_linux.cpp", "posix/DiskFlush_macos.cpp"]);
});

// The system runs a completion handler on a thread that may have no pool. Without a pool, the handler's objects would never
// be freed.
test("every completion handler begins with an autorelease pool", () => {
  const handlers = files("*.mm").flatMap(([, text]) => text.match(/completionHandler:\^[^{]*\{(\s|\/\/.*)*\S+/g) ?? []);
  assert.notEqual(handlers.length, 0, "no handler is found");
  for (const handler of handlers) assert.match(handler, /@autoreleasepool$/);
});
