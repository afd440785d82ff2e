#pragma once

#include <Slate/MapCalls.h>

#include <map>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>
#include <utility>

// While it lives, whoever maps a file that this process has mapped for writing already gets that
// very mapping. So the thread sanitizer sees what reader threads and the writer do to the same
// words, which it would not see at two addresses.
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
        state().byFile.clear();
    }

    // How often somebody was given a mapping that was there already.
    unsigned shared() const {
        std::lock_guard const held{state().mutex};
        return state().shared;
    }

  private:
    using File = std::pair<dev_t, ino_t>;
    struct Mapped {
        void* at;
        unsigned users;
    };
    struct State {
        std::mutex mutex;
        std::map<File, Mapped> byFile;
        unsigned shared = 0;
    };
    static State& state() {
        static State instance;
        return instance;
    }

    static void* map(int fd, std::size_t bytes, bool writable) {
        struct stat status {};
        if (::fstat(fd, &status) != 0) {
            return MAP_FAILED;
        }
        std::lock_guard const held{state().mutex};
        File const file{status.st_dev, status.st_ino};
        if (auto const found = state().byFile.find(file); found != state().byFile.end()) {
            ++found->second.users;
            ++state().shared;
            return found->second.at;
        }
        void* const at = Slate::realMapCalls().map(fd, bytes, writable);
        if (writable && at != MAP_FAILED) {
            state().byFile[file] = {at, 1};
        }
        return at;
    }

    static void unmap(void* at, std::size_t bytes) {
        std::lock_guard const held{state().mutex};
        for (auto each = state().byFile.begin(); each != state().byFile.end(); ++each) {
            if (each->second.at == at) {
                if (--each->second.users != 0) {
                    return;
                }
                state().byFile.erase(each);
                break;
            }
        }
        Slate::realMapCalls().unmap(at, bytes);
    }
};

} // namespace testing_support
