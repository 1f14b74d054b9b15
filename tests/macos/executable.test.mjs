// Checks by its bytes the server that script/build-macos builds, or the file that VOSTEL_EXECUTABLE names.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import test from "node:test";

import { describe, exportsOf, slices } from "./MachO.mjs";

const root = join(import.meta.dirname ?? new URL(".", import.meta.url).pathname, "../..");
const sdk = join(root, "cmake/macos/sdk");
const frameworks = "System/Library/Frameworks";

/// The only libraries that the server may load, and the stub that lists the exports of each.
const libraries = new Map([
  ["/usr/lib/libSystem.B.dylib", join(root, "build/macos-toolchain/lib/libSystem.tbd")],
  ["/usr/lib/libc++.1.dylib", join(root, "build/macos-toolchain/lib/libc++.tbd")],
  ["/usr/lib/libobjc.A.dylib", join(sdk, "usr/lib/libobjc.A.tbd")],
  ["/System/Library/Frameworks/Foundation.framework/Versions/C/Foundation",
    join(sdk, frameworks, "Foundation.framework/Foundation.tbd")],
  ["/System/Library/Frameworks/CoreFoundation.framework/Versions/A/CoreFoundation",
    join(sdk, frameworks, "CoreFoundation.framework/Versions/A/CoreFoundation.tbd")],
]);

const file = readFileSync(process.env.VOSTEL_EXECUTABLE ?? join(root, "build/macos/Vostel.app/Contents/MacOS/vostel-mcp"));
const programs = slices(file).map(({ architecture, bytes }) => ({ architecture, bytes, ...describe(bytes) }));
const executable = 2;
const macOS = 1;
const sizeLimit = 1_250_000;

test("the file contains a program for each kind of Mac", () => {
  assert.deepEqual(programs.map((program) => program.architecture).sort(), ["arm64", "x86_64"]);
});

for (const program of programs) {
  test(`${program.architecture}: it is a program for macOS 13.4 and later`, (t) => {
    assert.equal(program.fileType, executable);
    assert.equal(program.platform, macOS);
    assert.equal(program.minimumSystem, "13.4");
    t.diagnostic(`minimum system ${program.minimumSystem}`);
  });

  test(`${program.architecture}: it loads these libraries and no other`, (t) => {
    assert.deepEqual([...program.libraries].sort(), [...libraries.keys()].sort());
    t.diagnostic(program.libraries.join(", "));
  });

  test(`${program.architecture}: its libraries export every symbol that it imports from them`, (t) => {
    const exported = program.libraries.map((library) => {
      return exportsOf(readFileSync(libraries.get(library), "utf8"), program.architecture);
    });
    const missing = program.undefinedSymbols.filter(({ name, library }) => !exported[library - 1]?.has(name));
    assert.deepEqual(missing, []);
    assert.notEqual(program.undefinedSymbols.length, 0);
    t.diagnostic(`${program.undefinedSymbols.length} symbols`);
  });

  test(`${program.architecture}: it resolves links to itself`, () => {
    // Only this needs the canonical path of a file.
    assert.ok(program.undefinedSymbols.some(({ name }) => name.includes("canonical")));
  });

  test(`${program.architecture}: its ad-hoc signature matches every page`, (t) => {
    assert.deepEqual(program.signature, { isAdHoc: true, badPages: [], coversAll: true });
    t.diagnostic("SHA-256 of every page");
  });

  test(`${program.architecture}: a changed byte breaks the signature`, () => {
    const changed = Buffer.from(program.bytes);
    changed[40_000] ^= 1;
    assert.deepEqual(describe(changed).signature.badPages, [9]);
  });

  test(`${program.architecture}: it is not larger than 1.25 MB`, (t) => {
    assert.ok(program.bytes.length <= sizeLimit, `${program.bytes.length} bytes`);
    t.diagnostic(`${program.bytes.length} bytes`);
  });
}
