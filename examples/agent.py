#!/usr/bin/env python3
"""A whole agent in Python: programs a policy file and goes on when it is started again.

    python3 agent.py --root /dev/shm/mine examples/policy/control-plane.json

Start `loam-hw --root /dev/shm/mine` beside it. What an earlier run wrote is found again: identical
entries cost the hardware nothing, and those that the policy has lost are swept.
"""

import argparse
import sys

import loam


def entry_of(table, record):
    """What a table takes: the policy's bytes without the padding behind the last."""
    return record.key, record.fields[: len(table.entry(0).fields)]


def program(agent, policy, unit):
    doors = agent.interfaces()
    tables = {number: door.makeSwTable(unit, None, False) for number, door in doors.items()}
    agent.reconcile()
    handles = []
    refused = []
    for rule in policy:
        actions, entries = tables[rule.action.tblId], tables[rule.entry.tblId]
        action = actions.entryWrite(rule.action.key, entry_of(actions, rule.action), None)
        entry = entries.entryWrite(
            rule.entry.key,
            entry_of(entries, rule.entry),
            action,  # the entry is committed behind its action
            lambda handle, rule=rule: refused.append(rule) if str(handle.entryState) == "entryFailed" else None,
        )
        handles.append(entry)
        if len(handles) % 4096 == 0:
            agent.poll()
    # Entries of a former run go before the actions that they depend on.
    for number in sorted(tables, key=lambda number: doors[number].tableName.endswith("Action")):
        if tables[number].inMarkingState:
            tables[number].sweep()
    agent.settle(timeout=60)
    return handles, refused, tables


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("policy")
    options.add_argument("--root", required=True)
    options.add_argument("--unit", type=int, default=0)
    given = options.parse_args()
    try:
        policy = loam.policy(given.policy)
        with loam.Agent(root=given.root) as agent:
            handles, refused, tables = program(agent, policy, given.unit)
            suppressed = sum(table.stats.suppressedWriteCnt for table in tables.values())
            print(f"{len(handles)} rules, {suppressed} writes changed nothing, {len(refused)} refused")
    except (loam.Error, TimeoutError) as error:
        sys.exit(f"agent.py: {error}")
    return 3 if refused else 0


if __name__ == "__main__":
    sys.exit(main())
