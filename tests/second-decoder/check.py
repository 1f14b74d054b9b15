"""Compares the second decoder with the golden files: check.py FOLDER"""
import json
import pathlib
import sys

import decoder


def read_stream(stream, readers):
    """Returns what a table states about a stream (the records, the end and the answer), and the records as bytes."""
    found = {"records": [], "end": "complete", "answer": None}
    frames = decoder.records_of(stream, readers)
    try:
        while True:
            found["records"].append(next(frames))
    except StopIteration as stop:
        if stop.value:
            found["end"] = "incomplete"
    except decoder.VersionMismatch as mismatch:
        found["end"], found["answer"] = str(mismatch), mismatch.answer
    except decoder.Refused as reason:
        found["end"] = str(reason)
    return found, b"".join(map(decoder.frame_of, found["records"]))


def check_stream(folder, row):
    stream = (folder / row["file"]).read_bytes()
    to_application = row["direction"] == "to-application"
    found, written = read_stream(stream, decoder.TO_APPLICATION if to_application else decoder.FROM_APPLICATION)
    expected = {"records": row["records"], "end": row["end"], "answer": row.get("answer")}
    if found != expected:
        return f"found {found}\n  expected {expected}"
    if row["written"] and written != stream:
        return f"writes {written}"
    return None


def check_line(folder, row):
    kind = decoder.line_kind((folder / row["file"]).read_bytes())
    return None if kind == row["kind"] else f"is {kind}, expected {row['kind']}"


def main():
    folder = pathlib.Path(sys.argv[1])
    failures = 0
    for table, check in (("frames.json", check_stream), ("lines.json", check_line)):
        rows = json.loads((folder / table).read_text(encoding="utf-8"))
        assert rows, f"{table} is empty"
        for row in rows:
            difference = check(folder, row)
            if difference:
                failures += 1
                print(f"{row['file']}: {difference}")
        print(f"{table}: {len(rows)} files")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
