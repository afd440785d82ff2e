#pragma once

#include <Ombra/Export.h>
#include <Ombra/ThreadControl.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <typeinfo>
#include <vector>

// Counts of the objects of every allocated class.
//
// Each class has a static `memAllocationTracker_`, a pointer that starts empty and is filled by the
// class's first `_trackAllocation`. Arrays (the buckets of a hash collection) count their slots.
// Counts move plainly, or atomically once `Ombra::ThreadControl::tsp_` is set; registration of a
// class takes a lock, once.
namespace Zet {

class LOAM_EXPORT AllocTrackTypeInfo {
  public:
    struct Totals {
        std::string typeName;      // as a person writes it
        std::uint64_t live;        // objects or array slots that exist now
        std::uint64_t allocated;   // the same, ever made
        std::uint32_t sizeBytes;   // of one object or slot
        std::uint32_t granularity; // bytes
    };

    static void _trackAllocation(AllocTrackTypeInfo** tracker, std::type_info const& type,
                                 unsigned int sizeBytes, unsigned int granularity) {
        if (*tracker == nullptr) [[unlikely]] {
            registerType(tracker, type, sizeBytes, granularity);
        }
        (*tracker)->add(1);
    }

    static void trackDeallocation(AllocTrackTypeInfo* tracker) { tracker->subtract(1); }

    static void trackArrayAllocation(AllocTrackTypeInfo** tracker, std::type_info const& type,
                                     unsigned int sizeBytes, unsigned int count) {
        if (*tracker == nullptr) [[unlikely]] {
            registerType(tracker, type, sizeBytes, granularityOf(sizeBytes));
        }
        (*tracker)->add(count);
    }

    static void trackArrayDeallocation(AllocTrackTypeInfo* tracker, unsigned int count) {
        tracker->subtract(count);
    }

    // 8 for a size that is a multiple of 8, otherwise 4.
    static constexpr unsigned int granularityOf(unsigned int sizeBytes) {
        return sizeBytes % 8 == 0 ? 8 : 4;
    }

    // Objects of the class that exist now; 0 for a class that was never allocated.
    static std::uint64_t live(AllocTrackTypeInfo const* tracker) {
        return tracker == nullptr ? 0 : tracker->live_;
    }

    // Objects of the class ever made.
    static std::uint64_t allocated(AllocTrackTypeInfo const* tracker) {
        return tracker == nullptr ? 0 : tracker->allocated_;
    }

    // Every class allocated so far, in the order of its first allocation.
    static std::vector<Totals> dump();

  private:
    AllocTrackTypeInfo(std::type_info const& type, std::uint32_t sizeBytes,
                       std::uint32_t granularity) noexcept
        : type_{&type}, sizeBytes_{sizeBytes}, granularity_{granularity} {}

    static void registerType(AllocTrackTypeInfo** tracker, std::type_info const& type,
                             unsigned int sizeBytes, unsigned int granularity);

    void add(std::uint64_t count) {
        if (Ombra::ThreadControl::tsp_) [[unlikely]] {
            std::atomic_ref{live_}.fetch_add(count, std::memory_order_relaxed);
            std::atomic_ref{allocated_}.fetch_add(count, std::memory_order_relaxed);
        } else {
            live_ += count;
            allocated_ += count;
        }
    }

    void subtract(std::uint64_t count) {
        if (Ombra::ThreadControl::tsp_) [[unlikely]] {
            std::atomic_ref{live_}.fetch_sub(count, std::memory_order_relaxed);
        } else {
            live_ -= count;
        }
    }

    std::type_info const* type_;
    std::uint32_t sizeBytes_;
    std::uint32_t granularity_;
    alignas(8) std::uint64_t live_ = 0;
    alignas(8) std::uint64_t allocated_ = 0;
};

} // namespace Zet
