# SPDX-License-Identifier: Apache-2.0
"""The schema of a software card's state file, and the card that reads it.

Usage: card_test.py SCHEMA STATE-FILE NAVO-CARD. Status 77 where the library for schemas is not installed.
"""

import copy
import json
import pathlib
import subprocess
import sys
import tempfile

try:
    from jsonschema import Draft202012Validator
except ImportError:
    print("python3-jsonschema is not installed")
    sys.exit(77)

LEFT_OUT = object()


def changed(document, *path, to=LEFT_OUT):
    """A copy in which one member has another value, or is missing."""
    result = copy.deepcopy(document)
    at = result
    for step in path[:-1]:
        at = at[step]
    if to is LEFT_OUT:
        del at[path[-1]]
    else:
        at[path[-1]] = to
    return result


def good(card):
    domain = ("applications", 0)
    yield card
    yield changed(card, "state", to="7f")
    yield changed(card, "data", to=[])
    yield changed(card, *domain, "counters", to=[{"name": "transactions", "value": 7}])
    yield changed(card, "loadFiles", 1, "size", to=4294967295)
    yield changed(card, "keySets", 0, "keys", 0, to={
        **card["keySets"][0]["keys"][0], "usage": "18", "access": "00"})


def bad(card):
    for member in card:
        yield changed(card, member)
    for member in card["applications"][0]:
        yield changed(card, "applications", 0, member)
    key = ("keySets", 0, "keys", 0)
    yield changed(card, "colour", to="red")
    yield changed(card, "applications", 0, "colour", to="red")
    yield changed(card, "format", to="software-card-4")
    yield changed(card, "state", to="05")
    yield changed(card, "issuerDomain", to="A0000001")
    yield changed(card, "confirmations", to=65536)
    yield changed(card, "failedAuthentications", to=-1)
    yield changed(card, "keySets", to=[])
    yield changed(card, "keySets", 0, "version", to=128)
    yield changed(card, "keySets", 0, "sequenceCounter", to="0")
    yield changed(card, *key, "identifier", to=128)
    yield changed(card, *key, "components", 0, "value", to="4")
    yield changed(card, *key, "usage", to="18")
    yield changed(card, "loadFiles", 0, "version")
    yield changed(card, "applications", 0, "privileges", to="80")
    yield changed(card, "applications", 2, "memory", "quota", to=-1)
    yield changed(card, "applications", 0, "counters", to=[{"name": "A b", "value": 7}])
    yield changed(card, "data", 0, "tag", to="42")
    yield changed(card, "applications", 2, "securityDomain", to=card["applications"][0]["securityDomain"])


def accepted_by(program, document):
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder, "card")
        file.write_text(json.dumps(document), encoding="utf-8")
        file.chmod(0o600)
        return subprocess.run([program, "--list", "--state-file", file], capture_output=True, check=False).returncode == 0


def mistakes(validator, program, documents, wanted):
    for document in documents:
        for who, accepts in (("schema", validator.is_valid(document)), ("card", accepted_by(program, document))):
            if accepts != wanted:
                yield f"the {who} {'refuses' if wanted else 'takes'} {json.dumps(document)}"


def main():
    schema = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    Draft202012Validator.check_schema(schema)
    card = json.loads(pathlib.Path(sys.argv[2]).read_text(encoding="utf-8"))
    validator = Draft202012Validator(schema)
    found = [*mistakes(validator, sys.argv[3], good(card), True), *mistakes(validator, sys.argv[3], bad(card), False)]
    print("\n".join(found) or "schema and card agree")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
