#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/record/RecordedOperation.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

namespace LoamAgent {

namespace {

using Kind = RecordedOperation::Kind;

constexpr std::array<std::string_view, 3> kindNames{"write", "remove", "remove-all"};

// The next word of the line, which it is taken from.
std::string_view takeWord(std::string_view& line) {
    auto const end = std::min(line.find(' '), line.size());
    auto const word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return word;
}

template <typename Number>
bool readNumber(std::string_view text, Number& number) {
    bool const hexadecimal = text.starts_with("0x");
    text.remove_prefix(hexadecimal ? 2 : 0);
    auto const [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, hexadecimal ? 16 : 10);
    return error == std::errc{} && end == text.data() + text.size() && !text.empty();
}

bool readFields(std::string_view hex, std::vector<std::byte>& fields) {
    fields.resize(hex.size() / 2);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        unsigned value = 0;
        auto const* const first = hex.data() + 2 * i;
        auto const [end, error] = std::from_chars(first, first + 2, value, 16);
        if (error != std::errc{} || end != first + 2) {
            return false;
        }
        fields[i] = static_cast<std::byte>(value);
    }
    return hex.size() % 2 == 0 && !hex.empty();
}

bool readDependency(std::string_view word, std::uint64_t number, RecordedOperation& operation) {
    if (word == "-") {
        return true;
    }
    if (word.starts_with('@')) {
        operation.dependencyTable = word.substr(1);
        return word.size() > 1;
    }
    return word.starts_with('#') && readNumber(word.substr(1), operation.dependency) &&
           operation.dependency != 0 && operation.dependency < number;
}

// The fault of the operation's line; empty when there is none. `number` is the operation's.
std::string readOperation(std::string_view line, std::uint64_t number,
                          RecordedOperation& operation) {
    auto const what = takeWord(line);
    auto const* const kind = std::ranges::find(kindNames, what);
    if (kind == kindNames.end()) {
        return fmt::format("'{}' is no operation; expected write, remove or remove-all", what);
    }
    operation.kind = static_cast<Kind>(kind - kindNames.begin());
    operation.table = takeWord(line);
    if (auto const unit = takeWord(line); !readNumber(unit, operation.unitId)) {
        return fmt::format("'{}' is no unit", unit);
    }
    if (operation.kind != Kind::removeAll) {
        if (auto const key = takeWord(line); !readNumber(key, operation.key)) {
            return fmt::format("'{}' is no key", key);
        }
    }
    if (auto const word = takeWord(line); !readDependency(word, number, operation)) {
        return fmt::format("'{}' is nothing to depend on; expected -, # and the number of an "
                           "operation before this one, or @ and a table",
                           word);
    }
    if (operation.kind == Kind::write && !readFields(takeWord(line), operation.fields)) {
        return "the bytes of the entry are not hexadecimal";
    }
    return line.empty() ? std::string{} : fmt::format("'{}' stands behind the end", line);
}

// The fault of the first line; empty when there is none.
std::string headFault(std::string_view line) {
    auto const magic = takeWord(line);
    unsigned version = 0;
    if (magic != recordMagic || !readNumber(line, version)) {
        return fmt::format("this is no record; the first line of one is \"{} {}\"", recordMagic,
                           recordVersion);
    }
    if (version != recordVersion) {
        return fmt::format("the record has version {}, and only version {} can be replayed: replay "
                           "it with the programs that made it",
                           version, recordVersion);
    }
    return {};
}

// The fault of the last line; empty when there is none.
std::string endFault(std::string_view line, std::uint64_t operations) {
    auto const word = takeWord(line);
    std::uint64_t told = 0;
    if (readNumber(line, told) && told == operations) {
        return {};
    }
    return fmt::format("'{} {}' stands behind {} operations", word, line, operations);
}

} // namespace

std::string textOf(RecordedOperation const& operation) {
    auto text = fmt::format("{} {} {}", kindNames[static_cast<std::size_t>(operation.kind)],
                            operation.table, operation.unitId);
    if (operation.kind != Kind::removeAll) {
        text += fmt::format(" {:#010x}", operation.key);
    }
    text += operation.dependency != 0           ? fmt::format(" #{}", operation.dependency)
            : operation.dependencyTable.empty() ? " -"
                                                : " @" + operation.dependencyTable;
    if (operation.kind == Kind::write) {
        text += ' ';
        for (auto const byte : operation.fields) {
            fmt::format_to(std::back_inserter(text), "{:02x}", std::to_integer<unsigned>(byte));
        }
    }
    return text;
}

std::variant<ReadRecord, std::string> readRecord(std::string const& path) {
    struct stat status {}; // std::filesystem's ends in 2038 in a 32-bit process
    bool const there = ::stat(path.c_str(), &status) == 0;
    if (there && !S_ISREG(status.st_mode)) { // opening a pipe would wait for somebody to write
        return fmt::format("{}: this is no regular file, and a record is one", path);
    }
    std::ifstream file;
    if (there) {
        file.open(path, std::ios::binary);
    }
    if (!file.is_open()) {
        return fmt::format("{}: {}", path, std::strerror(errno));
    }
    auto const size = static_cast<std::uint64_t>(status.st_size);
    if (size > mostRecordBytes) {
        return fmt::format("{}: it has {} bytes; a record has {} at most", path, size,
                           mostRecordBytes);
    }
    ReadRecord record;
    std::string line;
    std::getline(file, line);
    std::string fault = headFault(line);
    std::size_t lineNumber = 1;
    for (bool ended = false; fault.empty() && std::getline(file, line);) {
        ++lineNumber;
        if (file.eof()) {
            break; // no end of line: what a killed agent did not finish
        }
        if (ended) {
            fault = "something stands behind the record's end";
        } else if (line.starts_with("end ") || line.starts_with("full ")) {
            ended = true;
            record.complete = line.starts_with("end ");
            fault = endFault(line, record.operations.size());
        } else {
            auto& operation = record.operations.emplace_back();
            fault = readOperation(line, record.operations.size(), operation);
        }
    }
    if (!fault.empty()) {
        return fmt::format("{}: line {}: {}", path, lineNumber, fault);
    }
    return record;
}

} // namespace LoamAgent
