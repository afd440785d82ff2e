#pragma once

#include "EntryLogFixture.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

// The agent in a process of its own, and what other processes can see of it.
namespace LoamSystemAcl::entry_log_test {

// A forked process. It is killed when this goes.
class Child {
  public:
    explicit Child(std::function<void()> const& work) : pid_{::fork()} {
        if (pid_ == 0) {
            try {
                work();
            } catch (std::exception const& failure) {
                fmt::print(stderr, "child: {}\n", failure.what());
                ::_exit(1);
            }
            ::_exit(testing::Test::HasFailure() ? 1 : 0);
        }
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;
    ~Child() { kill(); }

    pid_t pid() const { return pid_; }
    void kill() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
            pid_ = 0;
        }
    }
    bool ended(int& status) {
        if (::waitpid(pid_, &status, WNOHANG) != pid_) {
            return false;
        }
        pid_ = 0;
        return true;
    }

  private:
    pid_t pid_;
};

// The child lets itself be stepped, and waits for that.
inline void stopHere() {
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
}

inline void awaitStop(Child const& child) {
    int status = 0;
    ASSERT_EQ(::waitpid(child.pid(), &status, 0), child.pid());
    ASSERT_TRUE(WIFSTOPPED(status)) << status;
}

// Single-steps a child that has stopped. `look` is called after every instruction and says whether
// to go on. True when it said no; false when the child has come to its end.
inline bool stepThrough(Child const& child, std::function<bool()> const& look) {
    while (look()) {
        int status = 0;
        if (::ptrace(PTRACE_SINGLESTEP, child.pid(), nullptr, nullptr) != 0 ||
            ::waitpid(child.pid(), &status, 0) != child.pid() || !WIFSTOPPED(status) ||
            WSTOPSIG(status) != SIGTRAP) {
            return false;
        }
    }
    return true;
}

// Memory that the child has in common with the test.
template <typename T>
class Common {
  public:
    Common()
        : at_{static_cast<T*>(::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE,
                                     MAP_SHARED | MAP_ANONYMOUS, -1, 0))} {}
    Common(Common const&) = delete;
    Common& operator=(Common const&) = delete;
    ~Common() { ::munmap(at_, sizeof(T)); }
    T* operator->() const { return at_; }

  private:
    T* at_;
};

// What another process can see of an agent.
class Reader {
  public:
    explicit Reader(Ombra::String const& name) : manager_{name, false} {}

    // False while the agent hasn't made its stores.
    bool open() {
        log_ = log_ ? log_ : mount<Family::EntryLogSlate>(Constants::tableEntryLogSlatePath());
        config_ = config_ ? config_ : mount<Family::ConfigSlate>(Constants::configSlatePath(0));
        announced_ =
            announced_
                ? announced_
                : mount<Asic::AnnouncementSlate>(Asic::Constants::announcementSlatePath(
                      testing_support::AgentInProcess::canonicalGroup(), Constants::tableId));
        return log_ && config_ && announced_;
    }

    LogVersion scratchpad() const { return log_->control()->scratchpad(); }
    LogVersion announced() const { return announced_->control()->scratchpad(); }
    std::optional<LogSlateEntry> logged(LogVersion version) const {
        bool found = false;
        LogSlateEntry const record = log_->entryLogConfig().lookup(version, &found, nullptr);
        return found ? std::optional{record} : std::nullopt;
    }
    std::optional<ConfigSlateEntry> stored(Key key) const {
        bool found = false;
        ConfigSlateEntry const record = config_->swTableEntries().lookup(key, &found, nullptr);
        return found ? std::optional{record} : std::nullopt;
    }
    Ombra::Ptr<Family::ConfigSlate> const& config() const { return config_; }

  private:
    template <typename T>
    Ombra::Ptr<T> mount(Ombra::String const& path) {
        auto const group = manager_.getMountGroup();
        group->mount(path, T::typeName, ZetSlate::MountInfo{ZetSlate::ZetSlateType::reader});
        group->doClose();
        return Ombra::dynamicCast<T>(manager_.getEntity(path));
    }

    ZetSharedMem::EntityManager manager_;
    Ombra::Ptr<Family::EntryLogSlate> log_;
    Ombra::Ptr<Family::ConfigSlate> config_;
    Ombra::Ptr<Asic::AnnouncementSlate> announced_;
};

inline bool whole(LogEntry const& entry) {
    unsigned value = 0;
    std::memcpy(&value, entry.fields().data(), sizeof value);
    return entry == patterned(entry.key(), value);
}

inline Ombra::String testName() {
    return testing::UnitTest::GetInstance()->current_test_info()->name();
}

} // namespace LoamSystemAcl::entry_log_test
