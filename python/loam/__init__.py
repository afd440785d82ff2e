"""Software tables that stand for the system-policy TCAM of a switch chip, driven by name.

    import loam

    with loam.Agent(root="/dev/shm/mine") as agent:
        table = agent.interface("Ipv4SystemPolicyTcamEntry").makeSwTable(0, None, False)
        handle = table.entryWrite(42, (42, bytes(128)), None)
        agent.settle()
        assert str(handle.entryState) == "entryApplied"

Every class of the library is here under its own name, made from what it says of itself: attributes
are properties, operations are methods, collections are mappings, sets and queues. `loam.classes()`
lists them and `help(loam.find("Ipv4SystemPolicyTcamEntrySwTable"))` tells what one has.

Keys are given as numbers. An entry is given as a pair of its key and the bytes behind the key, or as
the `Record` that an operation gave. A response handler is any callable; what it raises is reported by
`sys.unraisablehook`, since it can't pass through the library. Everything runs on one thread.
"""

from ._loam import (
    CorruptionDetected,
    Error,
    NoObject,
    NotAllowed,
    Object,
    PlatformError,
    ReadOnly,
    Record,
    Refused,
    UnknownAttribute,
    UnknownClass,
    WrongArguments,
    WrongValue,
)
from ._classes import classes, find, parse, record
from ._agent import Agent, PolicyRule, TableRecord, interface, policy

__all__ = [
    "Agent",
    "CorruptionDetected",
    "Error",
    "NoObject",
    "NotAllowed",
    "Object",
    "PlatformError",
    "PolicyRule",
    "ReadOnly",
    "Record",
    "Refused",
    "TableRecord",
    "UnknownAttribute",
    "UnknownClass",
    "WrongArguments",
    "WrongValue",
    "classes",
    "find",
    "interface",
    "parse",
    "policy",
    "record",
]
