#pragma once

#include <Slate/MapCalls.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>
#include <tuple>

// While it lives, whoever maps a part of a file that this process has mapped for writing already
// gets that very mapping. So the thread sanitizer sees what reader threads and the writer do to the
// same words, which it would not see at two addresses.
namespace testing_support {

class CommonMapping {
  public:
    CommonMapping() {
        state().shared = 0;
        Slate::mapCallsAre({&map, &unmap});
    }
    CommonMapping(CommonMapping const&) = delete;
    CommonMapping& operator=(CommonMapping const&) = delete;
    ~CommonMapping() {
        Slate::mapCallsAre(Slate::realMapCalls());
        state().byPart.clear();
    }

    // How often somebody was given a mapping that was there already.
    unsigned shared() const {
        std::lock_guard const held{state().mutex};
        return state().shared;
    }

  private:
    using Part = std::tuple<dev_t, ino_t, std::uint64_t>; // file and offset
    struct Mapped {
        void* at;
        unsigned users;
    };
    struct State {
        std::mutex mutex;
        std::map<Part, Mapped> byPart;
        unsigned shared = 0;
    };
    static State& state() {
        static State instance;
        return instance;
    }

    static void* map(int fd, std::uint64_t offset, std::size_t bytes, bool writable) {
        struct stat status {};
        if (::fstat(fd, &status) != 0) {
            return MAP_FAILED;
        }
        std::lock_guard const held{state().mutex};
        Part const part{status.st_dev, status.st_ino, offset};
        if (auto const found = state().byPart.find(part); found != state().byPart.end()) {
            ++found->second.users;
            ++state().shared;
            return found->second.at;
        }
        void* const at = Slate::realMapCalls().map(fd, offset, bytes, writable);
        if (writable && at != MAP_FAILED) {
            state().byPart[part] = {at, 1};
        }
        return at;
    }

    static void unmap(void* at, std::size_t bytes) {
        std::lock_guard const held{state().mutex};
        for (auto each = state().byPart.begin(); each != state().byPart.end(); ++each) {
            if (each->second.at == at) {
                if (--each->second.users != 0) {
                    return;
                }
                state().byPart.erase(each);
                break;
            }
        }
        Slate::realMapCalls().unmap(at, bytes);
    }
};

} // namespace testing_support
