"""Sums up line and branch coverage: coverage.py FOLDER LCOV JSON, used by script/coverage."""
import collections
import json
import pathlib
import sys

plural = {"line": "lines", "branch": "branches"}
MARK = "// Unreachable in tests:"
# These calls need no mark, because they already say that they are never reached.
NEVER = ("std::unreachable()", "std::abort()", "std::terminate()")


def marked_lines(text):
    """The numbers of the lines that a mark excuses: the marked one, or all of the statement below a comment line."""
    marked = set()
    lines = text.split("\n")
    for index, line in enumerate(lines):
        if any(call in line for call in NEVER):
            # The end of the function is reported, too.
            marked.update((index + 1, index + 2) if lines[index + 1].strip() == "}" else (index + 1,))
        if MARK not in line:
            continue
        if line.strip().startswith("//"):
            below = index + 1
            while lines[below].strip().startswith("//"):
                below += 1
            marked.add(below + 1)
            while not lines[below].rstrip().endswith((";", "}")):
                below += 1
                marked.add(below + 1)
        else:
            marked.add(index + 1)
    return marked


def read_counts(root, lcov, exported):
    """How often each line ran, and each side of each branch; the instances of a template count together."""
    lines = collections.defaultdict(dict)
    branches = collections.defaultdict(collections.Counter)
    file = None
    for record in lcov.read_text().splitlines():
        kind, _, rest = record.partition(":")
        if kind == "SF":
            file = pathlib.Path(rest).resolve().relative_to(root)
        elif kind == "DA":
            number, count = map(int, rest.split(",")[:2])
            lines[file][number] = max(lines[file].get(number, 0), count)
    for each in json.loads(exported.read_text())["data"][0]["files"]:
        file = pathlib.Path(each["filename"]).resolve().relative_to(root)
        for line, column, _, _, taken, skipped, *_ in each["branches"]:
            branches[file][line, column, "true"] += taken
            branches[file][line, column, "false"] += skipped
    return lines, branches


def main():
    root = pathlib.Path(sys.argv[1])
    lines, branches = read_counts(root, pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))

    missed = []
    for folder in ("kit", "server"):
        total = collections.Counter()
        for file in sorted(name for name in lines if name.parts[0] == folder):
            text = (root / file).read_text()
            source = text.split("\n")
            marked = marked_lines(text)
            for what, counts in (("line", lines[file]), ("branch", branches[file])):
                for key, count in sorted(counts.items()):
                    number = key if what == "line" else key[0]
                    # Our switches name every case, so the branch for all other values is never taken.
                    excused = number in marked or (what == "branch" and source[number - 1].strip().startswith("switch ("))
                    total[what, "excused" if excused and count == 0 else "reached" if count else "missed"] += 1
                    if count == 0:
                        side = "" if what == "line" else f" never {key[2]}"
                        missed.append((file, number, what + side, excused, source[number - 1].strip()))
        for what in ("line", "branch"):
            reached, lost, excused = (total[what, state] for state in ("reached", "missed", "excused"))
            percentage = 100 * reached / (reached + lost)
            print(f"{folder}: {percentage:.2f} % of {reached + lost} {plural[what]}, "
                  f"without {excused} that no test can reach")
    for file, number, what, excused, text in missed:
        print(f"{file}:{number}: {'excused ' if excused else ''}{what}: {text}")


main()
