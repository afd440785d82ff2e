#include <fmt/format.h>

#include <apps/loamctl/Context.h>
#include <apps/loamctl/CtfTrace.h>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sys/stat.h>
#include <utility>

namespace LoamCtl {

namespace {

using RingScribe::Reader;

constexpr std::uint32_t packetMagic = 0xC1FC1FC1;
constexpr std::uint16_t plainEvent = 0; // ring messages are numbered from 1

// OFFSET  SIZE  the packet's head, in the order of the metadata
//      0  4     magic
//      4  4     stream_id
//      8  8     timestamp_begin
//     16  8     timestamp_end
//     24  8     content_size, bits
//     32  8     packet_size, bits
//     40  8     events_discarded
constexpr std::size_t headBytes = 48;

template <typename Number>
void put(std::string& bytes, Number number) {
    auto const raw = std::bit_cast<std::array<char, sizeof number>>(number);
    bytes.append(raw.data(), raw.size());
}

void putText(std::string& bytes, std::string const& text) {
    bytes += std::string_view{text}.substr(0, text.find('\0')); // up to one that it may hold
    bytes += '\0';
}

// In a string of the metadata language.
std::string quoted(std::string const& text) {
    std::string result;
    for (char const letter : text) {
        if (letter == '"' || letter == '\\') {
            result += '\\';
        }
        result += static_cast<unsigned char>(letter) < ' ' ? ' ' : letter;
    }
    return result;
}

char const* typeOf(char argument) {
    return argument == 's' ? "uint16_t" : argument == 'i' ? "uint32_t" : "uint64_t";
}

std::string eventClass(int id, std::string const& name, std::string const& fields) {
    return fmt::format("event {{\n  id = {};\n  name = \"{}\";\n  stream_id = 0;\n  fields := "
                       "struct {{\n    uint64_t sequence;\n    string text;\n{}  }};\n}};\n\n",
                       id, quoted(name), fields);
}

bool isDescribed(Reader::Msg const& msg) {
    return msg.description != nullptr && msg.arguments.size() == msg.description->format.size();
}

void writeFile(std::string const& path, std::string const& content) {
    std::ofstream file{path, std::ios::binary};
    file << content;
    if (!file.flush()) {
        throw UsageError{fmt::format("{}: can't be written: {}", path, std::strerror(errno))};
    }
}

constexpr char const* head =
    "/* CTF 1.8 */\n\n"
    "typealias integer { size = 16; align = 8; signed = false; } := uint16_t;\n"
    "typealias integer { size = 32; align = 8; signed = false; } := uint32_t;\n"
    "typealias integer { size = 64; align = 8; signed = false; } := uint64_t;\n\n";

constexpr char const* clockAndStream =
    "clock {\n  name = wall;\n  description = \"since 1970, UTC\";\n  freq = 1000000000;\n"
    "  offset = 0;\n};\n\n"
    "typealias integer {\n  size = 64; align = 8; signed = false; map = clock.wall.value;\n} := "
    "time_t;\n\n"
    "stream {\n  id = 0;\n"
    "  packet.context := struct {\n    time_t timestamp_begin;\n    time_t timestamp_end;\n"
    "    uint64_t content_size;\n    uint64_t packet_size;\n    uint64_t events_discarded;\n  };\n"
    "  event.header := struct {\n    uint16_t id;\n    time_t timestamp;\n  };\n};\n\n";

} // namespace

CtfTrace::CtfTrace(std::string folder, Reader const& reader)
    : folder_{std::move(folder)}, pid_{reader.superblock().pid},
      wallOffsetNs_{reader.superblock().startWallOffsetNs} {
    if (::mkdir(folder_.c_str(), 0777) != 0) {
        throw UsageError{
            fmt::format("{}: the trace's folder can't be made: {}", folder_, std::strerror(errno))};
    }
}

void CtfTrace::add(Reader::Msg const& msg) {
    bool const described = isDescribed(msg);
    lastNs_ = static_cast<std::uint64_t>(msg.monotonicNs + wallOffsetNs_);
    firstNs_ = events_ == 0 ? lastNs_ : firstNs_;
    ++events_;
    put(bytes_, described ? static_cast<std::uint16_t>(msg.msgId) : plainEvent);
    put(bytes_, lastNs_);
    put(bytes_, msg.sequence);
    putText(bytes_, msg.text());
    if (!described) {
        return;
    }
    classes_.emplace(msg.msgId, *msg.description);
    for (auto const& argument : msg.arguments) {
        switch (argument.type) {
        case 's':
            put(bytes_, static_cast<std::uint16_t>(argument.value));
            break;
        case 'i':
            put(bytes_, static_cast<std::uint32_t>(argument.value));
            break;
        default:
            put(bytes_, argument.value);
        }
    }
}

std::string CtfTrace::metadata() const {
    std::string text = head;
    text += fmt::format("trace {{\n  major = 1;\n  minor = 8;\n  byte_order = {};\n"
                        "  packet.header := struct {{\n    uint32_t magic;\n    uint32_t "
                        "stream_id;\n  }};\n}};\n\n",
                        std::endian::native == std::endian::little ? "le" : "be");
    text += fmt::format("env {{\n  tracer_name = \"loamctl\";\n  vpid = {};\n}};\n\n", pid_);
    text += clockAndStream;
    text += eventClass(plainEvent, "message", "");
    for (auto const& [id, description] : classes_) {
        std::string fields;
        for (std::size_t i = 0; i < description.format.size(); ++i) {
            fields += fmt::format("    {} arg{};\n", typeOf(description.format[i]), i);
        }
        text += eventClass(id, description.className + "::" + description.function, fields);
    }
    return text;
}

std::string CtfTrace::packet(std::uint64_t lost) const {
    std::string bytes;
    auto const bits = static_cast<std::uint64_t>(headBytes + bytes_.size()) * 8;
    put(bytes, packetMagic);
    put(bytes, std::uint32_t{0});
    put(bytes, firstNs_);
    put(bytes, lastNs_);
    put(bytes, bits);
    put(bytes, bits);
    put(bytes, lost);
    return bytes + bytes_;
}

void CtfTrace::write(std::uint64_t lost) const {
    writeFile(folder_ + "/metadata", metadata());
    writeFile(folder_ + "/stream", packet(lost));
}

} // namespace LoamCtl
