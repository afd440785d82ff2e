#include <Ombra/Exception.h>
#include <Slate/Control.h>
#include <Slate/Directory.h>
#include <Slate/Store.h>
#include <Slate/StoreFile.h>
#include <Slate/Verify.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace Slate {

class Verifier {
  public:
    Verifier(Store& store, DamageCallback const& callback)
        : store_{store}, directory_{store.directory_}, callback_{callback},
          scratch_(store.geometry_.recordBytes) {}

    VerifyResult run() {
        checkSettled([this] { checkControl(); });
        checkSettled([this] { checkExtents(); });
        Geometry const& geometry = store_.geometry_;
        for (std::uint32_t owner = 0;; ++owner) {
            owner = firstWithMemory(owner, geometry.directoryOffset, sizeof(Bucket));
            if (owner >= geometry.bucketCount) {
                break;
            }
            checkSettled([this, owner] { checkChain(owner); });
            result_.records += found_;
        }
        for (std::uint32_t slot = 0;; ++slot) {
            slot = firstWithMemory(slot, geometry.slotOffset, geometry.slotStride);
            if (slot >= store_.slots_.count()) {
                break;
            }
            checkSettled([this, slot] { checkSlot(slot); });
        }
        return result_;
    }

  private:
    // Of an array at `origin`, the first element at or behind `number` whose extent has its memory,
    // or is damaged in the table. Files are sparse, so what lies in an extent is passed at once.
    std::uint32_t firstWithMemory(std::uint64_t number, std::uint64_t origin,
                                  std::uint64_t stride) const {
        Geometry const& geometry = store_.geometry_;
        for (;;) {
            std::uint64_t const offset = origin + number * stride;
            if (offset >= geometry.fileBytes || mayHaveMemory(offset)) {
                return static_cast<std::uint32_t>(number);
            }
            std::uint64_t const extent =
                (offset - geometry.directoryOffset) / geometry.extentBytes + 1;
            std::uint64_t const end = geometry.directoryOffset + extent * geometry.extentBytes;
            number = (end - origin + stride - 1) / stride;
        }
    }

    bool mayHaveMemory(std::uint64_t offset) const {
        try {
            return store_.extents_.presentAt(offset);
        } catch (Ombra::CorruptionDetectedException const&) {
            return true; // the check itself says so
        }
    }

    // Runs a check until it finds nothing, or the same twice. What a writer changed under every
    // look is what it works on, and no damage.
    template <typename Check>
    void checkSettled(Check const& check) {
        std::vector<Damage> before;
        for (int round = 0; round < 20; ++round) {
            damages_.clear();
            found_ = 0;
            changed_ = false;
            try {
                check();
            } catch (Ombra::CorruptionDetectedException const& exception) {
                note(exception.msg().str());
            }
            if (damages_.empty() ? !changed_ : round > 0 && same(before, damages_)) {
                break;
            }
            before = damages_;
            ::usleep(500);
        }
        for (Damage const& damage : damages_) {
            callback_(damage);
            ++result_.damages;
        }
    }

    static bool same(std::vector<Damage> const& left, std::vector<Damage> const& right) {
        if (left.size() != right.size()) {
            return false;
        }
        for (std::size_t index = 0; index < left.size(); ++index) {
            if (left[index].text != right[index].text) {
                return false;
            }
        }
        return true;
    }

    void note(std::string text, std::optional<std::uint32_t> slot = {},
              std::optional<std::uint64_t> key = {}) {
        damages_.push_back({store_.name_, slot, key, std::move(text)});
    }

    void checkControl() {
        Control const& control = store_.control_;
        ControlPage const& page = control.page();
        for (unsigned number = 0; number < 2; ++number) {
            // A copy that says of itself that it is being written may have been left so.
            std::uint64_t const check = loadRelaxed(&page.scratch[number].check);
            bool const open = check == 0 && control.scratchWhole(1 - number);
            if (!control.scratchWhole(number) && !open) {
                note(fmt::format("{}: scratchpad copy {}: expected a check that fits the value {}, "
                                 "found {:016x}",
                                 store_.name_, number, loadRelaxed(&page.scratch[number].value),
                                 check));
            }
        }
        std::uint64_t const journal = loadRelaxed(&page.journal);
        checkWord("sequence limit", loadRelaxed(&page.sequenceLimit),
                  control.sequenceLimit().has_value());
        checkWord("record count", loadRelaxed(&page.memberCount),
                  control.memberCount().has_value());
        checkWord("journal", journal, journalWhole(journal));
        checkMark("wiped mark", loadRelaxed(&page.wiped));
        checkMark("repair mark", loadRelaxed(&page.repairing));
    }

    void checkMark(char const* what, std::uint64_t word) {
        checkWord(what, word, word == markOn || word == markOff);
    }

    void checkWord(char const* what, std::uint64_t word, bool whole) {
        if (!whole) {
            note(fmt::format("{}: {}: expected a whole word, found {:016x}", store_.name_, what,
                             word));
        }
    }

    void checkExtents() {
        for (std::uint32_t extent = 0; extent < store_.geometry_.extentCount; ++extent) {
            std::uint64_t const offset = store_.geometry_.directoryOffset +
                                         std::uint64_t{extent} * store_.geometry_.extentBytes;
            try {
                store_.extents_.present(offset, 1);
            } catch (Ombra::CorruptionDetectedException const& exception) {
                note(exception.msg().str());
            }
        }
    }

    void checkChain(std::uint32_t owner) {
        if (!directory_.present(owner)) {
            return;
        }
        std::uint32_t number = owner;
        std::uint32_t hops = 0;
        bool damaged = false;
        do {
            for (std::uint32_t index = 0; index < bucketEntries; ++index) {
                if (std::uint64_t const word = directory_.word({number, index}); word != 0) {
                    checkEntry(owner, {number, index}, word);
                }
            }
        } while (directory_.follow(owner, number, hops, damaged));
        if (damaged) {
            note(fmt::format(
                "{}: directory bucket {}: expected a link within chain {}, found {:016x}",
                store_.name_, number, owner, loadRelaxed(&directory_.bucket(number)->link)));
        }
    }

    void checkEntry(std::uint32_t owner, Cell cell, std::uint64_t word) {
        std::uint32_t const slot = entryNumber(word) - 1;
        if (!entryWhole(word, owner) || slot >= store_.slots_.count() ||
            !store_.slots_.present(slot)) {
            note(fmt::format(
                "{}: directory bucket {}, entry {}: expected a whole entry word of chain "
                "{}, found {:016x}",
                store_.name_, cell.bucket, cell.index, owner, word));
            return;
        }
        auto const [outcome, key, state] = store_.slots_.copy(slot, scratch_.data());
        // As for a reader (Store::lookupForeign): the word referred to what was copied only if it
        // is still there, and then the slot is still in that state.
        bool const settled = outcome != SlotArea::Copy::changed && directory_.word(cell) == word &&
                             store_.slots_.state(slot) == state;
        if (!settled) {
            changed_ = true;
            ++found_;
        } else if (outcome != SlotArea::Copy::whole) {
            note(store_.slots_.describe(slot, key), slot, key);
        } else if (directory_.ownerOf(key) != owner || directory_.tagOf(key) != entryTag(word)) {
            note(fmt::format("{}: slot {}, key {}: expected a key of chain {} with tag {:08x}",
                             store_.name_, slot, key, owner, entryTag(word)),
                 slot, key);
        } else {
            ++found_;
        }
    }

    // Whether an operation is taking or releasing the slot.
    bool underWay(std::uint32_t slot) const {
        Control::Journal const journal = store_.control_.journal();
        return slot + 1 == journal.taken || slot + 1 == journal.released;
    }

    // A live slot has an entry, but for the moment of an operation.
    void checkSlot(std::uint32_t slot) {
        if (!store_.slots_.present(slot)) {
            return;
        }
        std::uint64_t const state = store_.slots_.state(slot);
        std::uint64_t const key = store_.slots_.key(slot);
        if (!stateWhole(state)) {
            note(fmt::format("{}: slot {}, key {}: expected a whole state word, found {:016x}",
                             store_.name_, slot, key, state),
                 slot, key);
            return;
        }
        if (stateOf(state) != SlotState::live || underWay(slot)) {
            return;
        }
        std::uint64_t const shape = store_.control_.shape();
        Found const at = directory_.find(key);
        if (at.found && at.slot == slot) {
            return;
        }
        // A writer may have let go of the slot meanwhile. It notes that in the journal, moves the
        // entry, changes the state and clears the journal: one of the two still tells. Or it may
        // have moved the entry to where the search had been.
        changed_ = underWay(slot) || store_.slots_.state(slot) != state ||
                   store_.control_.shape() != shape;
        if (!changed_) {
            note(fmt::format(
                     "{}: slot {}, key {}: expected an entry in directory chain {} for this live "
                     "slot, found {}",
                     store_.name_, slot, key, at.owner,
                     at.found ? fmt::format("slot {} there", at.slot) : "none"),
                 slot, key);
        }
    }

    Store& store_;
    Directory& directory_;
    DamageCallback const& callback_;
    std::vector<char> scratch_;
    std::vector<Damage> damages_;
    std::uint64_t found_ = 0;
    bool changed_ = false; // a writer did, while the check looked
    VerifyResult result_;
};

namespace {

VerifyResult refuse(std::string const& name, std::string const& reason,
                    DamageCallback const& callback) {
    callback({name, {}, {}, fmt::format("{}: {}", name, reason)});
    return {0, 1};
}

} // namespace

VerifyResult verify(FileDescriptor fd, std::string const& name, DamageCallback const& callback) {
    StoreSpec spec;
    if (auto const kind = kindOf(fd.get())) {
        spec.typeName = kind->typeName;
        spec.recordBytes = kind->recordBytes;
        spec.keyBytes = kind->keyBytes;
        spec.order = kind->order;
        spec.anyLayout = true;
    }
    if (auto const reason = Store::unfit(fd.get(), spec)) {
        return refuse(name, *reason, callback);
    }
    Store store{std::move(fd), name, spec, Store::Mode::read};
    return Verifier{store, callback}.run();
}

VerifyResult verify(std::string const& path, DamageCallback const& callback) {
    FileDescriptor fd{::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    if (!fd) {
        return refuse(path, std::strerror(errno), callback);
    }
    return verify(std::move(fd), path, callback);
}

} // namespace Slate
