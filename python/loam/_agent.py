"""An agent: the tables' front doors, and the loop that moves what is written to the hardware side."""

import os
import time
from typing import NamedTuple

from . import _loam
from ._classes import find


class TableRecord(NamedTuple):
    """What a policy file says is to be written into one table."""

    tblId: int
    key: int
    fields: bytes


class PolicyRule(NamedTuple):
    """One acl-entry: its action, and the entry that depends on it."""

    action: TableRecord
    entry: TableRecord
    text: str


def policy(path):
    """The rules of a policy file, read whole or refused whole with file, place and reason."""
    return [
        PolicyRule(TableRecord(*action), TableRecord(*entry), text)
        for action, entry, text in _loam.policy(os.fspath(path))
    ]


class Agent:
    """The agent of this process. There is one at a time; close it, or use it in a `with` statement.

    root      folder of the shared memory; the user's own in /dev/shm when left out
    manager   name of the tables' tree below it
    local     keep everything in this process: nothing is shared, and nothing outlives it
    """

    _current = None

    def __init__(self, root=None, manager="LoamSystemAcl", local=False):
        if Agent._current is not None:
            raise _loam.Refused("This process has an agent already; close it first.")
        if root is not None:
            _loam.root_is(os.path.abspath(os.fspath(root)))
        self._manager = find("Orbis::EntityManager")(manager, local)
        self._tables = find("Asic::OrderedTableInterface")(self._manager)
        self._bell = None if local else _loam.HwBell(manager)
        self._group = None
        Agent._current = self

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def interface(self, name):
        """The front door of the table `name`, as in interface("Ipv4SystemPolicyTcamEntry")."""
        return self._entered(find(f"{name}Interface"))

    def _entered(self, cls):
        door = cls.getIntf(self._tables)
        if self._group is None:
            self._group = door.entryLog.groupInterface
        return door

    def interfaces(self):
        """The front doors of all tables, by the table's number within its group."""
        doors = {}
        for name in (described.name for described in _loam.all_classes()):
            cls = find(name)
            if name.endswith("Interface") and hasattr(cls, "getIntf"):
                door = self._entered(cls)
                doors[int(door.tableId) & 0xFFFF] = door
        return doors

    @property
    def group(self):
        """What the tables share: resolver, applied versions, sweep. Made with the first interface."""
        if self._group is None:
            raise _loam.Refused("There is no group before the first interface of a table is made.")
        return self._group

    def reconcile(self):
        """After all tables are made: empties what shared memory holds of units that nobody claimed."""
        self._tables.reconcileSwTables()

    def poll(self, budget=1024):
        """Commits what is ready, tells the hardware side, and hears how far it has come.

        Gives the number of operations committed.
        """
        committed = int(self.group.groupResolver.run(budget))
        if committed and self._bell is not None:
            self._bell.ring()
        self.group.pollTableVersions()
        return committed

    def pending(self):
        """Whether an operation waits, or the hardware side has yet to apply one."""
        return self.group.groupResolver.queued > 0 or any(
            shared.swTableStatus.pendingHwWrites for shared in self.group.swTableSet.values()
        )

    def settle(self, timeout=10.0):
        """Polls until nothing is pending. Raises TimeoutError after so many seconds."""
        deadline = time.monotonic() + timeout
        while self.pending():
            if self.poll() == 0:
                if time.monotonic() > deadline:
                    raise TimeoutError(
                        f"after {timeout} s, {self.group.groupResolver.queued} operations wait and "
                        "the hardware side has not applied all changes; loamctl tells what is stuck"
                    )
                time.sleep(0.0005)

    def close(self):
        """Gives up tables and shared memory. What was committed stays, unless the agent is local."""
        if Agent._current is self:
            Agent._current = None
            self._group = self._tables = None
            _loam.stop(self._manager)


def interface(name):
    """The front door of a table of this process's agent, which is made now if there is none."""
    return (Agent._current or Agent()).interface(name)
