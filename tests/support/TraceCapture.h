#pragma once

#include <Ombra/Fmtrace.h>
#include <Zet/TraceHandle.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Collects the text traces of the handles that match a pattern, for as long as it lives.
namespace testing_support {

class TraceCapture {
  public:
    struct Line {
        std::string handle;
        unsigned level;
        std::string className;
        std::string function;
        std::string text;

        friend bool operator==(Line const&, Line const&) = default;
    };

    explicit TraceCapture(std::string pattern = "*", std::uint16_t levels = 0xffff)
        : pattern_{std::move(pattern)}, former_{Ombra::traceSinkIs([this](auto const& record) {
              lines.push_back(Line{std::string{record.handleName}, record.level,
                                   std::string{record.className}, std::string{record.function},
                                   std::string{record.text}});
          })} {
        Zet::TraceHandle::levelsIs(pattern_, levels);
    }
    TraceCapture(TraceCapture const&) = delete;
    TraceCapture& operator=(TraceCapture const&) = delete;
    ~TraceCapture() {
        Zet::TraceHandle::levelsIs(pattern_, 0);
        Ombra::traceSinkIs(std::move(former_));
    }

    // How often exactly this text was traced at this level.
    std::size_t count(unsigned level, std::string_view text) const {
        return static_cast<std::size_t>(std::ranges::count_if(
            lines, [&](Line const& line) { return line.level == level && line.text == text; }));
    }
    bool has(unsigned level, std::string_view text) const { return count(level, text) != 0; }

    // The texts of one level, in order.
    std::vector<std::string> texts(unsigned level) const {
        std::vector<std::string> result;
        for (auto const& line : lines) {
            if (line.level == level) {
                result.push_back(line.text);
            }
        }
        return result;
    }

    std::vector<Line> lines;

  private:
    std::string pattern_;
    Ombra::TraceSink former_;
};

} // namespace testing_support
