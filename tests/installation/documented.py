"""The commands that the documentation shows.

Every command in a block of `sh` is either run here, with the installed programs and in a scratch home folder, or it is
named below with the file that runs it. A command that is in neither list fails the test, and so does an entry here that
no page shows.
"""
import os
import pathlib
import pty
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]

# Run in this order. An id in an example, such as 3F2A, becomes the first one that the command beside it prints.
RUN = [
    ("Vostel clients install claude-code", None),
    ("Vostel clients install codex", None),
    ("Vostel clients install claude-desktop", None),
    ("Vostel clients install", None),
    ("Vostel transcribe memo.m4a", None),
    ("Vostel dictate memo.m4a", None),
    ("Vostel record me.wav them.wav", None),
    ("Vostel transcripts", None),
    ("Vostel recordings", None),
    ("Vostel transcripts 3F2A --format srt", "Vostel transcripts"),
    ("Vostel delete transcript 3F2A", "Vostel transcripts"),
    ("Vostel words add bostel Vostel", None),
    ("Vostel pending", None),
    ("Vostel confirm 3F2A", "Vostel pending"),
    ("Vostel settings reading on", None),
    ("""echo '{"jsonrpc":"2.0","id":1,"method":"tools/list"}' | Vostel.app/Contents/MacOS/vostel-mcp""", None),
]

# What is too expensive here, or needs what a test has not: the file that runs it or that it runs, and a word in there.
ELSEWHERE = {
    "script/demo": ("tests/companion/CMakeLists.txt", "vostel-demo"),
    "script/test": (".ci/run", "script/test"),
    "script/test dev": (".ci/run", "script/test"),
    "script/build": ("script/demo", "script/build"),
    'Vostel search "good morning" boat': ("tests/companion/commands/CommandLineTests.cpp", '{"search", "good morning", "boat"}'),
    "apt install ./vostel_*.deb ./vostel-mcp_*.deb": ("script/check-packages", "apt-get install"),
    "cmake --install build/release --prefix /usr/local": ("tests/installation/check.py", '"cmake", "--install"'),
    "cmake --install build/release --component kit --prefix /usr/local": ("tests/installation/check.py", '"--component", "kit"'),
    "cmake --install build/release --component bundle --prefix /Applications": ("cmake/Bundle.cmake", "--component bundle"),
    "c++ main.cpp $(pkg-config --cflags --libs VostelMCPKit) -o answer":
        ("tests/consumer/check", "program/answer/main.cpp -o pkgconfig/answer"),
    "cd tests/clients": ("tests/clients/package.json", "node run.mjs"),
    "npm install": ("tests/clients/.npmrc", "before="),
    "node run.mjs": ("tests/clients/run.mjs", "process.argv"),
    './answer "$HOME/Library/Application Support"': ("tests/e2e/KitPageTests.cpp", "answer"),
    'CODESIGN_IDENTITY="Developer ID Application: …" NOTARY_PROFILE=… script/sign-macos path/to/Vostel.app':
        ("tests/macos/sign.test.mjs", "sign-macos"),
    """python3 tests/wire-check/wire_check.py "$HOME/Library/Application Support/com.vostel.vostel/mcp.sock" """
    """--long transcribe_file '{"path": "/a/long/recording.wav"}'""": ("tests/wire-check/check_companion.py", "transcribe_file"),
}


def shown():
    """The commands in the documentation's blocks of `sh`, without their comments."""
    pages = subprocess.run(["git", "ls-files", "*.md"], cwd=ROOT, check=True, capture_output=True, text=True).stdout
    commands = set()
    for page in pages.split():
        for block in re.findall(r"(?ms)^( *)```sh\n(.*?)^ *```", (ROOT / page).read_text(encoding="utf-8")):
            for line in re.sub(r"\\\n\s*", "", block[1]).splitlines():
                command = re.sub(r"\s+# .*", "", line).strip()
                if command and not command.startswith("#"):
                    commands.add(command)
    return commands


def problems_of_lists():
    """What is shown and in neither list, and what is in a list and not as it says."""
    known = {command for command, _ in RUN} | set(ELSEWHERE)
    for command in sorted(shown() - known):
        yield f"no test runs the documented command: {command}"
    for command in sorted(known - shown()):
        yield f"no page shows: {command}"
    for command, (file, content) in ELSEWHERE.items():
        if not (ROOT / file).exists() or content not in (ROOT / file).read_text(encoding="utf-8"):
            yield f"{file} does not run: {command}"


def run_on_terminal(command, folder, environment):
    """Runs a command of a shell on a terminal of its own. Some commands need a person. Gives the status and the output."""
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
