#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

// Tells a person how far long work has come: a bar that is drawn over itself on a terminal, and a
// line at each tenth of the work, and each second while it moves, anywhere else.
//
//     ProgressLine progress{stdout, isatty(STDOUT_FILENO)};
//     progress.begin();
//     ... progress.update(done, total); ...  // as often as one likes
//     progress.end(done, total);
//
// Other lines go through `say`, which takes the bar out of their way.
namespace LoamAgent {

class ProgressLine {
  public:
    using Clock = std::chrono::steady_clock;

    ProgressLine(std::FILE* out, bool terminal) : out_{out}, terminal_{terminal} {}

    void begin(Clock::time_point now = Clock::now());
    void update(std::uint64_t done, std::uint64_t total, Clock::time_point now = Clock::now());
    void end(std::uint64_t done, std::uint64_t total, Clock::time_point now = Clock::now());

    void say(std::string_view line);

  private:
    void measure(std::uint64_t done, Clock::time_point now);
    bool isDue(std::uint64_t done, std::uint64_t total, Clock::time_point now) const;
    std::string text(std::uint64_t done, std::uint64_t total) const;
    void draw(std::uint64_t done, std::uint64_t total);
    void clear();

    std::FILE* out_;
    bool terminal_;
    bool running_ = false;
    bool drawn_ = false; // a bar stands in the current line of the terminal
    Clock::time_point begun_{};
    Clock::time_point lastMeasured_{};
    std::uint64_t doneAtMeasure_ = 0;
    double perSecond_ = 0;
    Clock::time_point lastShown_{};
    std::uint64_t doneAtShown_ = 0;
    unsigned tenthAtShown_ = 0;
};

} // namespace LoamAgent
