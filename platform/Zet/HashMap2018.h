#pragma once

#include <Zet/HashHelper.h>
#include <Zet/HashMap2018Generic.h>
#include <Zet/HashMap2018Hooks.h>
#include <Zet/HashMap2018IteratorGeneric.h>
#include <Zet/HashMap2018Nodes.h>

#include <cstdint>
#include <memory>
#include <type_traits>

// A hash collection: node class, key and value put a type on the engine (HashMap2018Generic.h).
//
// Used by the attributes of tables through the accessor templates beside this file
// (KeyedCollectionAttr.h and its kin). A caller that looks up and then adds or removes computes the
// hash once:
//
//     auto const at = map.keyArg(key);
//     if (map.find(at, key) == nullptr) { map.add(at, HN{...}); }
//
// A node pointer is valid until the map changes; iterators survive every change.
namespace Zet {

template <typename HN, typename Key, typename Value>
class HashMap2018 : public HashMap2018Generic {
    static_assert(std::is_same_v<Key, typename HN::Key> &&
                  std::is_same_v<Value, typename HN::Value>);
    static_assert(sizeof(HN) % alignof(HN) == 0 && alignof(HN) <= 8);

  public:
    using Node = HN;
    using KeyArg = HashHelper::KeyAndRhashSeedArg;

    LOAM_EXPORT static constexpr HashMap2018VTable vt_ = HashMap2018Hooks<HN>::vt();

    HashMap2018() noexcept
        : HashMap2018Generic{vt_, static_cast<unsigned>(HN::allocation), false} {}
    ~HashMap2018() { emptyAllBuckets(vt_, true); }

    static std::uint32_t hash(Key const& key) noexcept {
        return Impl::keyHash(HashHelper::hashSeed32() ^ HN::hashConstant, key);
    }

    // Hashes the key, which must outlive the result.
    static KeyArg keyArg(Key const& key) noexcept { return KeyArg{&key, hash(key)}; }

    // The node with that key, or null.
    HN const* operator[](Key const& key) const { return empty() ? nullptr : find(keyArg(key)); }
    HN* find(KeyArg const& key) { return const_cast<HN*>(std::as_const(*this).find(key)); }
    HN const* find(KeyArg const& key) const {
        HashMap2018BucketHdr const& bucket = *bucketOf(key.hash);
        auto const index = indexIn(bucket, key);
        return index == HashMap2018BucketHdr::none ? nullptr : nodesOf(bucket) + index;
    }

    // Adds a node whose key is not there.
    void add(KeyArg const& key, HN node) {
        HashMap2018BucketHdr& bucket = *bucketOf(key.hash);
        if (bucket.inUse() < bucket.capacity() && !bucket.held()) [[likely]] {
            new (nodesOf(bucket) + bucket.inUse()) HN{std::move(node)};
            bucket.add(key.hash);
            sizeInc();
        } else {
            newMemberG(vt_, key, &node);
        }
    }

    // A node that was taken out, or the knowledge that there was none.
    class Removed {
      public:
        Removed() noexcept = default;
        Removed(Removed const&) = delete;
        Removed& operator=(Removed const&) = delete;
        ~Removed() {
            if (there_) {
                std::destroy_at(&node());
            }
        }

        explicit operator bool() const noexcept { return there_; }
        HN& node() noexcept { return *std::launder(reinterpret_cast<HN*>(room_)); }

      private:
        friend class HashMap2018;
        alignas(HN) std::byte room_[sizeof(HN)];
        bool there_ = false;
    };

    // Takes the node with that key out into `removed`, or lets its value go; false when there is
    // none.
    bool del(KeyArg const& key, Removed& removed) {
        removed.there_ = delInto(key, removed.room_);
        return removed.there_;
    }
    bool del(KeyArg const& key) { return delInto(key, nullptr); }

    void delAll() { _memberDelAll(vt_); }

    // A walk; see HashMap2018IteratorGeneric.h.
    class IteratorConst : public HashMap2018IteratorGeneric {
      public:
        explicit IteratorConst(HashMap2018 const& map)
            : HashMap2018IteratorGeneric{map, HashMap2018::vt_} {}
        IteratorConst(HashMap2018 const& map, Key const& key)
            : HashMap2018IteratorGeneric{map, HashMap2018::vt_, keyArg(key)} {}

        explicit operator bool() const noexcept { return position() != 0; }
        HN const& operator*() const noexcept {
            return *static_cast<HN const*>(currNodeMaybeStale());
        }
        HN const* operator->() const noexcept { return &**this; }
        IteratorConst& operator++() {
            advance();
            return *this;
        }
    };

  private:
    static HN* nodesOf(HashMap2018BucketHdr& bucket) noexcept {
        return reinterpret_cast<HN*>(bucket.nodes());
    }
    static HN const* nodesOf(HashMap2018BucketHdr const& bucket) noexcept {
        return reinterpret_cast<HN const*>(bucket.nodes());
    }

    static std::uint32_t indexIn(HashMap2018BucketHdr const& bucket, KeyArg const& key) {
        return bucket.find(key.hash, [&, nodes = nodesOf(bucket)](std::uint32_t i) {
            return HashMap2018Hooks<HN>::keyEqualsNode(key.key, nodes + i);
        });
    }

    bool delInto(KeyArg const& key, void* room) {
        HashMap2018BucketHdr& bucket = *bucketOf(key.hash);
        auto const index = indexIn(bucket, key);
        if (index == HashMap2018BucketHdr::none) {
            return false;
        }
        if (bucket.held()) [[unlikely]] {
            removeFoundG(vt_, bucket, index, key.hash, room);
            return true;
        }
        // A value that is let go may use the map: it finds everything in order.
        constexpr bool letGo = !std::is_trivially_destructible_v<HN>;
        Removed gone;
        HN* const nodes = nodesOf(bucket);
        std::uint32_t const last = bucket.inUse() - 1;
        if (room != nullptr || letGo) {
            HashMap2018Hooks<HN>::moveBytes(room != nullptr ? room : gone.room_, nodes + index, 1);
        }
        if (index != last) {
            HashMap2018Hooks<HN>::moveBytes(nodes + index, nodes + last, 1);
        }
        lastTakesPlaceOf(bucket, index);
        sizeDec();
        removedOneOf(vt_, last, key.hash);
        gone.there_ = room == nullptr && letGo;
        return true;
    }
};

} // namespace Zet
