"""Tests the commands that the documentation shows.

This concerns every command in a block of `sh`, and every command between backticks in the text. Each is either run here,
with the installed programs and a temporary home folder, or it is named below, with the file that runs it or with the
reason why no test runs it. A command that is in no list fails the test. An entry that no page shows fails it too. The text
often names a command without its arguments. Then a command with this beginning must be in a list.
"""
import os
import pathlib
import pty
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]

# The commands are run in this order. The id 3F2A of the examples is replaced by the first id that the second command prints.
RUN = [
    ("Vostel --help", None),
    ("Vostel --version", None),
    ("Vostel transcribe --help", None),
    ("Vostel completions bash", None),
    ("Vostel clients install claude-code", None),
    ("Vostel clients install codex", None),
    ("Vostel clients install claude-desktop", None),
    ("Vostel clients install", None),
    ("Vostel clients status", None),
    ("Vostel doctor", None),
    ("Vostel clients remove codex", None),
    ("Vostel transcribe memo.m4a", None),
    ("Vostel dictate memo.m4a", None),
    ("Vostel record me.wav them.wav", None),
    ("Vostel transcripts", None),
    ("Vostel recordings", None),
    ("Vostel dictations", None),
    ("Vostel transcripts 3F2A --format srt", "Vostel transcripts"),
    ("Vostel delete recording 3F2A", "Vostel recordings"),
    ("Vostel delete transcript 3F2A", "Vostel transcripts"),
    ("Vostel delete dictation 3F2A", "Vostel dictations"),
    ("Vostel words add bostel Vostel", None),
    ("Vostel words remove bostel", None),
    ("Vostel pending", None),
    ("Vostel confirm 3F2A", "Vostel pending"),
    ("Vostel settings reading on", None),
    ("Vostel models", None),
    ("Vostel status", None),
    ("""echo '{"jsonrpc":"2.0","id":1,"method":"tools/list"}' | Vostel.app/Contents/MacOS/vostel-mcp""", None),
    # The server has launched the companion.
    ('Vostel-wire-check "$HOME/Library/Application Support/com.vostel.vostel/mcp.sock"', None),
    ("Vostel quit", None),
]

# Commands that take too long here or that cannot run here: each with the file that tests it, and a text in this file.
ELSEWHERE = {
    "script/demo": ("tests/companion/CMakeLists.txt", "vostel-demo"),
    "script/test": (".ci/run", "script/test"),
    "script/test dev": (".ci/run", "script/test"),
    "script/test gcc tsan": (".ci/run", "script/test gcc tsan"),
    "script/test tsan": (".ci/run", "script/test gcc tsan"),
    "script/build": ("script/demo", "script/build"),
    'Vostel search "good morning" boat': ("tests/companion/commands/CommandLineTests.cpp", '{"search", "good morning", "boat"}'),
    "Vostel models install": ("tests/companion/commands/StoreVerbsTests.cpp", 'InstallModel{"de"}'),
    "Vostel models remove": ("tests/companion/commands/StoreVerbsTests.cpp", 'RemoveModel{"de"}'),
    "Vostel deny 3F2A": ("tests/companion/commands/ProgramTests.cpp", '{"deny", '),
    "Vostel serve": ("tests/companion/commands/ProgramTests.cpp", '{"serve"}'),
    "script/torture sample": ("script/test", "script/torture sample"),
    "script/setup test": ("script/test", "script/setup test"),
    "script/setup demo": ("script/demo", "script/setup demo"),
    "script/setup macos": ("script/build-macos", "script/setup macos"),
    "script/sign-macos --dry-run path/to/Vostel.app": ("tests/macos/sign.test.mjs", "--dry-run"),
    "apt install ./vostel_*.deb ./vostel-mcp_*.deb": ("script/check-packages", "apt-get install"),
    "cmake --install build/release --prefix /usr/local": ("tests/installation/check.py", '"cmake", "--install"'),
    "cmake --install build/release --component kit --prefix /usr/local": ("tests/installation/check.py", '"--component", "kit"'),
    "cmake --install build/release --component bundle --prefix /Applications": ("script/build", "--component bundle"),
    "c++ main.cpp $(pkg-config --cflags --libs VostelMCPKit) -o answer":
        ("tests/consumer/check", "program/answer/main.cpp -o pkgconfig/answer"),
    "cd tests/clients": ("tests/clients/package.json", "node run.mjs"),
    "npm install": ("tests/clients/.npmrc", "before="),
    "node run.mjs": ("tests/clients/run.mjs", "process.argv"),
    "node run.mjs --at-once 4": ("tests/clients/run.mjs", '"at-once"'),
    './answer "$HOME/Library/Application Support"': ("tests/e2e/KitPageTests.cpp", "answer"),
    'CODESIGN_IDENTITY="Developer ID Application: …" NOTARY_PROFILE=… script/sign-macos path/to/Vostel.app':
        ("tests/macos/sign.test.mjs", "sign-macos"),
    """Vostel-wire-check "$HOME/Library/Application Support/com.vostel.vostel/mcp.sock" """
    """--long transcribe_file '{"path": "/a/long/recording.wav"}'""": ("tests/wire-check/check_companion.py", "transcribe_file"),
}


# The commands that no test runs, and why.
BY_HAND = {
    "script/bench --micro --benchmark_filter=Failure": "measures, so it needs an idle machine",
    "script/bench --micro --benchmark_filter=Hop": "measures",
    "script/bench --micro --benchmark_filter=Thread": "measures",
    "script/bench --micro --benchmark_filter=Transcript": "measures",
    "script/bench --plot": "measures",
    "script/bench --speech": "measures",
    "script/check-layout --fix": "changes the sources",
    "script/release --check-reproducible": "takes minutes, and is itself the test of a release",
    "cmake --preset release -D VOSTEL_COMPANION=ON": "this is the default, except on a Mac",
    "cmake --preset release -D CMAKE_OSX_ARCHITECTURES='arm64;x86_64'": "needs a Mac",
}

# A program's name and its arguments, up to the first one that is a placeholder.
IN_TEXT = re.compile(r"(?:Vostel|Vostel-wire-check|script/\S+|cmake)(?: (?!\[|[A-Z]+\b)\S+)*")


def shown():
    """Returns the commands in blocks of `sh`, without their comments, and the commands in the text."""
    pages = subprocess.run(["git", "ls-files", "*.md"], cwd=ROOT, check=True, capture_output=True, text=True).stdout
    commands, mentioned = set(), set()
    for page in pages.split():
        text = (ROOT / page).read_text(encoding="utf-8")
        for block in re.findall(r"(?ms)^( *)```sh\n(.*?)^ *```", text):
            for line in re.sub(r"\\\n\s*", "", block[1]).splitlines():
                command = re.sub(r"\s+# .*", "", line).strip()
                if command and not command.startswith("#"):
                    commands.add(command)
        for code in re.findall(r"`([^`]+)`", re.sub(r"(?ms)^ *```.*?^ *```", "", text)):
            command = IN_TEXT.match(code)
            # The name of a script without arguments may mean the file, not a command.
            if command and " " in command[0]:
                mentioned.add(command[0])
    return commands, mentioned


def begins(command, start):
    return command == start or command.startswith(start + " ")


def problems_of_lists():
    """Commands that are shown but in no list, and entries that are not as they say."""
    known = {command for command, _ in RUN} | set(ELSEWHERE) | set(BY_HAND)
    commands, mentioned = shown()
    for command in sorted(commands - known):
        yield f"no test runs the documented command: {command}"
    for start in sorted(mentioned):
        if not any(begins(command, start) for command in known):
            yield f"no test runs a command that begins as documented: {start}"
    for command in sorted(known - commands):
        if not any(begins(command, start) for start in mentioned):
            yield f"no page shows: {command}"
    for command, (file, content) in ELSEWHERE.items():
        if not (ROOT / file).exists() or content not in (ROOT / file).read_text(encoding="utf-8"):
            yield f"{file} does not run: {command}"


def run_on_terminal(command, folder, environment):
    """Runs a shell command on a terminal, because some commands ask the user. Returns the status and the output."""
    parent, child = pty.openpty()
    process = subprocess.Popen(["bash", "-euo", "pipefail", "-c", command], cwd=folder, env=environment, stdin=child,
                               stdout=child, stderr=child, start_new_session=True)
    os.close(child)
    output = b""
    try:
        while data := os.read(parent, 65536):
            output += data
    except OSError:
        pass  # Linux reports the end of a terminal as an error.
    os.close(parent)
    return process.wait(), output.decode(errors="replace")


def problems_of_running(folder, environment):
    for command, ids in RUN:
        if ids:
            _, listed = run_on_terminal(ids, folder, environment)
            found = re.search(r"\b[0-9A-F]{8}\b", listed)
            if not found:
                yield f"{ids} printed no id: {listed}"
                continue
            command = command.replace("3F2A", found[0])
        status, output = run_on_terminal(command, folder, environment)
        if status != 0:
            yield f"{command} ended with {status}: {output}"
