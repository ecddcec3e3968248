# SPDX-License-Identifier: Apache-2.0
"""Holds what the files include against the arrows that are written down for their rooms.

Usage: arrows.py [--headers] TABLE, from the project's root; the sources' paths come one a line on standard input.
TABLE tells its own form. Ends with status 1 when something is wrong: an include that is not spelled in the one way, an
arrow that the table does not have, parts that need each other in a circle, or a line of the table that nothing needs.

With --headers in place of TABLE, prints each header that no source includes before everything else, and a source that
includes it. The others are known to compile alone, because those sources do.
"""

import collections
import os
import re
import sys

# A header has one spelling: its path from the first of these folders that holds it.
ROOTS = ("src/", "client/include/", "device/include/", "")
PLATFORM = "device/include/"
HEADER_VARIANTS = "tests/platform/"
# Examples include the client library as it is installed.
INSTALLED_FOR = {"examples": ("client/include/",)}

DIRECTIVE = re.compile(r"\s*#\s*(\w+)\s*(?:([<\"])([^>\"]+)[>\"])?")


class Table:
    def __init__(self, path):
        self.path = path
        self.arrows = {}
        self.files = {}
        self.circles = {}
        self.used = set()
        with open(path, encoding="utf-8") as lines:
            for number, line in enumerate(lines.read().splitlines(), 1):
                if line and not line.startswith("#"):
                    self.read(number, line)
        for names in self.arrows.values():
            for name in names:
                if name != "*" and name not in self.arrows:
                    sys.exit(f"{path}: no line for the room {name}")

    def read(self, number, line):
        left, colon, right = line.partition(":")
        words = left.split()
        if not colon or not words:
            sys.exit(f"{self.path}:{number}: ROOM: ROOM... is expected, not: {line}")
        if words[0] == "circle" and len(words) > 2 and right.strip():
            self.circles[frozenset(words[1:])] = number
        elif len(words) == 3 and words[1] == "->" and right.strip():
            self.files[words[0], words[2]] = number
        elif len(words) == 1 and words[0] not in self.arrows:
            self.arrows[words[0]] = right.split()
        else:
            sys.exit(f"{self.path}:{number}: neither a room, nor a file's arrow, nor a circle with its reason: {line}")

    def room_of(self, path):
        """The room that a file is in: its folder, or one above it whose name ends with a slash."""
        folder = os.path.dirname(path)
        if folder in self.arrows:
            return folder
        while folder:
            if folder + "/" in self.arrows:
                return folder + "/"
            folder = os.path.dirname(folder)
        return None

    def sees_everything(self, room):
        return "*" in self.arrows[room]

    def allows(self, file, room, target):
        if room == target or target in self.arrows[room]:
            return True
        if (file, target) in self.files:
            self.used.add((file, target))
            return True
        return self.sees_everything(room)


def spelling(path):
    for root in ROOTS:
        if path.startswith(root):
            return path[len(root) :]
    return path


def includes_of(path):
    """Each as (line, quote, name), in the file's order."""
    with open(path, encoding="utf-8") as source:
        for number, line in enumerate(source, 1):
            match = DIRECTIVE.match(line)
            if match and match[1] == "include" and match[2]:
                yield number, match[2], match[3]


class Tree:
    def __init__(self, files):
        self.files = files
        self.headers = {spelling(f): f for f in files if f.endswith(".h") and not f.startswith(HEADER_VARIANTS)}
        self.includes = {f: list(includes_of(f)) for f in files}

    def own(self, quote, name):
        """The header of this tree that an include means, or None."""
        path = self.headers.get(name)
        if quote == "<" and path and not path.startswith((PLATFORM, "client/include/")):
            return None
        return path

    def complaints_of_spelling(self):
        for file in self.files:
            for line, quote, name in self.includes[file]:
                path = self.headers.get(name)
                if quote == '"' and not path:
                    yield f'{file}:{line}: "{name}" is no header as it is spelled from the tree\'s root, or from src/'
                elif quote == '"' and path.startswith(PLATFORM):
                    yield f'{file}:{line}: "{name}" is the platform\'s and stands in angle brackets'
                elif quote == "<" and path and not path.startswith((PLATFORM, *INSTALLED_FOR.get(file.split("/")[0], ()))):
                    yield f"{file}:{line}: <{name}> is ours and stands in quotes"

    def arrows(self):
        """Each include of a header of this tree as (file, line, header)."""
        for file in self.files:
            for line, quote, name in self.includes[file]:
                header = self.own(quote, name)
                if header:
                    yield file, line, header

    def first_of_a_source(self):
        for file in self.files:
            if file.endswith(".cpp") and self.includes[file]:
                yield self.own(*self.includes[file][0][1:])


    def users(self):
        """The files that include a header, for each."""
        users = collections.defaultdict(list)
        for file, _, header in self.arrows():
            users[header].append(file)
        return users


def source_with(header, users):
    """A source that includes the header, itself or by way of others; None if there is none."""
    seen = [header]
    for file in seen:
        if file.endswith(".cpp"):
            return file
        seen += [user for user in users[file] if user not in seen]
    return None


def headers_to_compile(tree):
    users = tree.users()
    for header in sorted(set(tree.headers.values()) - set(tree.first_of_a_source())):
        yield header, source_with(header, users)


def wrong_arrows(tree, table):
    for file in tree.files:
        if not table.room_of(file):
            yield f"{file}: its folder has no line in {table.path}"
    for file, line, header in tree.arrows():
        room, target = table.room_of(file), table.room_of(header)
        if room and target and not table.allows(file, room, target):
            yield f"{file}:{line}: {room} may not include from {target} ({header})"


def unneeded_lines(tree, table):
    for header, source in headers_to_compile(tree):
        if not source:
            yield f"{header}: no source includes it"
    rooms = {table.room_of(file) for file in tree.files}
    for room in table.arrows:
        if room not in rooms:
            yield f"{table.path}: there is no room {room}"
    for entry, number in table.files.items():
        if entry not in table.used:
            yield f"{table.path}:{number}: no longer needed: {entry[0]} -> {entry[1]}"


def circles(graph):
    """The sets of nodes that reach each other (Tarjan's algorithm, by a stack of its own)."""
    order, low, on_path, path = {}, {}, set(), []
    for root in sorted(graph):
        if root in order:
            continue
        work = [(root, iter(sorted(graph[root])))]
        order[root] = low[root] = len(order)
        path.append(root)
        on_path.add(root)
        while work:
            node, successors = work[-1]
            for successor in successors:
                if successor not in order:
                    order[successor] = low[successor] = len(order)
                    path.append(successor)
                    on_path.add(successor)
                    work.append((successor, iter(sorted(graph.get(successor, ())))))
                    break
                if successor in on_path:
                    low[node] = min(low[node], order[successor])
            else:
                work.pop()
                if work:
                    low[work[-1][0]] = min(low[work[-1][0]], low[node])
                if low[node] == order[node]:
                    members = set()
                    while node not in members:
                        members.add(path.pop())
                    on_path -= members
                    if len(members) > 1:
                        yield frozenset(members)


def part_of(path):
    return os.path.splitext(path)[0]


def graph_of_parts(tree):
    graph = collections.defaultdict(set)
    for file, _, header in tree.arrows():
        graph[part_of(file)]
        if part_of(file) != part_of(header):
            graph[part_of(file)].add(part_of(header))
    return graph


def graph_of_rooms(table):
    return {
        room: {name for name in names if name != room}
        for room, names in table.arrows.items()
        if not table.sees_everything(room)
    }


def wrong_circles(tree, table):
    for members in circles(graph_of_rooms(table)):
        yield f"{table.path}: rooms that include each other: {' '.join(sorted(members))}"
    found = set()
    graph = graph_of_parts(tree)
    for members in circles(graph):
        found.add(members)
        if members not in table.circles:
            yield "parts that need each other: " + "; ".join(
                f"{part} -> {', '.join(sorted(graph[part] & members))}" for part in sorted(members)
            )
    for members, number in table.circles.items():
        if members not in found:
            yield f"{table.path}:{number}: no longer needed: circle {' '.join(sorted(members))}"


def main(arguments, files):
    tree = Tree(sorted(files))
    if arguments[0] == "--headers":
        for header, source in headers_to_compile(tree):
            print(header, source)
        return 0
    table = Table(arguments[0])
    complaints = [
        *tree.complaints_of_spelling(),
        *wrong_arrows(tree, table),
        *unneeded_lines(tree, table),
        *wrong_circles(tree, table),
    ]
    for complaint in complaints:
        print(complaint)
    arrows = sum(1 for _ in tree.arrows())
    print(f"{len(tree.files)} files, {arrows} includes of each other, {len(table.arrows)} rooms: {len(complaints)} wrong")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:], sys.stdin.read().split()))
