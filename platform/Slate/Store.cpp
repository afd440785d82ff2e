#include <Ombra/Exception.h>
#include <Slate/Exceptions.h>
#include <Slate/Recovery.h>
#include <Slate/Store.h>
#include <Slate/StoreFile.h>

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <sys/stat.h>
#include <unistd.h>

namespace Slate {

namespace {

// How often a reader looks again because the writer changed what it was copying. Each try takes
// less than the writer needs for a store, so that even this many changes of one record in a row do
// not happen.
constexpr int readTries = 10000;

// Sequence numbers are used without a note in the file up to a limit that is noted before.
constexpr std::uint64_t sequenceBlock = 1U << 20;

std::uint32_t fileSeed(Superblock const& superblock) {
    return Crc32c::ofBytes(0xffffffff, superblock.uuid, sizeof superblock.uuid);
}

Geometry checkedGeometry(FileDescriptor const& fd, std::string const& name, StoreSpec const& spec) {
    if (auto const reason = Store::unfit(fd.get(), spec)) {
        throw BadFileException{fmt::format("{}: {}", name, *reason)};
    }
    return geometryOf(readSuperblock(fd.get()), name);
}

} // namespace

Store::Store(FileDescriptor fd, std::string name, StoreSpec const& spec, Mode mode)
    : name_{std::move(name)}, geometry_{checkedGeometry(fd, name_, spec)},
      mapping_{std::move(fd), name_, geometry_.fileBytes, mode == Mode::write},
      writable_{mode == Mode::write}, extents_{mapping_, geometry_, name_},
      control_{mapping_, name_}, slots_{mapping_, geometry_, extents_,
                                        fileSeed(*mapping_.as<Superblock>(0)), name_},
      directory_{mapping_, geometry_, extents_, slots_, control_, name_}, allocator_{
                                                                              geometry_.slotCount} {
    if (writable_) {
        control_.writerPidIs(static_cast<std::uint64_t>(::getpid()));
        Recovery{*this}.run();
    }
}

Store::~Store() = default;

void const* Store::lookupAndVerify(std::uint64_t key, void* buffer) {
    if (writable_) [[likely]] {
        return lookupOwn(key);
    }
    return lookupForeign(key, buffer) ? buffer : nullptr;
}

// The key of the last call often is this one's too: what was read is stored, or looked at again.
inline Found& Store::findOwn(std::uint64_t key) {
    if (lastKey_ != key || !directory_.stands(last_)) {
        lastKey_ = key;
        verifiedState_ = 0;
        directory_.find(key, last_);
    }
    return last_;
}

void const* Store::lookupOwn(std::uint64_t key) {
    Found const& at = findOwn(key);
    if (!at.found) {
        if (at.damaged) [[unlikely]] {
            raiseChain(at.owner);
        }
        return nullptr;
    }
    verifiedState_ = 0;
    if (!slots_.whole(at.slot, key)) [[unlikely]] {
        raiseSlot(at.slot, key);
    }
    if (operations_ != 0) {
        verifiedState_ = slots_.state(at.slot);
    }
    return slots_.record(at.slot);
}

// The writer may be at work between any two looks of a reader. A slot that does not hold what its
// word promises is damaged only if, in this order, the word is still there and the slot still in
// the state in which it was copied: states never repeat, so at that moment the word referred to
// just what was copied. (The word alone may have gone and come back.) And what was copied whole
// counts only if the word is still there: a slot that was let go meanwhile may be whole again, with
// a record that is not committed yet and never will be if the writer dies.
bool Store::lookupForeign(std::uint64_t key, void* buffer) {
    for (int tries = 0; tries < readTries; ++tries) {
        std::uint64_t const shape = control_.shape();
        Found const at = directory_.find(key);
        if (!at.found) {
            std::atomic_thread_fence(std::memory_order_acquire);
            if (control_.shape() != shape) {
                continue;
            }
            if (at.damaged) {
                raiseChain(at.owner);
            }
            return false;
        }
        SlotArea::Seen const seen = slots_.copy(at.slot, buffer);
        bool const whole = seen.outcome == SlotArea::Copy::whole && seen.key == key;
        if (directory_.word(at.cell) != at.word) {
            continue;
        }
        if (whole) {
            return true;
        }
        if (seen.outcome != SlotArea::Copy::changed && slots_.state(at.slot) == seen.state) {
            raiseSlot(at.slot, key);
        }
    }
    raiseRestless(key);
}

bool Store::iterFirst(void* record, IterHint* hint) {
    return walk({}, record, hint);
}

bool Store::iterNext(std::uint64_t previous, void* record, IterHint* hint) {
    return walk(directory_.behind(previous), record, hint);
}

bool Store::walk(Position const& from, void* record, IterHint* hint) {
    for (int tries = 0; tries < readTries; ++tries) {
        std::uint64_t const shape = control_.shape();
        Next const next = directory_.next(from);
        if (!next.found || next.damaged) {
            std::atomic_thread_fence(std::memory_order_acquire);
            if (control_.shape() != shape) {
                continue;
            }
            if (next.damaged) {
                raiseChain(next.owner);
            }
            return false;
        }
        if (next.changed) {
            continue;
        }
        SlotArea::Seen const seen = slots_.copy(next.slot, record);
        bool const fits = directory_.tagOf(seen.key) == entryTag(next.word) &&
                          directory_.ownerOf(seen.key) == next.owner;
        bool const whole = seen.outcome == SlotArea::Copy::whole && fits;
        // What was copied counts only if its word is still there, as in a lookup; and a word that
        // moved to a place already passed must not be left out of the walk.
        if (whole &&
            (writable_ || (directory_.word(next.cell) == next.word && control_.shape() == shape))) {
            if (hint != nullptr) {
                hint->bucket = next.owner;
            }
            if (writable_) { // who walks looks at where it is
                lastKey_ = seen.key;
                verifiedState_ = 0;
                last_.found = true;
                last_.owner = next.owner;
                last_.tag = entryTag(next.word);
                last_.slot = next.slot;
                last_.word = next.word;
                last_.cell = next.cell;
            }
            return true;
        }
        if (!whole && seen.outcome != SlotArea::Copy::changed &&
            (writable_ ||
             (directory_.next(from).word == next.word && slots_.state(next.slot) == seen.state))) {
            raiseSlot(next.slot, seen.key);
        }
    }
    raiseRestless(from.key);
}

void Store::raiseSlot(std::uint32_t slot, std::uint64_t key) {
    if (std::find(quarantined_.begin(), quarantined_.end(), slot) == quarantined_.end()) {
        quarantined_.push_back(slot);
    }
    throw Ombra::CorruptionDetectedException{slots_.describe(slot, key)};
}

void Store::raiseChain(std::uint32_t owner) {
    throw Ombra::CorruptionDetectedException{directory_.describe(owner)};
}

void Store::raiseRestless(std::uint64_t key) const {
    throw Ombra::CorruptionDetectedException{
        fmt::format("{}: key {}: expected a record at rest, found it changed at each of {} reads",
                    name_, key, readTries)};
}

// `last_`, which the change then brings up to date.
Found& Store::findForChange(std::uint64_t key) {
    requireWritable();
    Found& at = findOwn(key);
    verifiedState_ = 0;
    if (at.damaged && !at.found) [[unlikely]] {
        reportDamage(directory_.describe(at.owner));
        Recovery{*this}.run();
        directory_.find(key, at);
    }
    return at;
}

inline void Store::release(std::uint32_t slot) {
    slots_.retire(slot);
    bool const damaged =
        !quarantined_.empty() &&
        std::find(quarantined_.begin(), quarantined_.end(), slot) != quarantined_.end();
    if (!damaged) [[likely]] {
        allocator_.give(slot);
    }
}

void Store::put(std::uint64_t key, void const* record) {
    Found& at = findForChange(key);
    if (at.found) {
        std::uint32_t const before = at.slot;
        std::uint32_t const slot = takeSlot(key, record, before + 1);
        directory_.swing(at, slot);
        release(before);
        return;
    }
    if (memberCount_ >= geometry_.capacity) {
        throw FullException{fmt::format("{}: key {}: the collection is full, it holds {} records",
                                        name_, key, memberCount_)};
    }
    directory_.prepare(at);
    std::uint32_t const slot = takeSlot(key, record, 0);
    directory_.enter(at, slot);
    memberCountIs(memberCount_ + 1);
}

bool Store::erase(std::uint64_t key) {
    Found& at = findForChange(key);
    if (!at.found) {
        return false;
    }
    control_.journalIs(0, at.slot + 1);
    directory_.remove(at);
    release(at.slot);
    memberCountIs(memberCount_ - 1);
    return true;
}

// Fills a free slot with a record that no entry refers to yet. `released` is the slot + 1 that the
// operation will let go, or 0.
std::uint32_t Store::takeSlot(std::uint64_t key, void const* record, std::uint32_t released) {
    if (allocator_.empty()) {
        throw FullException{fmt::format(
            "{}: key {}: no slot is left, {} of {} were found damaged and are not used again",
            name_, key, quarantined_.size(), geometry_.slotCount)};
    }
    std::uint32_t const slot = allocator_.peek();
    slots_.ensure(slot);
    if (nextSequence_ == sequenceLimit_) [[unlikely]] {
        sequenceLimit_ += sequenceBlock;
        control_.sequenceLimitIs(sequenceLimit_);
    }
    control_.journalIs(slot + 1, released);
    slots_.write(slot, key, nextSequence_++, record);
    allocator_.take();
    return slot;
}

std::uint32_t Store::memberCount() const {
    if (writable_) {
        return memberCount_;
    }
    auto const noted = control_.memberCount();
    return noted ? *noted : directory_.count();
}

std::uint64_t Store::scratchpad() const {
    return control_.scratchpad();
}

bool Store::wiped() const {
    return control_.wiped();
}

std::uint64_t Store::writerPid() const {
    return control_.writerPid();
}

void Store::scratchpadIs(std::uint64_t value) {
    requireWritable();
    control_.scratchpadIs(value);
}

void Store::clearWiped() {
    requireWritable();
    control_.clearWiped();
}

bool Store::stale(std::string const& path) const {
    struct stat mapped {};
    struct stat named {};
    return ::fstat(mapping_.fd(), &mapped) != 0 || ::lstat(path.c_str(), &named) != 0 ||
           mapped.st_ino != named.st_ino || mapped.st_dev != named.st_dev;
}

void Store::close() {
    verifiedState_ = 0;
    if (writable_) {
        writable_ = false;
        extents_.disown();
        control_.disown();
        directory_.disown();
    }
    lock_.reset();
}

void Store::requireWritable() const {
    if (!writable_) [[unlikely]] {
        throw ReadOnlyException{
            fmt::format("{}: this process mounted it for reading, or has closed it", name_)};
    }
}

void Store::damageSinkIs(std::function<void(std::string const&)> sink) {
    damageSink_ = std::move(sink);
    if (!damageSink_) {
        return;
    }
    for (std::string const& text : earlyDamage_) {
        damageSink_(text);
    }
    earlyDamage_.clear();
}

void Store::reportDamage(std::string const& text) {
    if (damageSink_) {
        damageSink_(text);
    } else {
        earlyDamage_.push_back(text);
    }
}

} // namespace Slate
