#!/usr/bin/env python3
"""Writes a manual page for man(1) from another text.

    manual.py page NAME SECTION WHAT-IT-IS VERSION FILE.md PAGE    from a page of the documentation
    manual.py help NAME SECTION WHAT-IT-IS VERSION PROGRAM PAGE    from the --help of a program and its commands

It reads the Markdown that the documentation uses: headings, paragraphs, lists, tables and
blocks of code; inside a line, code, bold text and links.
"""
import datetime
import os
import pathlib
import re
import subprocess
import sys
import time


def escaped(text):
    """Text that the formatter prints as it is."""
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("~", "\\(ti").replace("^", "\\(ha").replace("`", "\\(ga")
    return re.sub(r"(?m)^([.'])", r"\\&\1", text)


def styled(text):
    """A line of Markdown. The text of a link is printed, its target is not."""
    text = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", text)
    parts = re.split(r"`([^`]*)`|\*\*([^*]*)\*\*|\*([^*]*)\*", text)
    result = ""
    for index in range(0, len(parts), 4):
        result += escaped(parts[index]).replace("\\-", "-")
        for style, strong in zip(("\\fB", "\\fB", "\\fI"), parts[index + 1:index + 4]):
            if strong is not None:
                result += style + escaped(strong) + "\\fR"
    return re.sub(r"^([.'])", r"\\&\1", result)


def page(name, section, summary, version, body):
    seconds = int(os.environ.get("SOURCE_DATE_EPOCH", time.time()))
    date = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).date()
    title = f'.TH {name.upper()} {section} "{date}" "vostel-mcp {version}"'
    # .SH begins a paragraph too, so the .PP after it is dropped.
    body = [line for line, before in zip(body, ["", *body]) if not (line == ".PP" and before.startswith(".SH"))]
    # The first line lets man(1) format tables.
    return "\n".join(["'\\\" t", title, ".SH NAME", f"{escaped(name)} \\- {escaped(summary)}", *body]) + "\n"


def table(rows):
    """A line across the page separates the headings. A column of long cells shares the rest of the width."""
    header, cells = rows[0], rows[2:]
    lengths = [max(len(row[column]) for row in [header, *cells]) for column in range(len(header))]
    wide = [length > 24 or index == len(lengths) - 1 for index, length in enumerate(lengths)]
    formats = " ".join("lx" if each else "l" for each in wide)
    lines = [".TS", formats.replace("l", "lb"), formats + ".", "\t".join(styled(cell) for cell in header), "_"]
    for row in cells:
        lines += ["\t".join("T{\n" + styled(cell) + "\nT}" for cell in row)]
    return [*lines, ".TE"]


def from_markdown(text):
    body, lines = [], text.split("\n")
    index = next(number for number, line in enumerate(lines) if line.startswith("# ")) + 1
    body.append(".SH DESCRIPTION")
    while index < len(lines):
        line = lines[index]
        index += 1
        if not line.strip() or line.startswith("<!--"):
            continue
        if line.startswith("## "):
            body += [".SH " + styled(line[3:].replace("`", ""))]
        elif line.startswith("### "):
            body += [".SS " + styled(line[4:].replace("`", ""))]
        elif line.strip().startswith("```"):
            body += [".PP", ".RS 4", ".EX"]
            indent = len(line) - len(line.lstrip())
            while not lines[index].strip().startswith("```"):
                body.append(escaped(lines[index][indent:]))
                index += 1
            index += 1
            body += [".EE", ".RE"]
        elif line.startswith("|"):
            rows = []
            index -= 1
            while index < len(lines) and lines[index].startswith("|"):
                rows.append([cell.strip() for cell in lines[index].strip().strip("|").split("|")])
                index += 1
            body += [".PP", *table(rows)]
        else:
            item = re.match(r"(?:- |(\d+\.) )", line)
            words = [line[item.end():] if item else line]
            # The rest of a paragraph or of an item.
            while index < len(lines) and lines[index].strip() and not re.match(r"- |\d+\. |#|\||\s*```", lines[index]):
                words.append(lines[index].strip())
                index += 1
            body += [f'.IP {item[1] or chr(92) + "(bu"} 3' if item else ".PP", styled(" ".join(words))]
    return body


def help_of(program, command):
    """What `--help` prints, by headings. What comes before the first one is the text."""
    output = subprocess.run([program, *command, "--help"], check=True, capture_output=True, text=True).stdout
    parts, current = {"": []}, ""
    for line in output.split("\n"):
        usage = re.match(r"Usage: (.*)", line)
        heading = re.match(r"(\w[\w ]*):$", line)
        if usage:
            parts["Usage"] = [usage[1]]
        elif heading:
            current = heading[1]
            parts[current] = []
        else:
            parts[current].append(line)
    return parts


def entries(lines):
    """The names and descriptions of a list whose descriptions form a column."""
    for line in lines:
        if line.strip():
            name, _, text = line.strip().partition("  ")
            yield name, text.strip()


def definitions(lines):
    body = []
    for name, text in entries(lines):
        body += [".TP", "\\fB" + escaped(name) + "\\fR", escaped(text)]
    return body


def from_help(program, command):
    """The section of a command, and those of the commands inside it."""
    parts = help_of(program, command)
    inner = [name for name, _ in entries(parts.get("Commands", []))]
    usage = parts["Usage"][0].replace("[OPTIONS] ", "").replace(" [OPTIONS]", "")
    options = [line for line in parts.get("Options", []) if "-h,--help" not in line]
    body = []
    if command:
        body = [".SS " + escaped(usage), *[escaped(line) for line in parts[""] if line]]
        body += definitions(parts.get("Arguments", [])) + definitions(options)
    else:
        body = [".SH SYNOPSIS", "\\fB" + escaped(usage.split()[0]) + "\\fR " + escaped(" ".join(usage.split()[1:])),
                ".SH DESCRIPTION", *[escaped(line) for line in parts[""] if line],
                ".PP", "Each command explains itself with \\fB\\-\\-help\\fR.", *definitions(options), ".SH COMMANDS"]
    for name in inner:
        body += from_help(program, [*command, name])
    if not command:
        body.append(".SH EXIT STATUS")
        for line in parts.get("Exit status", []):
            status = re.match(r"  (\d)  (.*)", line)
            if status:
                body += [".TP", f"\\fB{status[1]}\\fR", escaped(status[2])]
            elif line:
                body += [escaped(line.strip())] if line.startswith(" ") else [".PP", escaped(line)]
    return [line for line in body if line]


def main():
    kind, name, section, summary, version, source, result = sys.argv[1:]
    if kind == "page":
        body = from_markdown(pathlib.Path(source).read_text(encoding="utf-8"))
        body += [".SH SEE ALSO", "\\fBvostel\\-mcp\\fR(1)"]
    else:
        body = from_help(source, [])
        body += [".SH FILES", ".TP", escaped("~/Library/Application Support/com.vostel.vostel"),
                 "All data of the user, also on Linux.", ".SH SEE ALSO", "\\fBvostel\\-mcp\\fR(1)"]
    pathlib.Path(result).write_text(page(name, section, summary, version, body), encoding="utf-8")


main()
