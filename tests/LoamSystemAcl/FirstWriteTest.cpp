#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>

#include <gtest/gtest.h>

#include <support/AgentInProcess.h>
#include <support/TraceCapture.h>

namespace LoamSystemAcl {
namespace {

using Family = Ipv4SystemPolicyTcamEntryFamily;
using Key = Family::Key;
using Entry = Family::Entry;
using State = Asic::SwTableBase::EntryState;

Entry entryOf(Key const& key, unsigned value) {
    Entry entry{key};
    entry.fields()[10] = std::byte(value);
    return entry;
}

TEST(FirstWrite, TravelsFromTheCallToTheAcknowledgement) {
    testing_support::AgentInProcess agent;
    auto const table = agent.makeSwTable<Family>(0);
    Key const key{42};
    unsigned answered = 0;
    auto const handle =
        table->entryWriteWithResponseHandler(key, entryOf(key, 7), nullptr, [&](auto const& done) {
            ++answered;
            EXPECT_EQ(done->entryState(), State::entryApplied);
        });

    EXPECT_EQ(handle->entryState(), State::entryPending);
    EXPECT_EQ(table->entryRead(key), entryOf(key, 7));
    EXPECT_EQ(table->entryFromConfig(key), Entry{});

    EXPECT_EQ(agent.resolve(), 1U);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(handle->logVersion(), 1U);
    EXPECT_EQ(table->entryFromConfig(key), entryOf(key, 7));
    EXPECT_TRUE(table->hasPendingHwWrites());

    agent.acknowledge(table->tableId(), 1);
    EXPECT_EQ(handle->entryState(), State::entryApplied);
    EXPECT_EQ(answered, 1U);
    EXPECT_FALSE(table->hasPendingHwWrites());
}

} // namespace
} // namespace LoamSystemAcl
