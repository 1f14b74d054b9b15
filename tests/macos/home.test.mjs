// Whoever gives a program another home folder says so in both variables: macOS asks CFFIXED_USER_HOME first, so a program
// that a test started with HOME alone would use the real data of the user.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import test from "node:test";

const root = join(new URL(".", import.meta.url).pathname, "../..");
const files = execFileSync("git", ["ls-files", "*.cpp", "*.h", "*.mjs", "script/*"], { cwd: root, encoding: "utf8" })
  .trim().split("\n").filter((file) => !file.startsWith("tests/macos/"));

/// HOME=…, "HOME=" + …, setenv("HOME", …) and { HOME: … }.
const assignment = /(?<![A-Z_])HOME(=|: \w|", [^)])/;

test("every file that sets HOME sets CFFIXED_USER_HOME, too", () => {
  const setting = files.filter((file) => assignment.test(readFileSync(join(root, file), "utf8")));
  assert.ok(setting.includes("script/demo") && setting.includes("tests/sdk-client/client.mjs"), "nothing is looked at");
  const alone = setting.filter((file) => !readFileSync(join(root, file), "utf8").includes("CFFIXED_USER_HOME"));
  assert.deepEqual(alone, []);
});
