#include "Collections.h"

#include <gtest/gtest.h>

#include <list>
#include <map>
#include <random>
#include <set>

// Random changes of a map with walks in progress, against a plain map. Every key that is there from
// a walk's start to its end comes exactly once, none comes twice, and none after its removal.
namespace {

using namespace ZetTest;

template <typename Map>
struct Traits;
template <>
struct Traits<WrapperMap> {
    static HN_Wrapper make(std::uint32_t number, int value) {
        return HN_Wrapper{Ombra::ptrIs<Wrapper>(number, value)};
    }
    static int valueOf(HN_Wrapper const& node) { return node.value()->value; }
};
template <>
struct Traits<VersionMap> {
    static HN_Version make(std::uint32_t number, int value) {
        return HN_Version{Key{number}, Version::of(static_cast<std::uint32_t>(value))};
    }
    static int valueOf(HN_Version const& node) { return static_cast<int>(node.value().number()); }
};

template <typename Map>
struct Walk {
    typename Map::IteratorConst at;
    std::set<std::uint32_t> stays; // there since the start
    std::set<std::uint32_t> given;
};

template <typename Map>
class Model {
  public:
    Model(unsigned seed, std::uint32_t keys) : random_{seed}, keys_{keys} {}

    void run(int steps) {
        for (int step = 0; step != steps; ++step) {
            // Phases of growth and of shrinking, so that buckets split and merge under the walks.
            unsigned const growth = step / 1000 % 2 == 0 ? 55 : 35;
            if (auto const dice = pick(100); dice < growth) {
                addOrReplace();
            } else if (dice < 90) {
                remove();
            } else if (dice < 99) {
                walk();
            } else if (pick(300) == 0) {
                removeAll();
            }
            ASSERT_EQ(map_.size(), model_.size());
            if (testing::Test::HasFatalFailure()) {
                return;
            }
        }
        compareAll();
    }

  private:
    std::uint32_t pick(std::uint32_t below) {
        return static_cast<std::uint32_t>(random_()) % below;
    }

    void addOrReplace() {
        auto const number = pick(keys_);
        Key const key{number};
        auto const at = Map::keyArg(key);
        auto node = Traits<Map>::make(number, ++lastValue_);
        if (auto* const there = map_.find(at); there != nullptr) {
            ASSERT_TRUE(model_.contains(number));
            there->valueIs(node.value());
        } else {
            ASSERT_FALSE(model_.contains(number));
            map_.add(at, std::move(node));
        }
        model_[number] = lastValue_;
    }

    void remove() {
        auto const number = pick(keys_);
        Key const key{number};
        typename Map::Removed removed;
        ASSERT_EQ(map_.del(Map::keyArg(key), removed), model_.contains(number));
        if (removed) {
            ASSERT_EQ(Traits<Map>::valueOf(removed.node()), model_[number]);
            model_.erase(number);
            for (auto& each : walks_) {
                each.stays.erase(number);
            }
        }
    }

    void removeAll() {
        map_.delAll();
        model_.clear();
        for (auto& each : walks_) {
            each.stays.clear();
        }
    }

    void walk() {
        if (walks_.size() < 5 && pick(4) == 0) {
            std::set<std::uint32_t> stays;
            for (auto const& [number, value] : model_) {
                stays.insert(number);
            }
            walks_.push_back({typename Map::IteratorConst{map_}, stays, {}});
            arrived(walks_.back());
        }
        for (auto each = walks_.begin(); each != walks_.end();) {
            for (auto steps = pick(20); steps != 0 && each->at; --steps) {
                ++each->at;
                arrived(*each);
            }
            if (each->at) {
                ++each;
                continue;
            }
            for (auto const number : each->stays) {
                ASSERT_TRUE(each->given.contains(number)) << number;
            }
            ++walksDone_;
            each = walks_.erase(each);
        }
    }

    void arrived(Walk<Map>& each) {
        if (!each.at) {
            return;
        }
        auto const number = each.at->fwkKey().number();
        ASSERT_TRUE(model_.contains(number)) << number;
        ASSERT_EQ(Traits<Map>::valueOf(*each.at), model_[number]);
        ASSERT_EQ(each.at.currNodeNonStale(), map_.find(Map::keyArg(Key{number})));
        ASSERT_TRUE(each.given.insert(number).second) << number;
    }

    void compareAll() {
        std::map<std::uint32_t, int> got;
        for (typename Map::IteratorConst i{map_}; i; ++i) {
            got[i->fwkKey().number()] = Traits<Map>::valueOf(*i);
        }
        EXPECT_EQ(got, model_);
        EXPECT_GT(walksDone_, 3);
    }

    std::mt19937 random_;
    std::uint32_t keys_;
    Map map_;
    std::map<std::uint32_t, int> model_;
    std::list<Walk<Map>> walks_;
    int lastValue_ = 0;
    int walksDone_ = 0;
};

template <typename Map>
class HashModel : public testing::Test {};
using Maps = testing::Types<WrapperMap, VersionMap>;
TYPED_TEST_SUITE(HashModel, Maps);

TYPED_TEST(HashModel, DoesWhatAPlainMapDoesWhileWalksGoOn) {
    for (unsigned seed = 0; seed != 6; ++seed) {
        for (std::uint32_t const keys : {20U, 300U, 3000U}) {
            for (std::uint32_t const mask : {0xffffffffU, 0xff00000fU, 0x0000ffffU, 0x60000000U}) {
                SCOPED_TRACE(testing::Message()
                             << "seed " << seed << " keys " << keys << " mask " << mask);
                ThinHashes const thin{mask};
                Model<TypeParam>{seed, keys}.run(6000);
                if (this->HasFatalFailure()) {
                    return;
                }
            }
        }
    }
    EXPECT_EQ(Wrapper::live, 0);
    EXPECT_EQ(Zet::AllocTrackTypeInfo::live(Zet::HashMap2018BucketHdr::bucketHeaderTracker_), 0U);
    EXPECT_EQ(Zet::AllocTrackTypeInfo::live(TypeParam::Node::memAllocationTracker_), 0U);
}

} // namespace
