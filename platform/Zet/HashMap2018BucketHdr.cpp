#include <Ombra/ThreadControl.h>
#include <Zet/HashMap2018BucketHdr.h>

#include <atomic>

namespace Zet {

AllocTrackTypeInfo* HashMap2018BucketHdr::bucketHeaderTracker_ = nullptr;

void HashMap2018BucketHdr::refInc() noexcept {
    if (Ombra::ThreadControl::tsp_) [[unlikely]] {
        std::atomic_ref{refsAndDepth_}.fetch_add(oneRef, std::memory_order_relaxed);
    } else {
        refsAndDepth_ += oneRef;
    }
}

std::uint32_t HashMap2018BucketHdr::bktHdrRefDecHelper() noexcept {
    if (Ombra::ThreadControl::tsp_) [[unlikely]] {
        auto const before =
            std::atomic_ref{refsAndDepth_}.fetch_sub(oneRef, std::memory_order_acq_rel);
        return (before - oneRef) >> depthBits;
    }
    refsAndDepth_ -= oneRef;
    return refs();
}

} // namespace Zet
