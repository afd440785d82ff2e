#pragma once

#include <Ombra/Export.h>
#include <Ombra/ThreadControl.h>
#include <Ombra/TypeData.h>

#include <atomic>
#include <cstdint>

// The counted object under everything that is held through an `Ombra::Ptr`.
//
// A new node starts with the count 1, which belongs to whoever made it (`Ptr::adopt`, or
// `Ombra::ptrIs`, which does both). The count moves plainly, or atomically once
// `ThreadControl::tsp_` is set. When it reaches 0, `lastUserGone` runs; unless a class says
// otherwise, that deletes the node.
//
// The first three virtual operations behind the destructors have fixed places in every class:
// `lastUserGone`, `publisher`, `typeData`.
namespace Ombra {

class Publisher;

class LOAM_EXPORT Node {
  public:
    Node() = default;
    Node(Node const&) = delete;
    Node& operator=(Node const&) = delete;
    virtual ~Node();

    // The last reference was dropped. Deletes the node.
    virtual void lastUserGone() const;

    // Where changes of this node's attributes are announced; null for a class that announces none.
    virtual Publisher* publisher() const;

    virtual TypeData typeData() const;

    void refInc() const noexcept {
        if (ThreadControl::tsp_) [[unlikely]] {
            refIncAtomically();
        } else {
            ++refCount_;
        }
    }

    void refDec() const {
        if (ThreadControl::tsp_) [[unlikely]] {
            refDecAtomically();
        } else if (--refCount_ == 0) {
            lastUserGone();
        }
    }

    std::uint32_t refCount() const noexcept {
        return atomicCount().load(std::memory_order_relaxed);
    }

    // Flags of the node's life. Set once, never cleared.
    void nodeFlagSet(std::uint32_t flag) noexcept { nodeFlags_ |= flag; }
    bool nodeFlagHas(std::uint32_t flag) const noexcept { return (nodeFlags_ & flag) == flag; }

    // The node is being destroyed on purpose, not only let go.
    static constexpr std::uint32_t flagDeleted = 0x20000000;

  private:
    void refIncAtomically() const noexcept;
    void refDecAtomically() const;
    std::atomic_ref<std::uint32_t> atomicCount() const noexcept {
        return std::atomic_ref<std::uint32_t>{refCount_};
    }

    alignas(4) mutable std::uint32_t refCount_ = 1;
    std::uint32_t nodeFlags_ = 0;
};

} // namespace Ombra
