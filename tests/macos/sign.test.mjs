// script/sign-macos signs in the right order, and first reports everything that is missing. The test uses --dry-run, so it
// needs no Mac.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { chmodSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import test from "node:test";

const script = join(new URL(".", import.meta.url).pathname, "../../script/sign-macos");

function sign(options, environment = {}) {
  const { CODESIGN_IDENTITY, NOTARY_PROFILE, ...others } = process.env;
  const run = spawnSync(script, options, { encoding: "utf8", env: { ...others, ...environment } });
  return { status: run.status, output: run.stdout, errors: run.stderr };
}

function withApplication(use) {
  const folder = mkdtempSync(join(tmpdir(), "vostel-sign."));
  const application = join(folder, "Vostel.app");
  mkdirSync(join(application, "Contents/MacOS"), { recursive: true });
  try {
    use(application);
  } finally {
    rmSync(folder, { recursive: true });
  }
}

function complete(application) {
  writeFileSync(join(application, "Contents/Info.plist"), "");
  writeFileSync(join(application, "Contents/MacOS/vostel-mcp"), "");
  chmodSync(join(application, "Contents/MacOS/vostel-mcp"), 0o755);
}

test("the server is signed before the application, both with the hardened runtime", () => {
  withApplication((application) => {
    complete(application);
    const { status, output } = sign(["--dry-run", application], { CODESIGN_IDENTITY: "me", NOTARY_PROFILE: "mine" });
    assert.equal(status, 0);
    const steps = output.trim().split("\n");
    assert.deepEqual(steps.map((step) => step.split(" ").slice(0, step.startsWith("xcrun") ? 2 : 1).join(" ")),
      ["codesign", "codesign", "codesign", "ditto", "xcrun notarytool", "xcrun stapler", "spctl", "rm"]);
    assert.match(steps[0], /--options runtime --timestamp .*--sign me .*\/Contents\/MacOS\/vostel-mcp\s*$/);
    assert.match(steps[1], /--options runtime --timestamp .*--sign me .*\/Vostel\.app\s*$/);
    assert.match(steps[4], /--keychain-profile mine --wait/);
  });
});

test("everything that is missing is reported together, and nothing is signed", () => {
  withApplication((application) => {
    const { status, output, errors } = sign([application]);
    assert.equal(status, 1);
    assert.equal(output, "");
    for (const missing of ["Contents/Info.plist", "MacOS/vostel-mcp", "CODESIGN_IDENTITY", "NOTARY_PROFILE"]) {
      assert.ok(errors.includes(missing), missing);
    }
  });
});

test("a missing application and a wrong name are errors", () => {
  assert.equal(sign([]).status, 2);
  assert.match(sign(["--dry-run", "/tmp/Vostel"]).errors, /does not end in \.app/);
});
