#pragma once

#include <RingScribe/Reader.h>

#include <cstdint>
#include <map>
#include <string>

// Writes messages of a ring as a trace in the Common Trace Format 1.8 (diamon.org/ctf): a folder
// with `metadata`, which describes the events in words, and `stream`, the events in binary.
//
//     CtfTrace trace{folder, reader};         // makes the folder
//     reader.forEach([&](auto const& msg) { trace.add(msg); });
//     trace.write();
//
// Each message that the ring describes is an event of its own class, with its arguments as fields,
// its sequence, and its text for people; all others are events of the class "message". Times are
// nanoseconds since 1970 that never run backwards: the wall clock at the ring's beginning and the
// monotonic clock since.
//
// The stream is one packet, held in memory until it is written: it is as bounded as the ring is.
namespace LoamCtl {

class CtfTrace {
  public:
    // Throws `UsageError` when the folder exists or can't be made.
    CtfTrace(std::string folder, RingScribe::Reader const& reader);

    void add(RingScribe::Reader::Msg const& msg);

    // Throws `UsageError`. `lost` is told as the number of events that the trace lacks.
    void write(std::uint64_t lost) const;

    std::uint64_t events() const { return events_; }

  private:
    std::string metadata() const;
    std::string packet(std::uint64_t lost) const;

    std::string folder_;
    std::uint32_t pid_;
    std::int64_t wallOffsetNs_;
    std::map<int, RingScribe::Reader::Description> classes_;
    std::string bytes_;
    std::uint64_t events_ = 0;
    std::uint64_t firstNs_ = 0;
    std::uint64_t lastNs_ = 0;
};

} // namespace LoamCtl
