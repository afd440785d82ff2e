#pragma once

#include <Ombra/Export.h>
#include <Slate/Control.h>
#include <Slate/Directory.h>
#include <Slate/Extents.h>
#include <Slate/Geometry.h>
#include <Slate/IterHint.h>
#include <Slate/Mapping.h>
#include <Slate/SlotAllocator.h>
#include <Slate/SlotArea.h>
#include <Slate/StoreSpec.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// A keyed collection of fixed-size records in one mapped file.
//
// Why it exists: an agent that is killed at any instruction must find all that it stored, and
// processes that read along must never see half a record and never wait for a writer that may be
// dead. And a store must cost little more than copying the record.
//
// Invariants, which hold after every single machine instruction of the writer:
//  1. Every entry word of the directory refers to a slot that is live, holds a key that belongs to
//     the entry, and has a matching checksum.
//  2. Slots that no entry word refers to are free. So one 8-byte store into the directory commits
//     an insert (word set), a replacement (word changed) or a removal (word cleared, or overwritten
//     by the word that fills its place).
//  3. A key has one slot. For the moment of a move inside a chain that slot has two words.
//  4. A slot is not written while a word refers to it. A reader that holds an old word sees by the
//     slot's state word, which never repeats, that the slot was taken for something else.
//
// Opening as writer reads the directory once and rebuilds the list of free slots from it; nothing
// else has to be done after a crash but to clear one leftover word of a move and to retire one
// slot. The slots' own states and keys are redundant: damaged directory words are rebuilt from
// them.
//
// Damage: whatever a read uses is checked (entry words by their fold, slots by state word, key and
// checksum, the extent table by its words), and a read that meets damage raises
// `Ombra::CorruptionDetectedException`. A store or removal repairs the directory and goes on; a
// damaged slot is replaced or removed like any other and then not used again by this process.
//
// A read verifies what it hands out. One operation of a caller may look at a record more than once;
// while it holds an `Operation`, a record that a look-up has verified is not summed again by the
// next ones, as long as the slot's state word, which never repeats, is the same.
//
// Cost: a lookup touches one bucket (a cache line) and the slot; an insert the same. Nothing
// allocates but the lists of free slots.
//
// Thread-safety: one thread per Store. Any number of Stores, in any processes, may read a file
// while one writes it.
namespace Slate {

class LOAM_EXPORT Store {
  public:
    enum class Mode { read, write };

    // Writes a new, empty store into `fd`, an empty file opened for reading and writing.
    // Raises `NoSpaceException`, and `BadFileException` for an impossible spec.
    static void format(int fd, std::string const& name, StoreSpec const& spec, bool wiped);

    // Why the file is not a whole store of this kind, or nothing when it is one. Looks at length,
    // superblock and control page; content is checked where it is read. A capacity of 0 and an
    // empty collection name in `spec` accept any.
    static std::optional<std::string> unfit(int fd, StoreSpec const& spec);

    // Maps the store in `fd`, which is taken over. `name` is what messages call it. As writer, also
    // finishes what a former writer left half done and repairs the directory. The caller sees to it
    // that there is one writer. Raises `BadFileException` when `unfit` has a reason.
    Store(FileDescriptor fd, std::string name, StoreSpec const& spec, Mode mode);
    ~Store();

    Store(Store const&) = delete;
    Store& operator=(Store const&) = delete;

    // The record's bytes, or null when the key is absent. A writer's answer points into the mapping
    // and is good until the next operation; a reader's is `buffer`, which takes a record. Raises
    // `Ombra::CorruptionDetectedException`.
    void const* lookup(std::uint64_t key, void* buffer) {
        if (lastKey_ == key && verifiedState_ != 0 && directory_.stands(last_) &&
            slots_.state(last_.slot) == verifiedState_) {
            return slots_.record(last_.slot);
        }
        return lookupAndVerify(key, buffer);
    }

    // The key is asked for soon: has the processor fetch what tells where its record is, and, with
    // that at hand, the record. Hints, which change nothing; what they read is not verified.
    void fetchPlace(std::uint64_t key) const noexcept { directory_.fetchBucket(key); }
    void fetchRecord(std::uint64_t key) const noexcept { directory_.fetchSlot(key); }

    // For the time of one operation of the caller, on the stack. Nested ones are as one.
    class Operation {
      public:
        explicit Operation(Store& store) noexcept : store_{store} { ++store_.operations_; }
        ~Operation() {
            if (--store_.operations_ == 0) {
                store_.verifiedState_ = 0;
            }
        }
        Operation(Operation const&) = delete;
        Operation& operator=(Operation const&) = delete;

      private:
        Store& store_;
    };

    // Walks, see Slate/SlateMap.h. `hint` may be null.
    bool iterFirst(void* record, IterHint* hint);
    bool iterNext(std::uint64_t previous, void* record, IterHint* hint);

    // Adds or replaces. Raises `FullException`, `NoSpaceException`, `ReadOnlyException`; then
    // nothing changed.
    void put(std::uint64_t key, void const* record);

    // Removes. False when the key is absent. Raises `ReadOnlyException`.
    bool erase(std::uint64_t key);

    std::uint32_t memberCount() const;
    std::uint64_t scratchpad() const;
    void scratchpadIs(std::uint64_t value);
    bool wiped() const;
    void clearWiped();

    std::string const& name() const { return name_; }
    std::uint32_t capacity() const { return geometry_.capacity; }
    Geometry const& geometry() const { return geometry_; }
    bool writable() const { return writable_; }
    std::uint64_t writerPid() const; // the last one; 0 for none

    // Whether `path` no longer leads to this file.
    bool stale(std::string const& path) const;

    // Refuses changes from now on and drops what `keepWhileWriting` holds. What is mapped stays
    // readable.
    void close();

    // Something to hold for as long as this store writes: the lock that makes it the only writer.
    void keepWhileWriting(std::shared_ptr<void> lock) { lock_ = std::move(lock); }

    // Called with a sentence for each damage that a store, a removal or the opening met. What was
    // met before the sink is set is passed on at once.
    void damageSinkIs(std::function<void(std::string const&)> sink);

  private:
    friend class Recovery;
    friend class Verifier;

    void const* lookupAndVerify(std::uint64_t key, void* buffer);
    void const* lookupOwn(std::uint64_t key);
    bool lookupForeign(std::uint64_t key, void* buffer);
    [[noreturn]] void raiseSlot(std::uint32_t slot, std::uint64_t key);
    [[noreturn]] void raiseChain(std::uint32_t owner);
    [[noreturn]] void raiseRestless(std::uint64_t key) const;
    bool walk(Position const& from, void* record, IterHint* hint);
    Found& findOwn(std::uint64_t key);
    Found& findForChange(std::uint64_t key);
    std::uint32_t takeSlot(std::uint64_t key, void const* record, std::uint32_t released);
    void release(std::uint32_t slot);
    void memberCountIs(std::uint32_t count) {
        memberCount_ = count;
        control_.memberCountIs(count);
    }
    void requireWritable() const;
    void reportDamage(std::string const& text);

    std::string name_;
    Geometry geometry_;
    Mapping mapping_;
    bool writable_;
    Extents extents_;
    Control control_;
    SlotArea slots_;
    Directory directory_;
    SlotAllocator allocator_;
    std::uint32_t memberCount_ = 0;
    std::uint64_t nextSequence_ = 0;
    std::uint64_t sequenceLimit_ = 0;
    std::uint64_t lastKey_ = 0;              // what the writer asked for or stored last,
    Found last_;                             // where that is, as long as its word stands,
    std::uint64_t verifiedState_ = 0;        // and its slot's state when it was verified last in
    std::uint32_t operations_ = 0;           // one of the operations that are held now; 0 for not
    std::vector<std::uint32_t> quarantined_; // slots found damaged; not used again
    std::function<void(std::string const&)> damageSink_;
    std::vector<std::string> earlyDamage_;
    std::shared_ptr<void> lock_;
};

} // namespace Slate
