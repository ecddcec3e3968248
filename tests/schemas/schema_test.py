# SPDX-License-Identifier: Apache-2.0
"""Schemas of the key server's files, the reader that the schemas describe, and their manual pages.

Usage: schema_test.py KEYSERVER-FOLDER NAVO-KEYSERVER. Status 77 where the library for schemas is not installed.
"""

import copy
import json
import pathlib
import re
import subprocess
import sys
import tempfile

try:
    from jsonschema import Draft202012Validator
except ImportError:
    print("python3-jsonschema is not installed")
    sys.exit(77)

KEYS = {"version": "01", "enc": "00" * 16, "mac": "00" * 16, "dek": "00" * 16}


def script(**changes):
    return {"serviceId": "s", "steps": [{"commands": ["00A4040000"]}], **changes}


def service(*actions, **changes):
    return {"serviceId": "s", "actions": list(actions) or [{"do": "list"}], **changes}


def catalogue(*actions, **changes):
    return {"cardKeys": [KEYS], "services": [service(*actions)], **changes}


GOOD_SCRIPTS = [
    script(),
    script(serviceId=["a", "b"], name="n", finalCode="00000001", eligibility=["10500006", "00000001"]),
    script(onRelayFailure={"do": "retry", "times": 2}, misbehaviours=[{"kind": "delay", "value": "5", "from": 2}]),
    script(steps=[{"commandSet": "/01zz"}, {"commands": [{"raw": "x"}, {"apdu": "80CA9F7F00", "expect": "61xx"}]}]),
]
BAD_SCRIPTS = [
    script(colour="red"),
    script(serviceId="two words"),
    script(serviceId=7),
    script(steps=[]),
    script(steps=[{}]),
    script(steps=[{"commands": ["00A4"]}]),
    script(steps=[{"commands": [{"apdu": "00A40400", "raw": "x"}]}]),
    script(steps=[{"commands": [{"apdu": "00A40400", "expect": "900"}]}]),
    script(finalCode="00000000"),
    script(failureCode="12"),
    script(onRelayFailure={"do": "sulk"}),
    script(misbehaviours=[{"kind": "sulk"}]),
    {"serviceId": "s"},
]
GOOD_CATALOGUES = [
    catalogue(),
    catalogue({"do": "delete", "aid": "A000000841", "dependents": True}, {"do": "read", "tag": ["66", "9F7F"]}),
    catalogue({"do": "install", "package": "A000000841", "module": "A000000841", "privileges": "00"}),
    catalogue({"do": "setStatus", "of": "card", "state": "7F"}, {"do": "putKey", "version": "01"}),
    catalogue(dryRun=True, comment="c", issuerDomain="A000000151000000"),
    catalogue(cardKeys=[{**KEYS, "enc": "00" * 24, "mac": "00" * 24, "dek": "00" * 24}]),
    {"cardKeys": [KEYS], "services": [service(security="mac+encryption+r-mac+r-encryption", seId=["9F7F*", "xx"])]},
]
BAD_CATALOGUES = [
    catalogue({"do": "fly"}),
    catalogue({"do": "delete"}),
    catalogue({"do": "list", "of": "everything"}),
    catalogue({"do": "install", "package": "A0", "module": "A000000841"}),
    catalogue({"do": "select", "aid": "A000000841", "colour": "red"}),
    catalogue(dryRun="yes"),
    catalogue(cardKeys=[]),
    catalogue(cardKeys=[{**KEYS, "enc": "00"}]),
    catalogue(cardKeys=[{**KEYS, "enc": "00" * 24}]),
    {"cardKeys": [KEYS], "services": [service(security="r-mac")]},
    {"cardKeys": [KEYS], "services": [service(commandsPerTurn=65)]},
    {"cardKeys": [KEYS], "services": []},
]


def accepted_by_program(program, option, document):
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder, "file.json")
        file.write_text(json.dumps(document), encoding="utf-8")
        return subprocess.run([program, "--check", option, str(file)], capture_output=True, check=False).returncode == 0


def mistakes(schema, program, option, good, bad):
    validator = Draft202012Validator(schema)
    for document, wanted in [(each, True) for each in good] + [(each, False) for each in bad]:
        if validator.is_valid(document) != wanted:
            yield f"the schema {'refuses' if wanted else 'takes'} {document}"
        if accepted_by_program(program, option, document) != wanted:
            yield f"the program {'refuses' if wanted else 'takes'} {document}"


def members(schema):
    """Names of all members that a schema knows."""
    if isinstance(schema, dict):
        yield from schema.get("properties", {})
    for part in schema.values() if isinstance(schema, dict) else schema if isinstance(schema, list) else ():
        yield from members(part)


def mistakes_of_page(text, schema, program, option):
    """The manual page names all members, and its example is right."""
    text = text.replace("\\-", "-").replace("\\&", "").replace("\\e", "\\")
    for member in set(members(schema)):
        if not re.search(rf"\b{re.escape(member)}\b" if member[0] != "$" else re.escape(member), text):
            yield f"the manual page says nothing of {member}"
    examples = [block for block in re.findall(r"^\.nf\n(.*?)^\.fi$", text, re.S | re.M) if block.startswith("{")]
    if not examples:
        yield "the manual page has no example"
    yield from mistakes(schema, program, option, [json.loads(example) for example in examples], [])


def main():
    folder, program = pathlib.Path(sys.argv[1]), sys.argv[2]
    found = []
    for name, option, good, bad, shipped in (
        ("script", "--script", GOOD_SCRIPTS, BAD_SCRIPTS, sorted(folder.glob("scripts/*.json"))),
        ("catalogue", "--catalogue", GOOD_CATALOGUES, BAD_CATALOGUES, sorted(folder.glob("catalogues/*.json"))),
    ):
        schema = json.loads((folder / f"schemas/{name}.schema.json").read_text(encoding="utf-8"))
        Draft202012Validator.check_schema(schema)
        assert shipped, f"no {name} is shipped"
        for file in shipped:
            document = json.loads(file.read_text(encoding="utf-8"))
            named = (file.parent / document["$schema"]).resolve()
            if named != (folder / f"schemas/{name}.schema.json").resolve():
                found.append(f"{file} names another schema")
            found += [f"{file}: {error.message}" for error in Draft202012Validator(schema).iter_errors(document)]
            broken = copy.deepcopy(document)
            broken["colour"] = "red"
            if Draft202012Validator(schema).is_valid(broken):
                found.append(f"{file} may have any member")
        found += mistakes(schema, program, option, good, bad)
        page = (folder.parent / f"docs/man/navo-{name}.5").read_text(encoding="utf-8")
        found += mistakes_of_page(page, schema, program, option)
    print("\n".join(found) or "schemas and program agree")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
