"""Operations of a table, its collections as mappings, sets and queues, handlers and snapshots."""

import sys

import loam
import pytest
from conftest import ACTION, ENTRY, entry_of


def test_what_is_written_is_read_at_once(table):
    key, fields = entry_of(table, 42, fill=7)
    handle = table.entryWrite(42, (key, fields), None)
    assert table.entryHas(42)
    assert table.entryRead(42).fields == fields
    assert table.entrys() == 1
    assert str(handle.entryState) == "entryPending"
    assert handle.key == 42


def test_a_write_goes_from_pending_to_the_log(agent, table):
    handle = table.entryWrite(1, entry_of(table, 1), None)
    assert list(table.transientAddEntry) == [1]
    assert agent.poll() == 1
    assert str(handle.entryState) == "entryInLog"
    assert not table.transientAddEntry
    assert len(table.entryHandleInLog) == 1
    assert table.entryHandleInLog.front == handle == table.entryHandleInLog.back
    assert list(table.entryHandleInLog) == [handle]


def test_the_hardware_side_ends_an_operation(agent, table):
    answers = []
    handle = table.entryWrite(1, entry_of(table, 1), None, answers.append)
    agent.poll()
    assert answers == []
    table.tableStatusVersion(1)
    assert str(handle.entryState) == "entryApplied"
    assert answers == [handle]


def test_an_entry_waits_for_its_action(agent, table):
    actions = agent.interface(ACTION).makeSwTable(0, None, True)
    action = actions.entryWrite(5, entry_of(actions, 5), None)
    entry = table.entryWrite(5, entry_of(table, 5), action)
    agent.poll()
    assert str(action.entryState) == str(entry.entryState) == "entryInLog"


def test_a_handler_may_write_into_the_table(agent, table):
    table.entryWrite(1, entry_of(table, 1), None, lambda _: table.entryWrite(2, entry_of(table, 2), None))
    agent.poll()
    table.tableStatusVersion(1)
    assert table.entryHas(2)


def test_what_a_handler_raises_is_reported_and_harms_nothing(agent, table, monkeypatch):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", lambda raised: reported.append(raised.exc_value))

    def fail(_):
        raise KeyError("from the handler")

    handle = table.entryWrite(1, entry_of(table, 1), None, fail)
    agent.poll()
    table.tableStatusVersion(1)
    assert [type(each) for each in reported] == [KeyError]
    assert str(handle.entryState) == "entryApplied"


def test_a_handler_is_let_go_after_its_call(agent, table):
    class Handler:
        def __call__(self, handle):
            pass

    handler = Handler()
    before = sys.getrefcount(handler)
    table.entryWrite(1, entry_of(table, 1), None, handler)
    agent.poll()
    table.tableStatusVersion(1)
    assert sys.getrefcount(handler) == before


def test_a_remove_hides_the_entry(agent, table):
    table.entryWrite(1, entry_of(table, 1), None)
    agent.poll()
    table.entryRemove(1, None)
    assert not table.entryHas(1)
    assert 1 in table.transientRemoveEntry


def test_remove_all_empties_the_table(agent, table):
    for key in range(5):
        table.entryWrite(key, entry_of(table, key), None)
    agent.poll()
    table.entryRemoveAll(None)
    assert table.entrys() == 0


def test_the_snapshot_is_a_mapping(agent, table):
    for key in (3, 1, 2):
        table.entryWrite(key, entry_of(table, key, fill=key), None)
    agent.poll()
    table.entryWrite(4, entry_of(table, 4, fill=4), None)
    entries = table.getTableEntries_py().tableEntries
    assert sorted(int(key) for key in entries) == [1, 2, 3, 4]
    assert {int(key): entry.fields[0] for key, entry in entries.items()} == {1: 1, 2: 2, 3: 3, 4: 4}


def test_a_collection_iterates_while_it_changes(table):
    for key in range(50):
        table.entryWrite(key, entry_of(table, key), None)
    seen = []
    for key, _ in table.transientAddEntry.items():
        seen.append(int(key))
        table.entryWrite(1000 + int(key), entry_of(table, 1000 + int(key)), None)
        if len(seen) > 200:
            break
    assert len(seen) == len(set(seen))
    assert set(range(50)) <= set(seen)


def test_items_start_at_a_key(table):
    for key in range(10):
        table.entryWrite(key, entry_of(table, key), None)
    order = [int(key) for key in table.transientAddEntry]
    assert [int(key) for key, _ in table.transientAddEntry.items_from(order[4])] == order[4:]
    assert list(table.transientAddEntry.items_from(4711)) == []


def test_a_set_takes_and_loses_keys(table):
    table.markedKey.add(7)
    assert 7 in table.markedKey and 8 not in table.markedKey
    assert table.markedKey == {7}
    table.markedKey.discard(7)
    table.markedKey.discard(7)
    assert not table.markedKey


def test_a_missing_key_of_a_mapping(table):
    with pytest.raises(KeyError):
        table.transientVersionForKey[1]
    with pytest.raises(KeyError):
        del table.transientVersionForKey[1]
    assert table.transientVersionForKey.get(1) is None


def test_a_version_is_written_by_its_text(table):
    table.transientVersionForKey[9] = "3.1"
    assert str(table.transientVersionForKey[9]) == "3.1"
    del table.transientVersionForKey[9]
    assert 9 not in table.transientVersionForKey


def test_records_compare_by_value(table):
    table.entryWrite(42, entry_of(table, 42), None)
    assert table.entry(42) == table.entryRead(42)
    assert table.entry(42) != table.entry(43)
    assert {next(iter(table.transientAddEntry)): "x"}[42] == "x"
    assert loam.parse(table.entry(42).type, str(table.entry(42))) == table.entry(42)


def test_a_record_is_made_by_the_name_of_its_type(table):
    key, fields = entry_of(table, 42)
    entry = loam.record(f"{ENTRY}Entry", key, fields)
    table.entryWrite(42, entry, None)
    assert table.entry(42) == entry
    assert entry.json().startswith('{"key": "0x0000002a"')


def test_every_table_of_the_family(agent):
    doors = agent.interfaces()
    assert len(doors) == 14
    for door in doors.values():
        table = door.makeSwTable(0, None, True)
        handle = table.entryWrite(1, entry_of(table, 1), None)
        agent.poll()
        assert str(handle.entryState) == "entryInLog"
