#include "Counted.h"

#include <Ombra/Node.h>

#include <gtest/gtest.h>

#include <thread>

namespace {

using OmbraTest::Counted;

TEST(Node, ANewOneHasTheCountOne) {
    auto* const node = new Counted;
    EXPECT_EQ(node->refCount(), 1U);
    node->refDec();
}

TEST(Node, TheLastReferenceDeletesIt) {
    auto* const node = new Counted;
    node->refInc();
    node->refDec();
    EXPECT_EQ(Counted::live, 1);
    node->refDec();
    EXPECT_EQ(Counted::live, 0);
}

TEST(Node, AClassMayDoSomethingElseWhenTheLastUserIsGone) {
    struct Kept : Ombra::Node {
        mutable int gone = 0;
        void lastUserGone() const override { ++gone; }
    };
    Kept node;
    node.refDec();
    EXPECT_EQ(node.gone, 1);
}

TEST(Node, HasNoPublisherAndNoTypeOfItsOwn) {
    auto* const node = new Counted;
    EXPECT_EQ(node->publisher(), nullptr);
    EXPECT_EQ(node->typeData(), Ombra::TypeData{});
    node->refDec();
}

TEST(Node, FlagsAreSetOneByOne) {
    auto* const node = new Counted;
    EXPECT_FALSE(node->nodeFlagHas(Ombra::Node::flagDeleted));
    node->nodeFlagSet(1);
    node->nodeFlagSet(Ombra::Node::flagDeleted);
    EXPECT_TRUE(node->nodeFlagHas(Ombra::Node::flagDeleted));
    EXPECT_TRUE(node->nodeFlagHas(1 | Ombra::Node::flagDeleted));
    node->refDec();
}

TEST(Node, ThreadsMayShareOneOnceTheProcessSaysSo) {
    Ombra::ThreadControl::tsp_ = true;
    auto* const node = new Counted;
    auto const work = [&] {
        for (int i = 0; i != 100'000; ++i) {
            node->refInc();
            node->refDec();
        }
    };
    std::thread other{work};
    work();
    other.join();
    EXPECT_EQ(node->refCount(), 1U);
    node->refDec();
    EXPECT_EQ(Counted::live, 0);
    Ombra::ThreadControl::tsp_ = false; // no thread is left
}

} // namespace
