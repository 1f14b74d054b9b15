#!/usr/bin/env python3
"""Tests packaging/check_formula.rb on the formula with one mistake each: check.py RUBY"""
import pathlib
import subprocess
import sys
import tempfile

PACKAGING = pathlib.Path(__file__).resolve().parents[2] / "packaging"

# The replaced text, the new text, and the problem that the check must report.
ROWS = [
    ("", "", None),
    ("class VostelMcp", "class Vostelmcp", "the class is not VostelMcp"),
    ('desc "Model', 'desc "A Model', "desc: begins with an article"),
    ('desc "Model', 'desc "model', "desc: begins with a small letter"),
    ('desc "Model', f'desc "Model{80 * "x"}', "desc: 1 to 80 characters"),
    ('application"', 'application."', "desc: ends with a full stop"),
    ('desc "Model', 'desc "Vostel-mcp model', "desc: begins with the name"),
    ('homepage "https', 'homepage "http', "homepage: no https address"),
    ('.tar.gz"', '.zip"', "url: no https address of an archive"),
    ('sha256 "0', 'sha256 "', "sha256: not 64 lower-case hexadecimal digits"),
    ("  license :cannot_represent\n", "", "license is missing"),
    ("  test do", "  testing do", "test do is missing"),
    ('"cmake" =>', '"zcmake" =>', "dependencies: those of the build first, each part by name"),
    ('"utf8proc"\n', '"utf8proc" \n', "line 11: ends with a space"),
    ('"utf8proc"\n', f'"utf8proc" # {100 * "x"}\n', "line 11: longer than 118 characters"),
    ('"utf8proc"\n', '"utf8proc"\t# x\n', "line 11: a tab"),
    ("  end\nend\n", "  end\nend\n\n", "does not end with one line feed"),
    ("def install", "def install(", "syntax error"),
]


def main():
    template = (PACKAGING / "vostel-mcp.rb.in").read_text(encoding="utf-8")
    url = "https://example.org/releases"
    formula = template.replace("@URL@", url).replace("@VERSION@", "1.0.0").replace("@SHA256@", "0" * 64)
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder) / "vostel-mcp.rb"
        for old, new, problem in ROWS:
            assert old in formula, old
            file.write_text(formula.replace(old, new) if old else formula, encoding="utf-8")
            result = subprocess.run([sys.argv[1], PACKAGING / "check_formula.rb", file], capture_output=True, text=True)
            output = result.stdout + result.stderr
            if (problem or "") not in output or (result.returncode != 0) != (problem is not None):
                print(f"{new or old or 'no mistake'}: status {result.returncode} {output}")
                failures += 1
    return 1 if failures else 0


sys.exit(main())
