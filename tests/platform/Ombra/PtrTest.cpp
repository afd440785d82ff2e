#include "Counted.h"

#include <Ombra/Ptr.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <unordered_set>

namespace {

using Ombra::Ptr;
using OmbraTest::Counted;

struct Derived : Counted {
    using Counted::Counted;
};
struct Other : Counted {};

TEST(Ptr, IsOneWordWideAndNullByDefault) {
    static_assert(sizeof(Ptr<Counted>) == sizeof(void*));
    Ptr<Counted> const null;
    EXPECT_EQ(null, nullptr);
    EXPECT_FALSE(null);
}

TEST(Ptr, OwnsTheFirstReferenceOfWhatPtrIsMakes) {
    {
        auto const pointer = Ombra::ptrIs<Counted>(7);
        EXPECT_EQ(pointer->value, 7);
        EXPECT_EQ(pointer->refCount(), 1U);
    }
    EXPECT_EQ(Counted::live, 0);
}

TEST(Ptr, CopiesAddReferencesAndMovesDoNot) {
    auto pointer = Ombra::ptrIs<Counted>();
    Ptr<Counted> const copy = pointer;
    EXPECT_EQ(copy->refCount(), 2U);
    Ptr<Counted> const moved = std::move(pointer);
    EXPECT_EQ(moved->refCount(), 2U);
    EXPECT_EQ(pointer, nullptr);
}

TEST(Ptr, AssignmentLetsTheFormerNodeGoLast) {
    auto pointer = Ombra::ptrIs<Counted>(1);
    pointer = Ombra::ptrIs<Counted>(2);
    EXPECT_EQ(pointer->value, 2);
    EXPECT_EQ(Counted::live, 1);
    auto const& self = pointer;
    pointer = self;
    EXPECT_EQ(pointer->refCount(), 1U);
}

TEST(Ptr, DetachGivesTheReferenceUp) {
    auto pointer = Ombra::ptrIs<Counted>();
    Counted* const node = pointer.detach();
    EXPECT_EQ(pointer, nullptr);
    EXPECT_EQ(Counted::live, 1);
    Ptr<Counted>::adopt(node);
    EXPECT_EQ(Counted::live, 0);
}

TEST(Ptr, FromAPlainPointerAddsAReference) {
    auto const pointer = Ombra::ptrIs<Counted>();
    Ptr<Counted> const second{pointer.get()};
    EXPECT_EQ(pointer->refCount(), 2U);
    EXPECT_EQ(pointer, second);
}

TEST(Ptr, ConvertsToABaseAndToConst) {
    Ptr<Derived> derived = Ombra::ptrIs<Derived>(3);
    Ptr<Counted const> const base = derived;
    EXPECT_EQ(base->refCount(), 2U);
    Ptr<Counted> const moved = std::move(derived);
    EXPECT_EQ(base, moved);
}

TEST(Ptr, CastsToADerivedClass) {
    Ptr<Counted> const base = Ombra::ptrIs<Derived>(3);
    EXPECT_EQ(Ombra::dynamicCast<Derived>(base).get(), base.get());
    EXPECT_EQ(Ombra::dynamicCast<Other>(base), nullptr);
    EXPECT_EQ(Ombra::staticCast<Derived>(base)->value, 3);
}

TEST(Ptr, HashesByIdentity) {
    auto const pointer = Ombra::ptrIs<Counted>();
    std::unordered_set<Ptr<Counted>> const set{pointer, pointer};
    EXPECT_EQ(set.size(), 1U);
}

TEST(Ptr, ANonNullPtrIsUsedLikeThePtrItCameFrom) {
    auto const pointer = Ombra::ptrIs<Counted>(9);
    Ombra::NonNullPtr<Counted> const nonNull{pointer};
    EXPECT_EQ(nonNull->value, 9);
    Ptr<Counted> const again = nonNull;
    EXPECT_EQ(again, pointer);
}

TEST(Ptr, AConstructorThatThrowsLeavesNothing) {
    struct Throws : Counted {
        Throws() { throw std::runtime_error{"no"}; }
    };
    EXPECT_THROW(Ombra::ptrIs<Throws>(), std::runtime_error);
    EXPECT_EQ(Counted::live, 0);
}

} // namespace
