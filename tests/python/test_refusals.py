"""Bad input is refused with its reason, and nothing changes."""

import loam
import pytest
from loam import _loam
from conftest import ENTRY, entry_of


def test_an_unknown_class_lists_those_there_are():
    with pytest.raises(loam.UnknownClass, match=f'"NoSuch".*{ENTRY}SwTable'):
        loam.find("NoSuch")


def test_an_unknown_attribute_lists_those_there_are(table):
    with pytest.raises(loam.UnknownAttribute, match='"entryWright".*entryWrite'):
        table.entryWright(1)
    with pytest.raises(AttributeError):
        table.nothing = 1
    assert not hasattr(table, "nothing")


def test_a_read_only_attribute(agent):
    door = agent.interface(ENTRY)
    before = door.tableId
    with pytest.raises(loam.ReadOnly, match="tableId"):
        door.tableId = 1
    assert door.tableId == before


def test_an_object_for_reading_only(table):
    handle = table.entryWrite(1, entry_of(table, 1), None)
    with pytest.raises(loam.ReadOnly):
        handle.entryState = "entryFailed"
    assert str(handle.entryState) == "entryPending"


@pytest.mark.parametrize("arguments", [(), (1,), (1, 2, 3, 4, 5), tuple(range(20))])
def test_the_number_of_arguments(table, arguments):
    with pytest.raises(loam.WrongArguments, match="entryWrite"):
        table.entryWrite(*arguments)
    assert table.entrys() == 0


def test_no_keywords(table):
    with pytest.raises(loam.WrongArguments, match="keywords"):
        table.entryWrite(1, (1, b""), depEntryHandle=None)


@pytest.mark.parametrize("key", [-1, 2**32, 2**64, 2**100, 1.5, b"x", object()])
def test_a_key_out_of_range_or_of_another_type(table, key):
    with pytest.raises(loam.WrongValue):
        table.entryWrite(key, entry_of(table, 1), None)
    assert table.entrys() == 0


def test_an_entry_of_another_length(table):
    with pytest.raises(loam.WrongValue, match="3 bytes"):
        table.entryWrite(1, (1, b"abc"), None)
    with pytest.raises(loam.WrongValue):
        table.entryWrite(1, (1, "abc"), None)
    with pytest.raises(loam.WrongValue):
        table.entryWrite(1, (1, b"abc", 3), None)


def test_an_object_of_another_class(table):
    with pytest.raises(loam.WrongValue, match="depEntryHandle"):
        table.entryWrite(1, entry_of(table, 1), table)


def test_an_operation_that_is_not_called_from_here(table):
    with pytest.raises(loam.NotAllowed, match="commitEntry"):
        table.commitEntry(None)


def test_a_method_needs_an_object_of_its_class(agent, table):
    operation = loam.find(f"{ENTRY}SwTable").entryHas
    assert operation(table, 1) is False
    for wrong in (agent.interface(ENTRY), 1, None):
        with pytest.raises(loam.NoObject):
            operation(wrong, 1)


def test_false_into_a_set(table):
    with pytest.raises(loam.Error):
        _loam.element_is(table, _loam.attribute(table, "markedKey"), 1, False)
    assert 1 not in table.markedKey


def test_running_the_resolver_from_within_a_run(agent, table):
    raised = []

    def again(handle):
        try:
            agent.group.groupResolver.run(1)
        except loam.Refused as error:
            raised.append(str(error))

    failed = table.entryWrite(1, entry_of(table, 1), None)
    agent.poll()
    table.entryHandleInLog.front.entryState = "entryFailed"
    refused = table.entryWrite(2, entry_of(table, 2), failed, again)
    agent.poll()
    assert str(refused.entryState) == "entryFailed"
    assert len(raised) == 1 and "it is running" in raised[0]


def test_a_second_agent_of_one_process(agent):
    with pytest.raises(loam.Refused, match="close it first"):
        loam.Agent(local=True)


def test_a_policy_is_refused_whole(tmp_path):
    path = tmp_path / "policy.json"
    path.write_text('{"openconfig-acl:acl": {"acl-sets": 3}}')
    with pytest.raises(loam.WrongValue, match="policy.json: /openconfig-acl:acl/acl-sets: "):
        loam.policy(path)


def test_an_unknown_record_type():
    with pytest.raises(loam.UnknownClass, match="NoSuch"):
        loam.record("NoSuch", 1, b"")
