#pragma once

#include <Asic/Identifiers.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>
#include <Zet/Tracked.h>

#include <cstddef>
#include <span>
#include <type_traits>
#include <vector>

// The places in other tables' logs that the hardware side must have applied before a change.
//
// Since a table's changes are applied in the order of its versions, a later place of a table covers
// an earlier one: the set keeps one place per table, the latest. Version 0 is no place and adds
// nothing. Nearly every set has none or one, and these take no memory beyond the object.
namespace Asic {

class LOAM_EXPORT NeededEntry : public Zet::Tracked<NeededEntry, Ombra::Node, Zet::perOperation> {
  public:
    NeededEntry() noexcept;
    ~NeededEntry() override;
    Ombra::TypeData typeData() const override;

    void add(TableVersion const& place);

    // In the order in which the tables were first added.
    std::span<TableVersion const> places() const noexcept;
    bool empty() const noexcept { return count_ == 0; }

  private:
    std::size_t count_ = 0;
    TableVersion first_{};
    std::vector<TableVersion> several_; // used, for all of them, once there is more than one
};

} // namespace Asic

template <>
struct fmt::formatter<Asic::NeededEntry> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(Asic::NeededEntry const& needed, Context& context) const {
        return fmt::format_to(context.out(), "{{{}}}", fmt::join(needed.places(), ", "));
    }
};

template <typename T>
requires std::is_base_of_v<Asic::NeededEntry, T>
struct fmt::formatter<Ombra::Ptr<T>> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(Ombra::Ptr<T> const& needed, Context& context) const {
        return needed ? fmt::format_to(context.out(), "{}",
                                       static_cast<Asic::NeededEntry const&>(*needed))
                      : fmt::format_to(context.out(), "none");
    }
};
