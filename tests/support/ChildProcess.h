#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

// Real programs in tests: started, watched, killed, all within bounded time.
namespace testing_support {

using namespace std::chrono_literals;

// A folder in shared memory, mode 0700, that goes with the object.
class ScratchFolder {
  public:
    ScratchFolder() {
        std::string text = "/dev/shm/loam-test-XXXXXX";
        path_ = ::mkdtemp(text.data()) == nullptr ? "" : text;
    }
    ScratchFolder(ScratchFolder const&) = delete;
    ScratchFolder& operator=(ScratchFolder const&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string const& path() const { return path_; }
    std::string operator/(std::string const& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

inline std::string contentOf(std::string const& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

inline void contentIs(std::string const& path, std::string const& text) {
    std::ofstream{path, std::ios::binary} << text;
}

inline std::size_t countOf(std::string const& text, std::string const& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// Whether `holds` comes true in time; asked every few milliseconds.
template <typename Condition>
bool eventually(Condition const& holds, std::chrono::milliseconds most = 20s) {
    auto const end = std::chrono::steady_clock::now() + most;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

// How a process ended: its exit status, or 128 and the signal; -1 when it did not end in time and
// was killed.
class ChildProcess {
  public:
    // `outputStem` names two files, STEM.out and STEM.err, for what it prints.
    ChildProcess(std::vector<std::string> const& arguments, std::string const& outputStem)
        : out_{outputStem + ".out"}, err_{outputStem + ".err"} {
        std::vector<char*> pointers;
        for (auto const& argument : arguments) {
            pointers.push_back(const_cast<char*>(argument.c_str()));
        }
        pointers.push_back(nullptr);
        pid_ = ::fork();
        if (pid_ == 0) {
            redirect(STDOUT_FILENO, out_);
            redirect(STDERR_FILENO, err_);
            ::execv(pointers[0], pointers.data());
            ::_exit(127);
        }
    }
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;
    ~ChildProcess() {
        if (!status_) {
            ::kill(pid_, SIGKILL);
            wait();
        }
    }

    pid_t pid() const { return pid_; }
    std::string out() const { return contentOf(out_); }
    std::string err() const { return contentOf(err_); }

    void signal(int number) { ::kill(pid_, number); }

    bool running() { return !poll(); }

    int wait(std::chrono::milliseconds most = 60s) {
        if (!eventually([this] { return poll(); }, most)) {
            ::kill(pid_, SIGKILL);
            int ignored = 0;
            ::waitpid(pid_, &ignored, 0);
            status_ = -1;
        }
        return *status_;
    }

    // Whether it has printed the text on standard output in time.
    bool says(std::string const& text, std::chrono::milliseconds most = 20s) {
        return eventually(
                   [&] {
                       return out().find(text) != std::string::npos || (poll() && ended_++ > 0);
                   },
                   most) &&
               out().find(text) != std::string::npos;
    }

  private:
    static void redirect(int stream, std::string const& path) {
        int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(file, stream);
    }

    bool poll() {
        int status = 0;
        if (!status_ && ::waitpid(pid_, &status, WNOHANG) == pid_) {
            status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        }
        return status_.has_value();
    }

    std::string out_;
    std::string err_;
    pid_t pid_ = -1;
    std::optional<int> status_;
    int ended_ = 0; // looks since it ended: what it printed last is looked at once more
};

// Runs a program to its end.
struct Ran {
    int status;
    std::string out;
    std::string err;
};

inline Ran runProgram(std::vector<std::string> const& arguments, std::string const& outputStem,
                      std::chrono::milliseconds most = 60s) {
    ChildProcess process{arguments, outputStem};
    int const status = process.wait(most);
    return {status, process.out(), process.err()};
}

} // namespace testing_support
