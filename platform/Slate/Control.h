#pragma once

#include <Ombra/Export.h>
#include <Slate/Crc32c.h>
#include <Slate/Layout.h>
#include <Slate/Mapping.h>
#include <Slate/Shared.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace Slate {

// The control page of a store file: what is kept beside the records.
//
// The scratchpad has two copies, written one after the other. Each shows by its checksum that it is
// whole, so after a stop at any instruction one of them holds the old value or the new, and a copy
// that was damaged is made good by the other.
class LOAM_EXPORT Control {
  public:
    Control(Mapping const& mapping, std::string const& name);

    // The page of a new store.
    static ControlPage fresh(bool wiped);

    // Why the page of a file can't be used, or nothing.
    static std::optional<std::string> unfit(ControlPage const& page);

    std::uint64_t scratchpad() const;
    bool scratchWhole(unsigned copy) const { return whole(page_->scratch[copy], copy).has_value(); }
    void scratchpadIs(std::uint64_t value);

    bool wiped() const;
    void clearWiped();
    bool repairing() const;
    void repairingIs(bool value);

    std::uint64_t writerPid() const;
    void writerPidIs(std::uint64_t pid);

    // The slots that the operation under way takes and lets go, each + 1, 0 for none.
    struct Journal {
        std::uint32_t taken = 0;
        std::uint32_t released = 0;
    };
    Journal journal() const; // none when the word is damaged
    void journalIs(std::uint32_t taken, std::uint32_t released) {
        storeRelaxed(&page_->journal, packJournal(taken, released));
        std::atomic_thread_fence(std::memory_order_release);
    }

    // Nothing when the word is damaged.
    std::optional<std::uint64_t> sequenceLimit() const;
    void sequenceLimitIs(std::uint64_t limit);

    std::optional<std::uint32_t> memberCount() const;
    void memberCountIs(std::uint32_t count) { storeRelaxed(&page_->memberCount, packCount(count)); }

    // A reader that misses a key looks again when the shape has changed meanwhile: a word may have
    // moved past it.
    std::uint64_t shape() const;
    void shapeInc();

    // The writer's start: reads the scratchpad, and writes both copies again unless they agree.
    void recover();
    void disown() { own_ = false; } // from now on the page tells, as for a reader

    ControlPage const& page() const { return *page_; }

  private:
    struct Scratch {
        std::uint64_t value;
        std::uint32_t sequence;
    };
    static std::optional<Scratch> whole(ScratchCell const& cell, unsigned number);
    static std::optional<Scratch> newest(ControlPage const& page);
    void writeScratch();

    ControlPage* page_;
    std::string const& name_;
    bool own_ = false; // scratch_ holds what this process, the writer, wrote last
    Scratch scratch_{};
};

} // namespace Slate
