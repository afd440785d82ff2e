import loam
import pytest

ENTRY = "Ipv4SystemPolicyTcamEntry"
ACTION = "Ipv4SystemPolicyTcamAction"


@pytest.fixture
def agent():
    with loam.Agent(local=True) as made:
        yield made


@pytest.fixture
def table(agent):
    made = agent.interface(ENTRY).makeSwTable(0, None, False)
    if made.inMarkingState:
        made.sweep()
    return made


def entry_of(table, key, fill=1):
    return key, bytes([fill]) * len(table.entry(key).fields)
