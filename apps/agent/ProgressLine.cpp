#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/ProgressLine.h>
#include <cmath>

namespace LoamAgent {

namespace {

using namespace std::chrono_literals;

constexpr auto measurePeriod = 500ms;
constexpr auto barPeriod = 100ms;
constexpr auto linePeriod = 1s;
constexpr unsigned barWidth = 30;

// Of the part of the work that is done, out of `parts`. Work without end counts as done.
unsigned partOf(std::uint64_t done, std::uint64_t total, unsigned parts) {
    return total == 0 ? parts : static_cast<unsigned>(std::min(done, total) * parts / total);
}

std::string durationText(double seconds) {
    auto const whole = std::llround(seconds);
    if (whole == 0) {
        return "less than 1 s";
    }
    return whole < 60 ? fmt::format("{} s", whole)
                      : fmt::format("{} min {:02} s", whole / 60, whole % 60);
}

} // namespace

void ProgressLine::begin(Clock::time_point now) {
    running_ = true;
    begun_ = lastMeasured_ = lastShown_ = now;
    doneAtMeasure_ = doneAtShown_ = 0;
    perSecond_ = 0;
    tenthAtShown_ = 0;
}

void ProgressLine::update(std::uint64_t done, std::uint64_t total, Clock::time_point now) {
    measure(done, now);
    if (running_ && isDue(done, total, now)) {
        draw(done, total);
        lastShown_ = now;
        doneAtShown_ = done;
        tenthAtShown_ = partOf(done, total, 10);
    }
}

void ProgressLine::end(std::uint64_t done, std::uint64_t total, Clock::time_point now) {
    if (!running_) {
        return;
    }
    measure(done, now);
    if (terminal_ || done != doneAtShown_) {
        draw(done, total);
    }
    if (terminal_) {
        std::fputc('\n', out_);
        drawn_ = false;
    }
    running_ = false;
}

void ProgressLine::say(std::string_view line) {
    clear();
    fmt::print(out_, "{}\n", line);
    std::fflush(out_);
}

// The rate follows what happens now, and still does not jump. Until there is a first measure it is
// the average since the beginning.
void ProgressLine::measure(std::uint64_t done, Clock::time_point now) {
    auto const perSecond = [&](std::uint64_t from, Clock::time_point since) {
        return static_cast<double>(done - std::min(done, from)) /
               std::chrono::duration<double>(now - since).count();
    };
    if (now - lastMeasured_ >= measurePeriod) {
        double const rate = perSecond(doneAtMeasure_, lastMeasured_);
        perSecond_ = lastMeasured_ == begun_ ? rate : 0.6 * perSecond_ + 0.4 * rate;
        lastMeasured_ = now;
        doneAtMeasure_ = done;
    } else if (lastMeasured_ == begun_ && now > begun_) {
        perSecond_ = perSecond(0, begun_);
    }
}

bool ProgressLine::isDue(std::uint64_t done, std::uint64_t total, Clock::time_point now) const {
    if (terminal_) {
        return now - lastShown_ >= barPeriod;
    }
    return done != doneAtShown_ &&
           (now - lastShown_ >= linePeriod || partOf(done, total, 10) != tenthAtShown_);
}

std::string ProgressLine::text(std::uint64_t done, std::uint64_t total) const {
    auto line = fmt::format("{:3} %  {}/{} entries applied", partOf(done, total, 100), done, total);
    if (perSecond_ >= 1) {
        line += fmt::format(", {:.0f} entries/s", perSecond_);
        if (done < total) {
            line += ", " + durationText(static_cast<double>(total - done) / perSecond_) + " to go";
        }
    } else if (done < total) {
        line += ", waiting for the hardware side";
    }
    return line;
}

void ProgressLine::draw(std::uint64_t done, std::uint64_t total) {
    auto const line = text(done, total);
    if (terminal_) {
        unsigned const full = partOf(done, total, barWidth);
        fmt::print(out_, "\r\x1b[K[{:#<{}}{:.<{}}] {}", "", full, "", barWidth - full, line);
        drawn_ = true;
    } else {
        fmt::print(out_, "{}\n", line);
    }
    std::fflush(out_);
}

void ProgressLine::clear() {
    if (drawn_) {
        fmt::print(out_, "\r\x1b[K");
        drawn_ = false;
    }
}

} // namespace LoamAgent
