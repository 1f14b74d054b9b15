// The official tool mcpb must accept the extension that Vostel writes for Claude Desktop. Vostel must not report a
// manifest as up to date that the tool refuses.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";

const program = fileURLToPath(new URL("node_modules/@anthropic-ai/mcpb/dist/cli/cli.js", import.meta.url));

function mcpb(...words) {
  return spawnSync(process.execPath, [program, ...words], { encoding: "utf8" });
}

function withExtension(use) {
  const home = mkdtempSync(join(tmpdir(), "vostel-mcpb-"));
  const clients = (action) =>
    spawnSync(process.env.VOSTEL, ["clients", action, "claude-desktop"], {
      encoding: "utf8",
      env: { ...process.env, HOME: home, CFFIXED_USER_HOME: home },
    });
  try {
    const installed = clients("install");
    assert.equal(installed.status, 0, installed.stdout + installed.stderr);
    const folder = join(home, "Library/Application Support/Claude/Claude Extensions/vostel");
    use({ home, folder, manifest: join(folder, "manifest.json"), clients });
  } finally {
    rmSync(home, { recursive: true });
  }
}

test("the extension is valid and can be packed", () => {
  withExtension(({ home, folder }) => {
    const validated = mcpb("validate", folder);
    assert.equal(validated.status, 0, validated.stdout + validated.stderr);
    const archive = join(home, "vostel.mcpb");
    const packed = mcpb("pack", folder, archive);
    assert.equal(packed.status, 0, packed.stdout + packed.stderr);
    assert.ok(statSync(archive).size > 0);
  });
});

test("a manifest that the tool refuses is not up to date, and installing again corrects it", () => {
  withExtension(({ folder, manifest, clients }) => {
    assert.equal(clients("status").status, 0);
    const written = JSON.parse(readFileSync(manifest, "utf8"));
    written.server.mcp_config.type = "stdio";
    delete written.version;
    writeFileSync(manifest, JSON.stringify(written));
    assert.equal(mcpb("validate", folder).status, 1);
    assert.equal(clients("status").status, 1);
    assert.equal(clients("install").status, 0);
    assert.equal(clients("status").status, 0);
    const validated = mcpb("validate", folder);
    assert.equal(validated.status, 0, validated.stdout + validated.stderr);
  });
});
