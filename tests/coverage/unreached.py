# SPDX-License-Identifier: Apache-2.0
"""Holds the lines of the service that no test ran against the list of those that cannot be reached.

Usage: unreached.py TRACE LIST, where TRACE is the JSON report of gcovr. Ends with status 1 when a line that did not run
is not on the list.
"""

import collections
import json
import sys


def lines_not_run(trace):
    """Each as (file, number, text without its indentation)."""
    for file in trace["files"]:
        name = file["file"]
        if not name.startswith("src/"):
            continue
        counts = {}
        for line in file["lines"]:
            if not line.get("gcovr/noncode", False):
                number = line["line_number"]
                counts[number] = counts.get(number, 0) + line["count"]
        with open(name, encoding="utf-8") as source:
            texts = source.read().splitlines()
        for number, count in sorted(counts.items()):
            if count == 0:
                yield name, number, texts[number - 1].strip()


def listed(path):
    """The list's entries: how often each (file, text) may stay out."""
    entries = collections.Counter()
    file = None
    with open(path, encoding="utf-8") as source:
        for number, line in enumerate(source.read().splitlines(), 1):
            if not line or line.startswith("#"):
                continue
            if not line.startswith(" "):
                file, _, reason = line.partition(": ")
                if not reason:
                    sys.exit(f"{path}:{number}: FILE: REASON is expected, not: {line}")
            elif file is None:
                sys.exit(f"{path}:{number}: a line before its file")
            else:
                entries[file, line.strip()] += 1
    return entries


def main(trace_path, list_path):
    with open(trace_path, encoding="utf-8") as source:
        trace = json.load(source)
    entries = listed(list_path)
    named = 0
    surprises = []
    for name, number, text in lines_not_run(trace):
        if entries[name, text] > 0:
            entries[name, text] -= 1
            named += 1
        else:
            surprises.append(f"{name}:{number}: {text}")
    print(f"{named} lines did not run that {list_path} names with their reasons")
    for name, text in sorted(entries.elements()):
        print(f"no longer needed in {list_path}: {name}: {text}")
    for surprise in surprises:
        print(f"did not run, and no reason is given: {surprise}")
    return 1 if surprises else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
