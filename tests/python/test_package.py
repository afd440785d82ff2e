"""Documentation, stubs, and the example that is an agent of its own."""

import ast
import os
import pathlib
import subprocess
import sys

import loam
from loam import _loam
from conftest import ENTRY

PROJECT = pathlib.Path(os.environ["LOAM_PROJECT"])
BIN = pathlib.Path(os.environ["LOAM_BIN"])


def stub_of(name):
    stubs = ast.parse((pathlib.Path(loam.__file__).parent / "types.pyi").read_text())
    return next(node for node in stubs.body if isinstance(node, ast.ClassDef) and node.name == name)


def test_docstrings_come_from_the_descriptions():
    table = loam.find(f"{ENTRY}SwTable")
    assert ENTRY in table.__doc__
    assert table.entryWrite.__doc__.startswith("entryWrite(key, entry, depEntryHandle, responseHandler?)")
    assert "number 800" in table.inMarkingState.__doc__


def test_the_stubs_have_every_attribute_of_every_class():
    for name in loam.classes():
        cls = loam.find(name)
        stub = stub_of(name.replace("::", "_"))
        declared = {node.name for node in stub.body if isinstance(node, ast.FunctionDef)}
        assert declared == {key for key in vars(cls) if not key.startswith("_")}


def test_a_type_checker_takes_the_stubs_and_finds_what_is_wrong(tmp_path):
    script = tmp_path / "script.py"
    script.write_text(
        f"""
from loam.types import {ENTRY}SwTable as Table

def right(table: Table) -> bool:
    handle = table.entryWrite(1, (1, b""), None, lambda handle: print(handle.entryState))
    table.inMarkingState = True
    return table.entryHas(1) and handle is not None

def wrong(table: Table) -> int:
    table.entryWright(1)
    table.entryHas([1])
    table.tableId = table.tableId
    return table.entryRead(1)
"""
    )
    package = pathlib.Path(loam.__file__).parent.parent
    checked = subprocess.run(
        ["/usr/bin/mypy", "--cache-dir", tmp_path / "cache", "-p", "loam", "-m", "script"],
        capture_output=True, text=True, timeout=120, check=False, cwd=tmp_path,
        env={"MYPYPATH": f"{package}:{tmp_path}", "PATH": "/usr/bin:/bin"},
    )
    assert [line.split(":")[:2] for line in checked.stdout.splitlines()[:-1]] == [
        ["script.py", str(number)] for number in (10, 11, 12, 13)
    ], checked.stdout + checked.stderr


def test_types_are_found_at_run_time():
    from loam import types

    assert getattr(types, f"{ENTRY}SwTable") is loam.find(f"{ENTRY}SwTable")
    assert getattr(types, f"{ENTRY}SwTable_EntryHandle") is loam.find(f"{ENTRY}SwTable::EntryHandle")


def test_a_second_name_is_an_attribute_too():
    for described in _loam.all_classes():
        for attribute in described.own_attributes:
            if attribute.other_name:
                assert hasattr(loam.find(described.name), attribute.other_name)
                return
    raise AssertionError("no class has an attribute with a second name")


def run_example(root, *arguments):
    return subprocess.run(
        [sys.executable, PROJECT / "examples/agent.py", "--root", root, *arguments],
        capture_output=True, text=True, timeout=60, check=False,
    )


def test_the_example_is_short():
    assert len((PROJECT / "examples/agent.py").read_text().splitlines()) <= 60


def test_the_example_programs_the_policy_and_finds_it_again(tmp_path):
    root, dump = tmp_path / "root", tmp_path / "dump"
    policy = PROJECT / "examples/policy/control-plane.json"
    hardware = subprocess.Popen(
        [BIN / "loam-hw", "--root", root, "--dump", dump], stdout=subprocess.DEVNULL
    )
    try:
        first = run_example(root, policy)
        assert (first.returncode, first.stderr) == (0, "")
        assert first.stdout.endswith(" 0 writes changed nothing, 0 refused\n")
        rules = int(first.stdout.split()[0])
        again = run_example(root, policy)
        assert again.stdout == f"{rules} rules, {2 * rules} writes changed nothing, 0 refused\n"
    finally:
        hardware.terminate()
        hardware.wait(10)
    compared = subprocess.run(
        [BIN / "loamctl", "--root", root, "compare", dump], capture_output=True, text=True, timeout=60, check=False
    )
    assert compared.stdout == f"{2 * rules} entries in 14 tables agree\n"


def test_the_example_refuses_a_bad_policy(tmp_path):
    bad = tmp_path / "bad.json"
    bad.write_text("{")
    refused = run_example(tmp_path / "root", bad)
    assert refused.returncode == 1
    assert f"{bad}: " in refused.stderr
