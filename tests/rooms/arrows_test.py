# SPDX-License-Identifier: Apache-2.0
"""Plants defects in a small tree and expects arrows.py to see each of them."""

import contextlib
import io
import os
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import arrows

TABLE = """
src/common:
src/app: src/common
src/app/jobs: src/app src/common
src/app/tizen: src/app device/include/
src/app/Agent.cpp -> src/app/jobs: the dispatch
device/include/:
device: device/include/
client/include/:
tests/: *
circle src/app/Main src/app/Listener: a reason
"""

TREE = {
    "src/common/Text.h": "",
    "src/app/Agent.h": '#include "common/Text.h"\n',
    "src/app/Agent.cpp": '#include "app/Agent.h"\n#include "app/jobs/Job.h"\n',
    "src/app/Main.h": "",
    "src/app/Main.cpp": '#include "app/Main.h"\n#include "app/Listener.h"\n',
    "src/app/Listener.h": "",
    "src/app/Listener.cpp": '#include "app/Listener.h"\n#include "app/Main.h"\n',
    "src/app/jobs/Job.h": '#include "common/Text.h"\n',
    "src/app/tizen/Port.cpp": "#include <nfc.h>\n",
    "device/include/nfc.h": "",
    "device/Gate.h": "#include <nfc.h>\n",
    "client/include/navo/Client.h": "",
    "tests/Test.cpp": '#include "app/jobs/Job.h"\n#include "device/Gate.h"\n#include "navo/Client.h"\n',
}


class Arrows(unittest.TestCase):
    def run_on(self, changes=None, table=TABLE, arguments=("table",)):
        """Exit status and output for the tree with some files of another text, or with none (None)."""
        tree = {**TREE, **(changes or {})}
        tree = {path: text for path, text in tree.items() if text is not None}
        with tempfile.TemporaryDirectory() as folder:
            for path, text in {**tree, "table": table}.items():
                place = os.path.join(folder, path)
                os.makedirs(os.path.dirname(place), exist_ok=True)
                with open(place, "w", encoding="utf-8") as file:
                    file.write(text)
            output = io.StringIO()
            with contextlib.chdir(folder), contextlib.redirect_stdout(output):
                try:
                    status = arrows.main(arguments, tree)
                except SystemExit as end:
                    status = 1
                    print(end)
        return status, output.getvalue()

    def expect(self, words, changes=None, table=TABLE):
        status, output = self.run_on(changes, table)
        self.assertIn(words, output)
        self.assertEqual(status, 1)

    def test_a_tree_in_order_passes(self):
        status, output = self.run_on()
        self.assertEqual((status, output), (0, "13 files, 13 includes of each other, 8 rooms: 0 wrong\n"))

    def test_an_arrow_that_climbs_is_seen(self):
        self.expect(
            "src/common/Text.h:2: src/common may not include from src/app (src/app/Agent.h)",
            {"src/common/Text.h": '\n#include "app/Agent.h"\n'},
        )

    def test_the_arrow_of_one_file_is_not_its_neighbours(self):
        self.expect(
            "src/app/Main.h:1: src/app may not include from src/app/jobs (src/app/jobs/Job.h)",
            {"src/app/Main.h": '#include "app/jobs/Job.h"\n'},
        )

    def test_a_platform_header_is_seen_in_a_room_that_has_no_platform(self):
        self.expect("src/app/Agent.h:1: src/app may not include from device/include/", {"src/app/Agent.h": "#include <nfc.h>\n"})

    def test_no_room_may_include_from_the_tests(self):
        self.expect(
            "device/Gate.h:1: device may not include from tests/",
            {"device/Gate.h": '#include "tests/Help.h"\n', "tests/Help.h": ""},
        )

    def test_a_folder_without_a_line_is_seen(self):
        self.expect("device/new/Part.h: its folder has no line in table", {"device/new/Part.h": ""})

    def test_a_line_without_a_folder_is_seen(self):
        self.expect("table: there is no room src/misspelt", table=TABLE + "src/misspelt: src/common\n")

    def test_an_arrow_to_a_room_without_a_line_is_seen(self):
        self.expect("table: no line for the room src/misspelt", table=TABLE + "src/more: src/misspelt\n")

    def test_another_spelling_is_seen(self):
        for text in ('#include "src/common/Text.h"\n', '#include "../common/Text.h"\n', '#include "Agent.h"\n'):
            with self.subTest(text):
                self.expect("src/app/Agent.cpp:1: ", {"src/app/Agent.cpp": text + '#include "app/jobs/Job.h"\n'})
        self.expect("tests/Test.cpp:1: ", {"tests/Test.cpp": '#include "client/include/navo/Client.h"\n'})

    def test_the_kind_of_brackets_is_held(self):
        self.expect("stands in angle brackets", {"src/app/tizen/Port.cpp": '#include "nfc.h"\n'})
        self.expect("stands in quotes", {"tests/Test.cpp": "#include <navo/Client.h>\n"})

    def test_a_circle_of_headers_is_seen(self):
        self.expect(
            "parts that need each other: src/common/Other -> src/common/Text; src/common/Text -> src/common/Other",
            {"src/common/Text.h": '#include "common/Other.h"\n', "src/common/Other.h": '#include "common/Text.h"\n'},
        )

    def test_a_circle_by_way_of_a_source_is_seen(self):
        self.expect(
            "src/app/Agent -> src/app/jobs/Job; src/app/jobs/Job -> src/app/Agent",
            {"src/app/jobs/Job.cpp": '#include "app/jobs/Job.h"\n#include "app/Agent.h"\n'},
        )

    def test_a_circle_that_grew_beyond_its_exception_is_seen(self):
        self.expect(
            "parts that need each other: src/app/Agent",
            {"src/app/Agent.h": '#include "app/Main.h"\n', "src/app/Main.h": '#include "app/Agent.h"\n'},
        )

    def test_a_circle_of_rooms_is_seen_in_the_table(self):
        self.expect(
            "table: rooms that include each other: src/app src/common",
            table=TABLE.replace("src/common:", "src/common: src/app"),
        )

    def test_what_the_table_no_longer_needs_is_seen(self):
        self.expect("device/Other.h: no source includes it", {"device/Other.h": ""})
        self.expect("no longer needed: src/app/Agent.cpp -> src/app/jobs", {"src/app/Agent.cpp": '#include "app/Agent.h"\n'})
        self.expect("no longer needed: circle src/app/Listener src/app/Main", {"src/app/Main.cpp": '#include "app/Main.h"\n'})

    def test_a_line_that_makes_no_sense_is_seen(self):
        self.expect("table:12: ", table=TABLE + "circle src/app/Main src/app/Agent:\n")
        self.expect("table:12: ", table=TABLE + "src/app: src/common\n")
        self.expect("table:12: ", table=TABLE + "src/app/Agent.cpp -> src/app/jobs\n")

    def test_headers_that_no_source_includes_first_are_listed(self):
        status, output = self.run_on(arguments=("--headers",))
        self.assertEqual(status, 0)
        self.assertEqual(
            output.splitlines(),
            ["client/include/navo/Client.h tests/Test.cpp", "device/Gate.h tests/Test.cpp", "src/common/Text.h src/app/Agent.cpp"],
        )


if __name__ == "__main__":
    unittest.main()
