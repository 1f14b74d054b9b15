#!/usr/bin/env python3
"""Makes the files from which MCP clients and registries install. The descriptions of the tools come from the server.

    bundles.py desktop VERSION BUNDLE FILE NOTICES    packs the application bundle for Claude Desktop on Linux
    bundles.py registry VERSION URL FILE              prints the server.json of the MCP registry for a packed FILE at URL
"""
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import time
import zipfile

DESCRIPTION = "Transcribe recordings, search what was said, and teach names, with Vostel on this machine."


def tools(server):
    """The names and descriptions that the server lists."""
    request = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "tools/list"}) + "\n"
    reply = subprocess.run([server], input=request, check=True, capture_output=True, text=True).stdout
    return [{"name": tool["name"], "description": tool["description"]} for tool in json.loads(reply)["result"]["tools"]]


def manifest(version, bundle):
    server = f"{bundle.name}/Contents/MacOS/vostel-mcp"
    return {
        "manifest_version": "0.3",
        "name": "vostel",
        "display_name": "Vostel",
        "version": version,
        "description": DESCRIPTION,
        "author": {"name": "The developers of Vostel"},
        "server": {
            "type": "binary",
            "entry_point": server,
            "mcp_config": {"command": "${__dirname}/" + server, "args": []},
        },
        "tools": tools(bundle / "Contents/MacOS/vostel-mcp"),
        "compatibility": {"platforms": ["linux"]},
    }


def pack(version, bundle, file, notices):
    """A zip archive whose bytes depend only on its content: names in order, one time, fixed permissions."""
    moment = time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"]))[:6]
    content = {"manifest.json": (json.dumps(manifest(version, bundle), indent=2, ensure_ascii=False) + "\n").encode(),
               "third-party-notices": notices.read_bytes()}
    for path in bundle.rglob("*"):
        if path.is_file():
            content[f"{bundle.name}/{path.relative_to(bundle)}"] = path.read_bytes()
    with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for name in sorted(content):
            entry = zipfile.ZipInfo(name, moment)
            entry.create_system = 3
            entry.external_attr = (0o100755 if "/MacOS/" in name else 0o100644) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, content[name])


def registry(version, url, file):
    return {
        "$schema": "https://static.modelcontextprotocol.io/schemas/2025-10-17/server.schema.json",
        "name": "com.vostel/vostel-mcp",
        "title": "Vostel",
        "description": DESCRIPTION,
        "version": version,
        "packages": [{
            "registryType": "mcpb",
            "identifier": f"{url}/{file.name}",
            "fileSha256": hashlib.sha256(file.read_bytes()).hexdigest(),
            "transport": {"type": "stdio"},
        }],
    }


def refused(entry):
    """The fields of an entry that break a rule of the registry's schema. No package that we install contains that schema."""
    package = entry["packages"][0]
    rules = {
        "name": re.fullmatch(r"[a-zA-Z0-9.-]+/[a-zA-Z0-9._-]+", entry["name"]) and 3 <= len(entry["name"]) <= 200,
        "title": 1 <= len(entry["title"]) <= 100,
        "description": 1 <= len(entry["description"]) <= 100,
        "version": re.fullmatch(r"\d+\.\d+\.\d+", entry["version"]),
        "packages.identifier": re.fullmatch(r"https://[^\s/]+/\S+\.mcpb", package["identifier"]),
        "packages.fileSha256": re.fullmatch(r"[a-f0-9]{64}", package["fileSha256"]),
        "packages.transport": package["transport"] == {"type": "stdio"},
    }
    return [name for name, kept in rules.items() if not kept]


def main():
    kind, version, *arguments = sys.argv[1:]
    if kind == "desktop":
        bundle, file, notices = map(pathlib.Path, arguments)
        pack(version, bundle, file, notices)
    else:
        entry = registry(version, arguments[0], pathlib.Path(arguments[1]))
        if refused(entry):
            sys.exit(f"server.json breaks the rules of: {', '.join(refused(entry))}")
        print(json.dumps(entry, indent=2, ensure_ascii=False))


main()
