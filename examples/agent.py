#!/usr/bin/env python3
"""A whole agent in Python: programs a policy file and goes on when it is started again.

    python3 agent.py --root /dev/shm/mine examples/policy/control-plane.json

Start `loam-hw --root /dev/shm/mine` beside it. What an earlier run wrote is found again: identical
entries cost the hardware nothing, and those that the policy has lost are swept.
"""

import argparse
import sys

import loam


def write(table, record, dependency):
    # The policy's bytes without the padding behind the last.
    entry = record.key, record.fields[: len(table.entry(0).fields)]
    return table.entryWrite(record.key, entry, dependency)


def program(agent, policy, unit):
    doors = agent.interfaces()
    tables = {number: door.makeSwTable(unit, None, False) for number, door in doors.items()}
    agent.reconcile()
    handles = []
    for count, rule in enumerate(policy, 1):
        action = write(tables[rule.action.tblId], rule.action, None)
        handles.append(write(tables[rule.entry.tblId], rule.entry, action))  # behind its action
        if count % 4096 == 0:
            agent.poll()
    # Entries of a former run go before the actions that they depend on.
    for number in sorted(tables, key=lambda number: doors[number].tableName.endswith("Action")):
        if tables[number].inMarkingState:
            tables[number].sweep()
    agent.settle(timeout=60)
    refused = sum(str(handle.entryState) == "entryFailed" for handle in handles)
    unchanged = sum(table.stats.suppressedWriteCnt for table in tables.values())
    print(f"{len(policy)} rules, {unchanged} writes changed nothing, {refused} refused")
    return 3 if refused else 0


def main():
    options = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    options.add_argument("policy", help="an OpenConfig ACL file")
    options.add_argument("--root", required=True, help="folder of the shared memory")
    options.add_argument("--unit", type=int, default=0, help="chip unit; 0 unless given")
    given = options.parse_args()
    try:
        policy = loam.policy(given.policy)
        with loam.Agent(root=given.root) as agent:
            return program(agent, policy, given.unit)
    except (loam.Error, TimeoutError) as error:
        sys.exit(f"agent.py: {error}")


if __name__ == "__main__":
    sys.exit(main())
