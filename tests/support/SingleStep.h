#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <functional>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

// A child process that stops behind every machine instruction.
//
//     SteppedChild child{[&] { store.put(key, record); }};
//     while (child.step()) { look at what it has done so far }
//
// A child that was stepped to its end has ended with status 0 unless its work failed. One that is
// let go before is killed, where it stands.
namespace testing_support {

class SteppedChild {
  public:
    // Stands at the start of `work`. What the child is to do before isn't stepped.
    explicit SteppedChild(
        std::function<void()> const& work, std::function<void()> const& before = [] {}) {
        pid_ = ::fork();
        if (pid_ == 0) {
            before();
            ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            ::raise(SIGSTOP);
            work();
            ::_exit(testing::Test::HasFailure() ? 1 : 0);
        }
        int status = 0;
        EXPECT_EQ(::waitpid(pid_, &status, 0), pid_);
        EXPECT_TRUE(WIFSTOPPED(status)) << status;
        ::ptrace(PTRACE_SETOPTIONS, pid_, nullptr, PTRACE_O_EXITKILL);
    }
    SteppedChild(SteppedChild const&) = delete;
    SteppedChild& operator=(SteppedChild const&) = delete;
    ~SteppedChild() {
        if (!ended_) {
            ::kill(pid_, SIGKILL);
            int status = 0;
            ::waitpid(pid_, &status, 0);
        }
    }

    // One instruction. False when the child has ended.
    bool step() { return go(PTRACE_SINGLESTEP); }

    // To where the next system call begins or ends. False when the child has ended.
    bool stepToSystemCall() { return go(PTRACE_SYSCALL); }

    // Whether the next instruction is a system call.
    bool atSystemCall() const {
#if defined(__x86_64__) || defined(__i386__)
        user_regs_struct registers{};
        ::ptrace(PTRACE_GETREGS, pid_, nullptr, &registers);
#ifdef __x86_64__
        auto const at = registers.rip;
#else
        auto const at = registers.eip;
#endif
        auto const word = ::ptrace(PTRACE_PEEKTEXT, pid_, at, nullptr) & 0xffff;
        return word == 0x050f || word == 0x80cd || word == 0x340f;
#else
#error "how does a system call look here?"
#endif
    }

    // To the end, without another stop.
    void finish() {
        while (go(PTRACE_CONT)) {
        }
    }

    std::uint64_t steps() const {
        return steps_;
    }
    int status() const {
        return status_;
    } // of the end; -1 when a signal ended it

  private:
    bool go(decltype(PTRACE_CONT) how) {
        if (ended_) {
            return false;
        }
        EXPECT_EQ(::ptrace(how, pid_, nullptr, nullptr), 0) << std::strerror(errno);
        int status = 0;
        EXPECT_EQ(::waitpid(pid_, &status, 0), pid_);
        if (WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP) {
            ++steps_;
            return true;
        }
        if (WIFSTOPPED(status)) {
            ADD_FAILURE() << "the child has met signal " << WSTOPSIG(status);
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &status, 0);
        }
        ended_ = true;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return false;
    }

    pid_t pid_ = -1;
    bool ended_ = false;
    int status_ = 0;
    std::uint64_t steps_ = 0;
};

} // namespace testing_support
