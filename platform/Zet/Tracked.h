#pragma once

#include <Ombra/Export.h>
#include <Pallet/SlabAlloc.h>
#include <Zet/AllocTrack.h>

#include <cstddef>
#include <type_traits>
#include <typeinfo>

// How a counted class is made and destroyed: from the slab, counted on its own tracker.
//
//     class XxxEntryWrapper : public Zet::Tracked<XxxEntryWrapper, Ombra::Node, perOperation>
//     {...};
//
// `new` counts the object and allocates it; when there is no memory, the count is undone; when the
// constructor throws, the language calls the matching `delete`, which undoes both in reverse. A
// class derived from such a class by a client is made and counted the same way, under the tracker
// of the class that it derives from.
namespace Zet {

// An enumeration, because an instantiation over a class object would stay hidden in its library.
enum class LOAM_EXPORT NoPattern { none };
inline constexpr auto noPattern = NoPattern::none;
inline constexpr auto perOperation = Pallet::SlabAllocationPattern::perOperation;

template <typename Self, typename Base, auto pattern = noPattern>
class LOAM_EXPORT Tracked : public Base {
  public:
    using Base::Base;

    // One per class and process, whichever library makes or destroys the object.
    LOAM_EXPORT static inline AllocTrackTypeInfo* memAllocationTracker_ = nullptr;

    static void* operator new(std::size_t size) {
        auto const bytes = static_cast<unsigned int>(size);
        AllocTrackTypeInfo::_trackAllocation(&memAllocationTracker_, typeid(Self), bytes,
                                             AllocTrackTypeInfo::granularityOf(bytes));
        try {
            if constexpr (std::is_same_v<std::remove_cv_t<decltype(pattern)>, NoPattern>) {
                return Pallet::slabAlloc(bytes);
            } else {
                return Pallet::slabAlloc(bytes, pattern);
            }
        } catch (...) {
            AllocTrackTypeInfo::trackDeallocation(memAllocationTracker_);
            throw;
        }
    }

    static void operator delete(void* memory) noexcept {
        AllocTrackTypeInfo::trackDeallocation(memAllocationTracker_);
        Pallet::slabFree(memory, typeid(Self));
    }
};

} // namespace Zet
