#include "InspectFixture.h"

#include <gmock/gmock.h>

namespace LoamSystemAcl {
namespace {

using Code = Inspect::Error::Code;
using Inspect::Object;
using Inspect::Value;
using testing::HasSubstr;

class InspectObject : public InspectTable {};

TEST_F(InspectObject, WritesAndReadsAnEntryByName) {
    auto const handle = inspected.call("entryWrite", {keyOf(42), valueOf(42, 7), none}).asObject();
    EXPECT_EQ(handle.get("entryState").text(), "entryPending");
    EXPECT_EQ(handle.get("key").asNumber(), 42U);
    EXPECT_EQ(table->entryRead(Key{42}), entryOf(42, 7));
    EXPECT_EQ(inspected.call("entryRead", {keyOf(42)}), valueOf(42, 7));
    EXPECT_TRUE(inspected.call("entryHas", {keyOf(42)}).asBool());
    EXPECT_EQ(inspected.call("entrys").asNumber(), 1U);
    commitAll();
    acknowledge();
    EXPECT_EQ(handle.get("entryState").text(), "entryApplied");
}

TEST_F(InspectObject, IteratesOverACollection) {
    write(1);
    write(2);
    Numbers walked;
    for (auto i = inspected.iterate("transientAddEntry"); i; i.next()) {
        walked.push_back(static_cast<unsigned>(i.key().asNumber()));
        EXPECT_EQ(i.value().asObject().get("key"), i.key());
    }
    EXPECT_EQ(walked, pendingOrder());
    EXPECT_EQ(inspected.size("transientAddEntry"), 2U);
}

TEST_F(InspectObject, AnUnknownNameIsRefusedWithWhatThereIs) {
    auto const refusal = refusalOf([&] { inspected.get("noSuchThing"); });
    EXPECT_EQ(refusal.code, Code::unknownAttribute);
    EXPECT_THAT(refusal.text, HasSubstr("noSuchThing"));
    EXPECT_THAT(refusal.text, HasSubstr("transientRemoveAllVersion"));
}

} // namespace
} // namespace LoamSystemAcl
