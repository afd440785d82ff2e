#pragma once

#include <Ombra/Node.h>
#include <Ombra/Ptr.h>
#include <Zet/AllocTrack.h>
#include <Zet/HashMap2018.h>

#include <compare>
#include <cstdint>

// One collection of each shape, as the tables have them, over keys whose hash a test can choose.
namespace ZetTest {

// A key of 4 bytes. `hashMask` thins the hashes out, so that keys collide.
struct Key {
    std::uint16_t high = 0;
    std::uint16_t low = 0;

    static inline std::uint32_t hashMask = 0xffffffff;
    static inline int hashed = 0; // how often

    Key() = default;
    explicit Key(std::uint32_t number)
        : high{static_cast<std::uint16_t>(number >> 16)}, low{static_cast<std::uint16_t>(number)} {}

    std::uint32_t number() const { return std::uint32_t{high} << 16 | low; }
    std::uint32_t hash(std::uint32_t seed) const {
        ++hashed;
        return Zet::hashMix32(seed, number()) & hashMask;
    }
    bool isEq(Key const& other) const { return number() == other.number(); }
    friend std::strong_ordering operator<=>(Key const& left, Key const& right) {
        return left.number() <=> right.number();
    }
};

// Restores the full hash.
struct ThinHashes {
    explicit ThinHashes(std::uint32_t mask) { Key::hashMask = mask; }
    ~ThinHashes() { Key::hashMask = 0xffffffff; }
};

struct Wrapper : Ombra::Node {
    static inline int live = 0;

    Key key;
    int value;

    explicit Wrapper(std::uint32_t number, int v = 0) : key{number}, value{v} { ++live; }
    ~Wrapper() override { --live; }
};
using WrapperPtr = Ombra::Ptr<Wrapper>;

struct WrapperKey {
    Key const& operator()(WrapperPtr const& wrapper) const { return wrapper->key; }
};

struct Version {
    std::uint32_t words[3] = {0xffffffff, 0xffffffff, 0xffffffff};

    static Version of(std::uint32_t number) { return Version{{number, 0, 0}}; }
    bool isEq(Version const& other) const { return words[0] == other.words[0]; }
    std::uint32_t number() const { return words[0]; }
};

struct Entry {
    Key key;
    std::uint32_t payload[4];
};
struct EntryKey {
    Key const& operator()(Entry const& entry) const { return entry.key; }
};

inline constexpr Zet::HashMap2018Alloc slab{1};

struct HN_Wrapper : Zet::Hm2018NI<0xc41d0a8a, Key, WrapperPtr, WrapperKey, slab> {
    using Hm2018NI::Hm2018NI;
};
struct HN_Version : Zet::Hm2018NE<0x5ee2b430, Key, Version, slab> {
    using Hm2018NE::Hm2018NE;
};
struct HN_Set : Zet::Hm2018NE<0x4af471c7, Key, void, slab> {
    using Hm2018NE::Hm2018NE;
};
struct HN_Entry : Zet::Hm2018NI<0xb732a4dd, Key, Entry, EntryKey, slab> {
    using Hm2018NI::Hm2018NI;
};
struct HN_Unit : Zet::Hm2018NE<0xa4f0a606, std::uint16_t, WrapperPtr, slab> {
    using Hm2018NE::Hm2018NE;
};

using WrapperMap = Zet::HashMap2018<HN_Wrapper, Key, WrapperPtr>;
using VersionMap = Zet::HashMap2018<HN_Version, Key, Version>;
using KeySet = Zet::HashMap2018<HN_Set, Key, void>;
using EntryMap = Zet::HashMap2018<HN_Entry, Key, Entry>;
using UnitMap = Zet::HashMap2018<HN_Unit, std::uint16_t, WrapperPtr>;

inline void add(KeySet& set, std::uint32_t number) {
    Key const key{number};
    set.add(KeySet::keyArg(key), HN_Set{key});
}
inline void add(WrapperMap& map, std::uint32_t number, int value = 0) {
    Key const key{number};
    map.add(WrapperMap::keyArg(key), HN_Wrapper{Ombra::ptrIs<Wrapper>(number, value)});
}
template <typename Map>
bool del(Map& map, std::uint32_t number) {
    Key const key{number};
    return map.del(Map::keyArg(key));
}
template <typename Map>
bool has(Map const& map, std::uint32_t number) {
    return map[Key{number}] != nullptr;
}

} // namespace ZetTest
