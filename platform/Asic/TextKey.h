#pragma once

#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Zet/HashHelper.h>
#include <Zet/HashMap2018.h>

#include <compare>
#include <cstdint>
#include <string_view>
#include <utility>

// Hash collections keyed by a text.
//
// The engine moves nodes as bytes, so a node holds a counted object that holds the text, and the
// key is a view of it.
namespace Asic {

class TextKey {
  public:
    constexpr TextKey(std::string_view text) noexcept : text_{text} {}
    TextKey(Ombra::String const& text) noexcept : text_{text} {}

    std::uint32_t hash(std::uint32_t seed) const noexcept {
        std::uint32_t hash = 2166136261U ^ seed; // FNV-1a, then mixed
        for (char const each : text_) {
            hash = (hash ^ static_cast<unsigned char>(each)) * 16777619U;
        }
        return Zet::hashSingleAttr(seed, hash);
    }

    friend bool operator==(TextKey const&, TextKey const&) = default;
    friend auto operator<=>(TextKey const&, TextKey const&) = default;

  private:
    std::string_view text_;
};

// Something under a name.
template <typename Thing>
struct Named : Ombra::Node {
    Named(Ombra::String theName, Thing theThing) noexcept
        : name{std::move(theName)}, thing{std::move(theThing)} {}

    Ombra::String const name;
    Thing thing;
};

template <typename Thing>
struct NameOf {
    TextKey operator()(Ombra::Ptr<Named<Thing>> const& named) const noexcept {
        return TextKey{named->name};
    }
};

template <std::uint32_t seed, typename Thing>
struct HN_ByName : Zet::Hm2018NI<seed, TextKey, Ombra::Ptr<Named<Thing>>, NameOf<Thing>,
                                 Zet::HashMap2018Alloc{1}> {
    using HN_ByName::Hm2018NI::Hm2018NI;
};

template <std::uint32_t seed, typename Thing>
using MapByName = Zet::HashMap2018<HN_ByName<seed, Thing>, TextKey, Ombra::Ptr<Named<Thing>>>;

} // namespace Asic
