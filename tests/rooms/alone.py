# SPDX-License-Identifier: Apache-2.0
"""Prints the arguments by which a compiler reads headers alone, those of one header a line.

Usage: alone.py COMPILE-COMMANDS. Standard input has in each line a header and a source, whose flags the header gets.
"""

import json
import os
import shlex
import sys

WITHOUT_VALUE = ("-c", "-MD")
WITH_VALUE = ("-o", "-MT", "-MF")


def arguments_of(command, root, header):
    words = iter(shlex.split(command["command"]))
    # A launcher may stand before the compiler.
    compiler = next(word for word in words if os.path.basename(word).split("-")[0] in ("clang++", "g++", "c++"))
    kept = [compiler]
    for word in words:
        if word in WITH_VALUE:
            next(words)
        elif word not in WITHOUT_VALUE and word != command["file"]:
            kept.append(word)
    folder = command["directory"]
    return [*kept, "-include", os.path.join(root, header), "-o", f"{folder}/nothing.o", "-c", f"{folder}/nothing.cpp"]


def main(path):
    root = os.getcwd()
    with open(path, encoding="utf-8") as file:
        commands = {os.path.relpath(entry["file"], root): entry for entry in json.load(file)}
    for line in sys.stdin:
        header, source = line.split()
        print(shlex.join(arguments_of(commands[source], root, header)))


if __name__ == "__main__":
    main(*sys.argv[1:])
