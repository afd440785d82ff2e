#include "Counted.h"

#include <Ombra/Ptr.h>
#include <Ombra/RQueue.h>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

// The address sanitizer ends a process that is out of memory in its own way.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

struct QE_Memory {};
using Queue = Ombra::RQueue<Ombra::Ptr<OmbraTest::Counted>, QE_Memory, false>;

TEST(RQueueDeathTest, WithoutMemoryForABlockTheProcessAborts) {
    auto const fillWithLittleMemory = [] {
        rlimit const little{.rlim_cur = 128U << 20, .rlim_max = 128U << 20}; // bytes
        if (::setrlimit(RLIMIT_AS, &little) != 0) {
            return;
        }
        Queue queue;
        for (std::size_t i = 0; i < std::size_t{1} << 26; ++i) { // pointers of 512 MiB
            queue.enq(nullptr);
        }
    };
    EXPECT_EXIT(fillWithLittleMemory(), testing::KilledBySignal(SIGABRT), "^$");
}

} // namespace

#endif
