# SPDX-License-Identifier: Apache-2.0
"""Builds the Python module's wheel and looks into it: wheel_test.py FOLDER-OF-THE-MODULE VERSION."""

import importlib
import os
import pathlib
import shutil
import sys
import tempfile
import zipfile


def backend():
    """What pyproject.toml names; it needs nothing but itself, so no network."""
    try:
        importlib.import_module("wheel")
        return importlib.import_module("setuptools.build_meta")
    except ImportError as error:
        print(f"skipped: there is no {error.name}")
        sys.exit(77)


def build(source, folder):
    """The wheel, from a copy: building leaves files beside the sources."""
    copy = folder / "python"
    shutil.copytree(source, copy, ignore=shutil.ignore_patterns("__pycache__", "build", "*.egg-info"))
    os.chdir(copy)
    return folder / backend().build_wheel(str(folder))


def modules_of(source):
    return {f"navo/{file.name}" for file in (source / "navo").iterdir() if file.suffix == ".py" or file.name == "py.typed"}


def complaints(wheel, source, version):
    if wheel.name != f"navo-{version}-py3-none-any.whl":
        yield f"the wheel's name is {wheel.name}"
    with zipfile.ZipFile(wheel) as archive:
        lacking = modules_of(source) - set(archive.namelist())
        metadata = archive.read(f"navo-{version}.dist-info/METADATA").decode()
    if lacking:
        yield f"it lacks {sorted(lacking)}"
    if "Requires-Dist: PyGObject" not in metadata:
        yield "it does not say that it needs PyGObject"
    text = (source / "navo" / "__init__.py").read_text()
    if f'__version__ = "{version}"' not in text:
        yield "the module has another version"


def main():
    source, version = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]
    backend()
    with tempfile.TemporaryDirectory() as folder:
        found = list(complaints(build(source, pathlib.Path(folder)), source, version))
        os.chdir("/")
    for complaint in found:
        print(complaint)
    sys.exit(1 if found else 0)


main()
