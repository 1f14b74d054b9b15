#!/usr/bin/env python3
"""Installs a build and tests the installed programs: check.py BUILD-FOLDER SPEECH-FOLDER

The prefix is /usr and DESTDIR is a temporary folder, as for a package. Then a client starts the installed server by its
link in bin/ and calls tools. The server must launch the installed companion, which answers. At the end, the test runs the
commands that the documentation shows.
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
import wave

import documented

EXPECTED = """
bin/Vostel
bin/Vostel-wire-check
bin/vostel-mcp
include/VostelMCPKit/kit/jsonrpc/MCPValue.h
lib*/cmake/VostelMCPKit/VostelMCPKitConfig.cmake
lib*/libVostelMCPKit.a
lib*/pkgconfig/VostelMCPKit.pc
libexec/vostel/Vostel.app/Contents/Info.plist
libexec/vostel/Vostel.app/Contents/MacOS/Vostel
libexec/vostel/Vostel.app/Contents/MacOS/vostel-mcp
share/bash-completion/completions/Vostel
share/fish/vendor_completions.d/Vostel.fish
share/man/man1/Vostel-wire-check.1
share/man/man1/Vostel.1
share/man/man1/vostel-mcp.1
share/man/man7/vostel-mcp-wire.7
share/vostel/wire-check/decoder.py
share/vostel/wire-check/wire_check.py
share/zsh/site-functions/_Vostel
""".split()

def request(number, method, **params):
    return json.dumps({"jsonrpc": "2.0", "id": number, "method": method, "params": params}) + "\n"


# Each request with a part of its expected answer. The last request waits for the user's confirmation.
CONVERSATION = [
    (request(1, "initialize", protocolVersion="2025-06-18", capabilities={},
             clientInfo={"name": "installation", "version": "1"}), '"serverInfo"'),
    (request(2, "tools/call", name="vocabulary_add", arguments={"rules": [{"word": "vostl", "replacement": "Vostel"}]}),
     '"isError":false'),
    (request(3, "tools/call", name="vocabulary_remove", arguments={"words": ["vostl"]}), "pending request"),
]


def problems_of_conversation(server, environment):
    """Sends each request after the previous reply. Keeps the input open, because its end ends the server."""
    with subprocess.Popen([server], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                          env=environment) as process:
        for line, expected in CONVERSATION:
            process.stdin.write(line)
            process.stdin.flush()
            reply = process.stdout.readline()
            if expected not in reply:
                yield f"{line} was answered with {reply}"
        process.stdin.close()


def install(build, stage, *options):
    subprocess.run(["cmake", "--install", build, "--prefix", "/usr", *options], check=True, stdout=subprocess.DEVNULL,
                   env={**os.environ, "DESTDIR": str(stage)})


def problems_of_files(stage):
    prefix = stage / "usr"
    for pattern in EXPECTED:
        # In Debian's layout, one folder has the name of the processor.
        if not any(prefix.glob(pattern)) and not any(prefix.glob(pattern.replace("lib*/", "lib/*/"))):
            yield f"{pattern} is not installed"
    folders = ("bin", "include", "lib", "lib64", "libexec", "share")
    for path in [*stage.iterdir(), *prefix.iterdir()]:
        if path.name not in (*folders, "usr"):
            yield f"{path.name} is installed outside of {', '.join(folders)}"


def problems_of_kit_alone(stage):
    if not any(stage.glob("usr/include/VostelMCPKit/kit")) or any((stage / "usr" / name).exists() for name in ("bin", "libexec")):
        yield "the component kit contains more than the library"


def make_recordings(speech, folder):
    """Writes recordings with the first words of a sentence. They are short, so transcribing them takes little time."""
    with wave.open(str(speech / "sense_and_sensibility_01_austen_64kb-0870.wav")) as sentence:
        parameters, words = sentence.getparams(), sentence.readframes(2 * sentence.getframerate())
    for name in ("memo.m4a", "me.wav", "them.wav"):
        with wave.open(str(folder / name), "wb") as recording:
            recording.setparams(parameters)
            recording.writeframes(words)


def end_companion(home):
    """Ends the companion that the server launched, so that it no longer uses the temporary folder."""
    try:
        process = int((home / "Library/Application Support/com.vostel.vostel/Vostel.pid").read_text())
        os.kill(process, signal.SIGTERM)
        # The wait has a limit, because an ended process keeps its id until it is reaped.
        for _ in range(500):
            os.kill(process, 0)
            time.sleep(0.02)
    except (OSError, ValueError):
        pass


def problems(build, speech, scratch, home):
    install(build, scratch / "kit", "--component", "kit")
    yield from problems_of_kit_alone(scratch / "kit")
    install(build, scratch / "stage")
    yield from problems_of_files(scratch / "stage")
    prefix = scratch / "stage/usr"
    # Other variables are left out, because some name the configuration of a client, for example CODEX_HOME.
    environment = {"HOME": str(home), "PATH": f"{prefix / 'bin'}:{os.environ['PATH']}", "TERM": "xterm"}
    yield from problems_of_conversation(prefix / "bin/vostel-mcp", environment)
    make_recordings(speech, scratch)
    (scratch / "Vostel.app").symlink_to(prefix / "libexec/vostel/Vostel.app")
    yield from documented.problems_of_lists()
    yield from documented.problems_of_running(scratch, environment)


def main():
    # The path must be short, because the path of the socket contains it.
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="vi-"))
    home = scratch / "home"
    home.mkdir(mode=0o700)
    try:
        found = list(problems(sys.argv[1], pathlib.Path(sys.argv[2]), scratch, home))
    finally:
        end_companion(home)
        shutil.rmtree(scratch, ignore_errors=True)
    for problem in found:
        print(problem)
    return 1 if found else 0


sys.exit(main())
