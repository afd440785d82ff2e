"""Writes the type stubs of loam.types, from what they say of themselves.

    python3 -m loam.stubs FILE
"""

import sys

from . import _loam
from ._classes import python_name

HEADER = '''"""Every class of the library with its attributes and operations. Written by loam.stubs."""

from collections.abc import Callable
from typing import Any

from . import Object, Record
from ._views import Collection, Queue, Set
'''

# Of Ombra::ValueKind.
NOTHING, BOOLEAN, UNSIGNED, SIGNED, STRING, RECORD, OPTIONAL, LIST, POINTER, HANDLER = range(10)
TAKEN = {
    BOOLEAN: "bool",
    UNSIGNED: "int | Record",
    SIGNED: "int | Record",
    STRING: "str",
    RECORD: "Record | int | str | tuple[int, bytes]",
    OPTIONAL: "Any",
    LIST: "list[Any]",
    POINTER: "Object | None",
    HANDLER: "Callable[[Any], object] | None",
}
GIVEN = {
    NOTHING: "None",
    BOOLEAN: "bool",
    UNSIGNED: "int",
    SIGNED: "int",
    STRING: "str",
    RECORD: "Record",
    OPTIONAL: "Any",
    LIST: "list[Any]",
    HANDLER: "None",
}
VIEWS = {"collection": "Collection", "set": "Set", "queue": "Queue"}


class Writer:
    def __init__(self):
        self.names = {described.name for described in _loam.all_classes()}
        self.lines = [HEADER]

    def given(self, attribute):
        if attribute.value_kind == POINTER:
            name = attribute.type
            known = next((each for each in self.names if each == name or each.endswith(f"::{name}")), None)
            return f"{python_name(known)} | None" if known else "Any"
        return GIVEN[attribute.value_kind]

    def doc(self, text):
        return f'        """{text}"""' if text else "        ..."

    def operation(self, attribute):
        arguments = ["cls" if attribute.of_class else "self"]
        for each in attribute.arguments:
            default = " = ..." if each.optional else ""
            arguments.append(f"{each.name}: {TAKEN[each.kind]}{default}")
        if attribute.of_class:
            self.lines.append("    @classmethod")
        self.lines.append(
            f"    def {attribute.name}({', '.join(arguments)}, /) -> {self.given(attribute)}:"
        )
        self.lines.append(self.doc(attribute.doc))

    def value(self, attribute, name):
        given = VIEWS.get(attribute.kind) or self.given(attribute)
        self.lines += ["    @property", f"    def {name}(self) -> {given}:"]
        self.lines.append(self.doc(attribute.doc))
        if not attribute.read_only and attribute.kind not in VIEWS:
            self.lines.append(f"    @{name}.setter")
            self.lines.append(f"    def {name}(self, value: {TAKEN[attribute.value_kind]}) -> None: ...")

    def cls(self, described):
        base = python_name(described.base.name) if described.base else "Object"
        self.lines.append(f"\nclass {python_name(described.name)}({base}):")
        self.lines.append(f'    """{described.doc}"""')
        for attribute in described.own_attributes:
            if attribute.kind == "operation":
                self.operation(attribute)
            else:
                for name in filter(None, (attribute.name, attribute.other_name)):
                    self.value(attribute, name)

    def text(self):
        for described in _loam.all_classes():
            self.cls(described)
        return "\n".join(self.lines) + "\n"


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with open(sys.argv[1], "w", encoding="utf-8") as stubs:
        stubs.write(Writer().text())
