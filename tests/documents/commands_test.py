# SPDX-License-Identifier: Apache-2.0
"""Commands in README, documents, manual pages and the programs' own help: each is run, or has a reason why not.

Usage: commands_test.py SOURCE-FOLDER PROGRAM...

There is no bus here, no reader and no server. So a command of navoctl must come as far as the bus, one of the key server
must find its files in order, and one of navo-card must look for its reader or list its card: what they do then is shown by other tests.
One of navo-trace reads small recordings, and ends when it serves them.
"""

import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

NO_BUS = {"DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/no/such/bus", "PATH": os.environ["PATH"], "LC_ALL": "C"}

# Programs whose commands are not run here, and why.
ELSEWHERE = {
    "script/": "build, test and measure everything; continuous integration starts with them",
    "busctl": "against a service, by tests/e2e/BusToolsTest.cpp",
    "gdbus": "against a service, by tests/e2e/BusToolsTest.cpp",
    "cmake": "with an installed tree, by tests/e2e/InstalledTest.cpp",
    "opensc-tool": "with a card in a reader, by tests/e2e/CardToolsTest.cpp",
    "setpriv": "wants accounts that this machine has not; the like by tests/system/BusAccountsTest.cpp",
    "systemctl": "would stop the machine's own service",
    "systemd-tmpfiles": "makes folders of the system; read by tests/system/UnitTest.cpp",
    "sudo": "installs packages and starts services, by packaging/debian/tests in a system that is thrown away",
    "dlogutil": "a device's own",
    "rm": "would remove what the machine's own service keeps",
    "mkdir": "in a folder of its own, by tests/support/world/World.cpp, for tests/e2e/InHouseLibrariesTest.cpp",
}


def words_of_blocks(text):
    """Lines of fenced and indented blocks of Markdown, continued lines as one."""
    fenced = None
    for line in text.replace("\\\n", " ").split("\n"):
        if line.startswith("```"):
            fenced = line[3:].strip() if fenced is None else None
        elif fenced in ("", "sh", "bash") or (fenced is None and re.match(r" {4}\S", line)):
            yield line.strip()


def words_of_page(text):
    """Lines that a manual page shows as they are."""
    for block in re.findall(r"^\.nf\n(.*?)^\.fi$", text, re.S | re.M):
        for line in block.replace("\\e\n", " ").replace("\\-", "-").split("\n"):
            yield line.strip()


def words_of_help(program, arguments=()):
    """Examples of a program's help, and of its commands' help."""
    text = subprocess.run([program, *arguments, "--help"], capture_output=True, text=True, check=True, env=NO_BUS).stdout
    examples = text.partition("Example")[2]
    yield from (line.strip() for line in examples.split("\n") if line.startswith("  "))
    commands = re.search(r"^Subcommands:\n(.*?)(\n\n|\Z)", text, re.S | re.M)
    for command in re.findall(r"^  (\S+)", commands.group(1), re.M) if commands else ():
        yield from words_of_help(program, (*arguments, command))


EXCHANGE = '{"time":"2026-03-01T12:00:00.000Z","event":"exchange","command":"80CA006600","response":"%s","code":0}\n'
MESSAGE = '{"time":"2026-03-01T12:00:00.000Z","msgCd":"INITIALIZEAPDU","request":"","status":503,"answer":""}\n'
RECORDED = {
    "device.jsonl": EXCHANGE % "9000", "good.jsonl": EXCHANGE % "9000", "bad.jsonl": EXCHANGE % "6A88",
    "record.jsonl": MESSAGE, "device.log": "D/NavoAgent( 9): cmd: 65\n",
    "field.log": "03-01 12:00:00.250+0900 9 9 D NavoAgent: cmd: 65\n",
}


class Desk:
    """A folder in which the commands find what they name."""

    def __init__(self, source, programs, folder):
        self.programs = {pathlib.Path(program).name: program for program in programs}
        self.folder = folder
        self.source = source
        (folder / "keyserver").symlink_to(source / "keyserver")
        (folder / "navo-device.conf").write_text("", encoding="utf-8")
        (folder / "wallet.key").write_text("00\n", encoding="utf-8")
        with open(folder / "script.hex", "w", encoding="utf-8") as script:
            subprocess.run([self.programs["navo-ccm-script"]], input=b"00A4040000\n", stdout=script, check=True)
        # A card that was used, though it found no reader.
        subprocess.run(
            [self.programs["navo-card"], "--state-file", folder / "wallet.card", "--once", "--port", "1"],
            capture_output=True, check=False)
        for name, text in RECORDED.items():
            (folder / name).write_text(text, encoding="utf-8")
        (folder / "catalogue.json").symlink_to(source / "keyserver/catalogues/wallet.json")
        (folder / "root.pem").symlink_to(source / "device/certificates/platform-root.pem")

    def here(self, word):
        for place, other in (("/usr/share/navoagent", self.source / "keyserver"), ("/etc/", self.folder)):
            if word.startswith(place):
                return f"{other}/{word[len(place):].lstrip('/')}"
        return word

    def run(self, line):
        """What is wrong with the command; nothing when it is right."""
        if re.search(r"[|<]", line) or not line.startswith(("navo", "build/")):
            return self.outcome(["sh", "-c", line], {0, 3}, line)
        words = [self.here(word) for word in shlex.split(line)]
        name = pathlib.Path(words[0]).name
        words[0] = self.programs[name]
        wanted = {0, 1, 3}
        if name == "navo-keyserver":
            words.append("--check")
            wanted = {0}
        elif name == "navo-card" and "--list" in words:
            wanted = {0}
        elif name == "navo-card":
            words += ["--once", "--port", "1"]
            wanted = {1}
        elif name in ("navo-device", "navo-trace"):
            wanted = {1} if "diff" in words else {0}
        if "--serve" in words:
            return self.served(words, line)
        return self.outcome(words, wanted, line)

    def served(self, words, line):
        with subprocess.Popen(words, cwd=self.folder, env=NO_BUS, stdout=subprocess.PIPE, text=True) as program:
            said = program.stdout.readline()
            program.terminate()
        right = program.returncode == 0 and "http://127.0.0.1:" in said
        return "" if right else f"{line}: ends with {program.returncode}, and said {said}"

    def outcome(self, words, wanted, line):
        folders = {str(pathlib.Path(program).parent) for program in self.programs.values()}
        environment = {**NO_BUS, "PATH": ":".join([*folders, NO_BUS["PATH"]])}
        ended = subprocess.run(
            words, cwd=self.folder, env=environment, input="", capture_output=True, text=True, check=False)
        return "" if ended.returncode in wanted else f"{line}: ends with {ended.returncode}: {ended.stderr}{ended.stdout}"


def documents(source):
    for file in [*source.glob("*.md"), *source.glob("docs/*.md"), *source.glob("examples/*.md")]:
        if file.name != "CHANGELOG.md":
            yield from ((file.name, line) for line in words_of_blocks(file.read_text(encoding="utf-8")))
    for file in source.glob("docs/man/*.[1-8]"):
        yield from ((file.name, line) for line in words_of_page(file.read_text(encoding="utf-8")))


def main():
    source, programs = pathlib.Path(sys.argv[1]), sys.argv[2:]
    lines = list(documents(source))
    for program in programs[:-1]:  # the last has no model of its command line
        lines += [(f"{pathlib.Path(program).name} --help", line) for line in words_of_help(program)]
    wrong, left, count = [], set(), 0
    with tempfile.TemporaryDirectory() as folder:
        desk = Desk(source, programs, pathlib.Path(folder))
        for place, line in lines:
            first = re.match(r"(?:build/dev/bin/)?([\w./-]+)( |$)", line)
            name = first.group(1) if first else ""
            if name in desk.programs or name in ("printf", "openssl"):
                count += 1
                complaint = desk.run(line)
                wrong += [f"{place}: {complaint}"] if complaint else []
            elif name.startswith("script/"):
                left.add("script/")
                wrong += [] if os.access(source / name, os.X_OK) else [f"{place}: there is no {name}"]
            elif name in ELSEWHERE:
                left.add(name)
    wrong += [f"nothing begins with {name} any more" for name in ELSEWHERE.keys() - left]
    wrong += [f"only {count} commands were found"] if count < 40 else []
    print("\n".join(wrong) or f"{count} commands run")
    print("\n".join(f"not run here: {name}: {ELSEWHERE[name]}" for name in sorted(left)))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
