#!/usr/bin/env python3
"""Installs a build and uses what was installed: check.py BUILD-FOLDER

The prefix is /usr and DESTDIR is a scratch folder, as for a package. Then the client's side of a conversation starts the
installed server by its link in bin/ and calls a tool. The server must launch the installed companion, which answers.
"""
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

EXPECTED = """
bin/Vostel
bin/vostel-mcp
include/VostelMCPKit/kit/jsonrpc/MCPValue.h
lib*/cmake/VostelMCPKit/VostelMCPKitConfig.cmake
lib*/libVostelMCPKit.a
lib*/pkgconfig/VostelMCPKit.pc
libexec/vostel/Vostel.app/Contents/Info.plist
libexec/vostel/Vostel.app/Contents/MacOS/Vostel
libexec/vostel/Vostel.app/Contents/MacOS/vostel-mcp
share/man/man1/Vostel.1
share/man/man1/vostel-mcp.1
share/man/man7/vostel-mcp-wire.7
""".split()

CONVERSATION = [
    {"jsonrpc": "2.0", "id": 1, "method": "initialize", "params": {
        "protocolVersion": "2025-06-18", "capabilities": {}, "clientInfo": {"name": "installation", "version": "1"}}},
    {"jsonrpc": "2.0", "method": "notifications/initialized"},
    {"jsonrpc": "2.0", "id": 2, "method": "tools/call", "params": {"name": "vocabulary_list", "arguments": {}}},
]


def call_a_tool(server, home):
    """The result of the call in the conversation. The input stays open until then, because its end ends the server."""
    environment = {**os.environ, "HOME": str(home)}
    with subprocess.Popen([server], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                          env=environment) as process:
        for message in CONVERSATION:
            process.stdin.write(json.dumps(message) + "\n")
        process.stdin.flush()
        replies = [json.loads(process.stdout.readline()) for _ in range(2)]
        process.stdin.close()
    return next(reply for reply in replies if reply["id"] == 2)


def end_companion(home):
    """Ends the companion that the server launched, so that it leaves the scratch folder."""
    try:
        process = int((home / "Library/Application Support/com.vostel.vostel/Vostel.pid").read_text())
        os.kill(process, signal.SIGTERM)
        # Not forever: where nobody reaps it, an ended process keeps its id.
        for _ in range(500):
            os.kill(process, 0)
            time.sleep(0.02)
    except (OSError, ValueError):
        pass


def main():
    # A short path: that of the socket is in it.
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="vi-"))
    home = scratch / "home"
    home.mkdir(mode=0o700)
    try:
        subprocess.run(["cmake", "--install", sys.argv[1], "--prefix", "/usr"], check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, "DESTDIR": str(scratch / "stage")})
        prefix = scratch / "stage/usr"
        missing = [pattern for pattern in EXPECTED if not any(prefix.glob(pattern))
                   # In Debian's layout, a folder is named for the processor.
                   and not any(prefix.glob(pattern.replace("lib*/", "lib/*/")))]
        surplus = [path.name for path in (scratch / "stage").iterdir() if path.name != "usr"] + [
            path.name for path in prefix.iterdir() if path.name not in ("bin", "include", "lib", "lib64", "libexec", "share")]
        if missing or surplus:
            return f"not installed: {missing}; installed elsewhere: {surplus}"
        reply = call_a_tool(prefix / "bin/vostel-mcp", home)
        if reply.get("result", {}).get("isError") is not False:
            return f"the installed companion did not answer: {reply}"
    finally:
        end_companion(home)
        shutil.rmtree(scratch, ignore_errors=True)


sys.exit(main())
