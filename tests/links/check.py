#!/usr/bin/env python3
"""Tests script/check-links on pages with at most one mistake."""
import pathlib
import subprocess
import sys
import tempfile

CHECK = pathlib.Path(__file__).resolve().parents[2] / "script/check-links"

# when, the page, the problem or None
ROWS = [
    ("a link to a file", "[x](docs/there.md)", None),
    ("a link to a folder", "[x](docs)", None),
    ("a link to a heading of another page", "[x](docs/there.md#two-words)", None),
    ("a link to a heading with code and marks", "[x](docs/there.md#the-codes-way-1)", None),
    ("a link to the web", "[x](https://example.org/nothing#here)", None),
    ("a link in a block of code", "```\n[x](nowhere.md)\n```", None),
    ("a file in backticks", "`docs/there.md`", None),
    ("a header without its extension", "`docs/code`", None),
    ("a file in a folder that the project does not have", "`elsewhere/nothing.md`", None),
    ("a command with arguments", "`docs/there.md --help`", None),
    ("a missing file", "[x](docs/missing.md)", "1: docs/missing.md does not exist"),
    ("a missing heading", "[x](docs/there.md#three)", "1: there.md has no heading for #three"),
    ("a missing heading of the same page", "text\n[x](#three)", "2: PAGE has no heading for #three"),
    ("a missing file in backticks", "`docs/missing.md`", "1: `docs/missing.md` is not in the project"),
    ("a missing command with arguments", "`docs/run now`", "1: `docs/run` is not in the project"),
]


def main():
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        (root / "docs").mkdir()
        (root / "docs/there.md").write_text("# Two words\n## The `code`'s way (1)\n")
        (root / "docs/code.h").write_text("")
        for number, (_, page, _) in enumerate(ROWS):
            (root / f"{number}.md").write_text(page + "\n")
        result = subprocess.run([CHECK, root], capture_output=True, text=True)
    found = dict(line.split(".md:", 1) for line in result.stdout.splitlines())
    failures = 0
    for number, (when, _, problem) in enumerate(ROWS):
        expected = problem.replace("PAGE", f"{number}.md") if problem else None
        if found.get(str(number)) != expected:
            print(f"{when}: {found.get(str(number))}")
            failures += 1
    if result.returncode != 1:
        print(f"status {result.returncode} {result.stderr}")
        failures += 1
    return failures


sys.exit(main())
