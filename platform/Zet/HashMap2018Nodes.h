#pragma once

#include <Ombra/Assert.h>
#include <Ombra/Export.h>
#include <Zet/HashHelper.h>
#include <Zet/HashMap2018VTable.h>

#include <cstdint>
#include <utility>

// The nodes of hash collections. A collection derives its node class from one of these; the first
// argument is the constant that, with the process's seed, makes the collection's hashes its own.
//
//     class HN_TransientAddEntry
//         : public Zet::Hm2018NI<0xc41d0a8a, XxxEntryKey, Ombra::Ptr<XxxEntryWrapper>,
//                                TransientAddEntryKeyFunktor, Zet::HashMap2018Alloc{1}> {
//         using Hm2018NI::Hm2018NI;
//     };
//
// The engine moves nodes as bytes: a node class adds no members. The allocation tracker counts the
// slots of the collection's buckets, used or not.
namespace Zet {

class AllocTrackTypeInfo;

// Internal key: the node holds the value, and the key is computed from it. A value may be replaced
// only by one with an equal key.
template <std::uint32_t constant, typename K, typename V, typename KeyFunktor,
          HashMap2018Alloc alloc>
class Hm2018NI {
  public:
    using Key = K;
    using Value = V;
    static constexpr std::uint32_t hashConstant = constant;
    static constexpr HashMap2018Alloc allocation = alloc;
    static constexpr bool isSet = false;

    explicit Hm2018NI(Value value) : _value{std::move(value)} {}

    static decltype(auto) keyOf(Value const& value) { return KeyFunktor()(value); }

    decltype(auto) fwkKey() const { return keyOf(_value); }
    Value const& value() const& noexcept { return _value; }
    Value value() && noexcept { return std::move(_value); }

    // Gives the former value.
    Value valueIs(Value value) {
        checkKey(fwkKey(), value);
        return std::exchange(_value, std::move(value));
    }

    LOAM_EXPORT static inline AllocTrackTypeInfo* memAllocationTracker_ = nullptr;

  private:
    static void checkKey(Key const& key, Value const& _value) {
        OMBRA_ASSERT(Impl::keyIsEq<Key>(key, KeyFunktor()(_value)),
                     "fwkKey() == KeyFunktor()( _value )");
    }

    Value _value;
};

// External key: the value, and the key behind it.
template <std::uint32_t constant, typename K, typename V, HashMap2018Alloc alloc>
class Hm2018NE {
  public:
    using Key = K;
    using Value = V;
    static constexpr std::uint32_t hashConstant = constant;
    static constexpr HashMap2018Alloc allocation = alloc;
    static constexpr bool isSet = false;

    Hm2018NE(Key const& key, Value value) : _value{std::move(value)}, _key{key} {}

    Key const& fwkKey() const noexcept { return _key; }
    Value const& value() const& noexcept { return _value; }
    Value value() && noexcept { return std::move(_value); }
    Value valueIs(Value value) { return std::exchange(_value, std::move(value)); }

    LOAM_EXPORT static inline AllocTrackTypeInfo* memAllocationTracker_ = nullptr;

  private:
    Value _value;
    Key _key;
};

// A set: the key alone.
template <std::uint32_t constant, typename K, HashMap2018Alloc alloc>
class Hm2018NE<constant, K, void, alloc> {
  public:
    using Key = K;
    using Value = void;
    static constexpr std::uint32_t hashConstant = constant;
    static constexpr HashMap2018Alloc allocation = alloc;
    static constexpr bool isSet = true;

    explicit Hm2018NE(Key const& key) : _key{key} {}

    Key const& fwkKey() const noexcept { return _key; }

    LOAM_EXPORT static inline AllocTrackTypeInfo* memAllocationTracker_ = nullptr;

  private:
    Key _key;
};

} // namespace Zet
