#!/usr/bin/env python3
"""Tests script/check-hardening on small programs, each of which lacks one protection: check.py COMPILER"""
import pathlib
import platform
import subprocess
import sys
import tempfile

CHECK = pathlib.Path(__file__).resolve().parents[2] / "script/check-hardening"
SOURCE = """
#include <cstdarg>
#include <cstdio>
int print(char* text, unsigned size, const char* format, ...) {
    char copy[64];
    va_list values;
    va_start(values, format);
    const int length = std::vsnprintf(copy, size, format, values);
    va_end(values);
    return length + std::snprintf(text, size, "%s", copy);
}
int main(int count, char** words) {
    char text[64];
    return print(text, static_cast<unsigned>(count), "%s", words[0]) == 0;
}
"""
INTEL = platform.machine() == "x86_64"
HARDENED = ["-O2", "-fPIE", "-pie", "-fstack-protector-strong", "-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=2",
            "-Wl,-z,relro,-z,now", "-Wl,-z,noexecstack", *(["-fcf-protection", "-Wl,-z,shstk"] if INTEL else [])]
# The missing protection, the options that remove it, and the message of the check.
ROWS = [
    ("nothing", [], None),
    ("position-independent code", ["-fno-PIE", "-no-pie"], "has no position-independent code"),
    ("immediate binding", ["-Wl,-z,lazy"], "has no immediate binding"),
    ("read-only relocations", ["-Wl,-z,norelro"], "has no read-only relocations"),
    ("a stack without execution", ["-Wl,-z,execstack"], "has no stack without execution"),
    ("the stack protector", ["-fno-stack-protector"], "has no stack protector"),
    ("fortified calls", ["-U_FORTIFY_SOURCE"], "has no fortified calls"),
    *([("a shadow stack", ["-fcf-protection=none"], "has no shadow stack")] if INTEL else []),
]


def check(*files):
    result = subprocess.run([CHECK, *files], capture_output=True, text=True)
    return result.returncode, result.stdout + result.stderr


def problems(compiler, folder):
    (folder / "main.cpp").write_text(SOURCE)
    for when, options, expected in ROWS:
        program = folder / when / "Vostel"
        program.parent.mkdir()
        flags = [flag for flag in HARDENED if not (when == "a shadow stack" and "shstk" in flag)]
        subprocess.run([compiler, *flags, *options, folder / "main.cpp", "-o", program], check=True)
        status, output = check(program)
        if (status, output) != ((1, f"{program} {expected}\n") if expected else (0, "")):
            yield f"a program that lacks {when}: {status} {output}"
    extension = folder / "extension.mcpb"
    subprocess.run([sys.executable, "-m", "zipfile", "--create", extension, folder / "immediate binding/Vostel"], check=True)
    status, output = check(folder / "nothing/Vostel", extension)
    if (status, output) != (1, f"{extension}: Vostel has no immediate binding\n"):
        yield f"a program in an extension: {status} {output}"


def main():
    with tempfile.TemporaryDirectory() as folder:
        found = list(problems(sys.argv[1], pathlib.Path(folder)))
    for problem in found:
        print(problem)
    return 1 if found else 0


sys.exit(main())
