#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

// The slots of one TCAM, in which the place decides which of several matching entries wins.
//
// Entries stand in the order of their priority number, the lowest first, and of their key within
// one priority. A new entry needs a free slot between its neighbours; where there is none, others
// move, and each costs a hardware operation: those up to the nearest free slot when that is near,
// and otherwise those of the smallest surrounding window that has slots to spare, which are spread
// evenly over it. The larger the window, the emptier it must be (the packed-memory array of Itai,
// Konheim and Rodeh, 1981), so that an insert moves few entries on average, in whatever order they
// come.
//
// Invariant: walking `order_` gives ascending slot numbers.
namespace LoamHw {

class TcamArray {
  public:
    explicit TcamArray(std::uint32_t capacity);

    struct Rank {
        std::uint32_t priority = 0;
        std::uint32_t key = 0;
        friend auto operator<=>(Rank const&, Rank const&) = default;
    };

    // Places an entry that is not there yet, and gives the number of entries that moved for it. To
    // be called when the array isn't full, or right after an entry was erased.
    std::uint32_t insert(Rank const& rank);
    bool full() const { return order_.size() >= capacity_; }

    void erase(Rank const& rank);
    void clear();

    std::size_t size() const { return order_.size(); }
    std::uint32_t capacity() const { return capacity_; }

    // An array that holds more than its new capacity keeps what it has and takes no more.
    void capacityIs(std::uint32_t capacity);

    // Where the entry stands; for tests and tools.
    std::optional<std::uint32_t> slotOf(Rank const& rank) const;

  private:
    using Order = std::map<Rank, std::uint32_t>;
    using Slot = std::int64_t; // -1 and the number of slots stand for the two ends

    struct Window {
        Slot begin;
        Slot end;
        Slot entries;
    };

    std::optional<Slot> freeBelow(Slot slot) const;
    std::optional<Slot> freeAbove(Slot slot) const;
    void move(Slot from, Slot to);
    std::optional<Slot> shift(Slot below, Slot above, std::uint32_t& moved);
    Window spareWindow(Slot around) const;
    void spread(Window const& window, Order::iterator added, std::uint32_t& moved);

    std::uint32_t capacity_;
    Order order_;
    std::vector<Order::value_type*> slots_; // null where free
};

} // namespace LoamHw
