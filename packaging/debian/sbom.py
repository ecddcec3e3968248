#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Lays into each binary package a bill of materials (SPDX 2.3): its files, the packages that it needs, and whose headers
its programs were compiled from, by what the compiler noted of each object. To be run when a package is whole but for it."""

import datetime
import hashlib
import json
import os
import re
import subprocess
import sys
from pathlib import Path

LICENCE = "Apache-2.0"


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def fields(text):
    """The fields of one stanza, each on one line."""
    joined = re.sub(r"\n[ \t]+", " ", text)
    return dict(line.split(": ", 1) for line in joined.splitlines() if ": " in line)


def identifier(kind, name):
    return f"SPDXRef-{kind}-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


class Objects:
    """What the build knows of its programs: the objects of each, and the headers of each object."""

    def __init__(self, folder):
        self.folder = folder
        self.headers = {}
        self.targets = {}
        self.packages = {}
        if folder is None:
            return
        for target in run("ninja", "-C", folder, "-t", "targets", "all").splitlines():
            name = target.partition(":")[0]
            self.targets.setdefault(Path(name).name, name)
        current = None
        for line in run("ninja", "-C", folder, "-t", "deps").splitlines():
            if line.startswith("    "):
                if line.strip().startswith("/usr/"):
                    self.headers[current].add(os.path.normpath(line.strip()))
            elif ":" in line:
                current = line.partition(":")[0]
                self.headers[current] = set()

    def packages_behind(self, file):
        """Names of the packages whose headers went into what was installed as this file."""
        target = self.targets.get(file.name)
        if target is None:
            return set()
        inputs = run("ninja", "-C", self.folder, "-t", "inputs", target).splitlines()
        headers = set().union(*(self.headers.get(name, set()) for name in inputs))
        owners = self.owners()
        return {owners[header] for header in headers if header in owners}

    def owners(self):
        """The package of each header, by the name that the compiler knows or by the file behind it."""
        if not self.packages:
            headers = set().union(*self.headers.values())
            names = {name: header for header in headers for name in (header, os.path.realpath(header))}
            # It ends with 1 when only some of them are known.
            found = subprocess.run(
                ["dpkg-query", "--search", *sorted(names)], check=False, capture_output=True, text=True).stdout
            for line in found.splitlines():
                packages, _, name = line.rpartition(": ")
                if name in names:
                    self.packages[names[name]] = packages.partition(",")[0].partition(":")[0]
            for header in sorted(headers - self.packages.keys()):
                print(f"bill of materials: no package has {header}", file=sys.stderr)
        return self.packages


def needed(control):
    """Packages of the fields Depends and Pre-Depends, each with what is said of its version."""
    for field in ("Pre-Depends", "Depends"):
        for alternative in filter(None, re.split(r"\s*,\s*", control.get(field, ""))):
            first = alternative.split("|")[0].strip()
            name, _, bounds = first.partition(" ")
            yield name, bounds.strip("()") or "NOASSERTION"


def package_entry(kind, name, version):
    return {
        "SPDXID": identifier(kind, name),
        "name": name,
        "versionInfo": version,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION",
        "copyrightText": "NOASSERTION",
    }


def file_entry(file, root):
    data = file.read_bytes()
    return {
        "SPDXID": identifier("File", str(file.relative_to(root))),
        "fileName": "./" + str(file.relative_to(root)),
        "checksums": [
            {"algorithm": "SHA1", "checksumValue": hashlib.sha1(data).hexdigest()},
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(data).hexdigest()},
        ],
        "licenseConcluded": LICENCE,
        "copyrightText": "NOASSERTION",
    }


def installed_version(name):
    return run("dpkg-query", "--show", "--showformat=${Version}", name)


def bill(root, control, objects):
    name = control["Package"]
    files = sorted(f for f in root.rglob("*") if f.is_file() and not f.is_symlink() and root / "DEBIAN" not in f.parents)
    entries = [file_entry(file, root) for file in files]
    sums = sorted(entry["checksums"][0]["checksumValue"] for entry in entries)
    main = package_entry("Package", name, control["Version"]) | {
        "filesAnalyzed": True,
        "packageVerificationCode": {"packageVerificationCodeValue": hashlib.sha1("".join(sums).encode()).hexdigest()},
        "licenseConcluded": LICENCE,
        "licenseDeclared": LICENCE,
        "supplier": "Organization: NavoAgent maintainers",
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": f"pkg:deb/{name}@{control['Version']}?arch={control['Architecture']}",
        }],
    }
    depends = [package_entry("Needs", *pair) for pair in sorted(set(needed(control)))]
    behind = sorted(set().union(*(objects.packages_behind(file) for file in files)))
    if behind:
        behind.append("g++")
    built = [package_entry("Built", other, installed_version(other)) for other in behind]
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", main["SPDXID"])]
    relations += [(main["SPDXID"], "CONTAINS", entry["SPDXID"]) for entry in entries]
    relations += [(main["SPDXID"], "DEPENDS_ON", entry["SPDXID"]) for entry in depends]
    relations += [
        (entry["SPDXID"], "BUILD_TOOL_OF" if entry["name"] == "g++" else "BUILD_DEPENDENCY_OF", main["SPDXID"])
        for entry in built
    ]
    moment = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{name}-{control['Version']}",
        "documentNamespace": f"urn:navoagent:{name}:{control['Version']}:{control['Architecture']}",
        "creationInfo": {
            "created": moment.strftime("%Y-%m-%dT%H:%M:%SZ"),
            "creators": ["Tool: navoagent-sbom", "Organization: NavoAgent maintainers"],
        },
        "packages": [main, *depends, *built],
        "files": entries,
        "relationships": [
            {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
            for one, kind, other in relations
        ],
    }


def main():
    folders = sorted(Path().glob("obj-*"))
    objects = Objects(folders[0] if folders else None)
    for name in run("dh_listpackages").split():
        control_file = Path("debian", name, "DEBIAN", "control")
        if not control_file.exists():
            continue
        place = Path("debian", name, "usr/share/doc", name, "sbom.spdx.json")
        document = bill(Path("debian", name), fields(control_file.read_text()), objects)
        place.write_text(json.dumps(document, indent=1, ensure_ascii=False) + "\n")
        place.chmod(0o644)


if __name__ == "__main__":
    main()
