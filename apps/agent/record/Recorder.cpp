#include <Ombra/Exception.h>

#include <fmt/format.h>

#include <apps/agent/record/Recorder.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace LoamAgent {

namespace {

constexpr std::uint64_t closingBytes = 32; // the last line

std::FILE* makeFile(std::string const& path) {
    int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    auto* const stream = file < 0 ? nullptr : ::fdopen(file, "w");
    if (stream == nullptr) {
        throw Ombra::Exception{
            fmt::format("{}: the record can't be made: {}", path, std::strerror(errno))};
    }
    return stream;
}

} // namespace

Recorder::Recorder(std::string path, std::uint64_t mostBytes)
    : path_{std::move(path)}, mostBytes_{mostBytes}, file_{makeFile(path_)} {
    put(fmt::format("{} {}", recordMagic, recordVersion));
}

void Recorder::put(std::string const& line) {
    bytes_ += line.size() + 1;
    if (std::fwrite(line.data(), 1, line.size(), file_.get()) != line.size() ||
        std::fputc('\n', file_.get()) == EOF) {
        failed_ = true;
    }
}

std::uint64_t Recorder::numberOf(Handle const& handle) const {
    for (auto const& recent : recent_) {
        if (recent.handle == handle) {
            return recent.number;
        }
    }
    return 0;
}

void Recorder::note(RecordedOperation operation, Handle const& dependency,
                    std::string dependencyTable, Handle const& handle) {
    if (full_ || failed_) {
        return;
    }
    if (dependency) {
        operation.dependency = numberOf(dependency);
    }
    if (operation.dependency == 0) {
        operation.dependencyTable = std::move(dependencyTable);
    }
    auto const line = textOf(operation);
    if (bytes_ + line.size() + 1 + closingBytes > mostBytes_) {
        full_ = true;
        return;
    }
    put(line);
    ++operations_;
    recent_[static_cast<std::size_t>(operations_ % recent_.size())] = {handle, operations_};
}

std::string Recorder::close() {
    put(fmt::format("{} {}", full_ ? "full" : "end", operations_));
    if (std::fflush(file_.get()) != 0) {
        failed_ = true;
    }
    recent_ = {};
    return failed_ ? fmt::format("{}: the record can't be written: {}", path_, std::strerror(errno))
                   : std::string{};
}

} // namespace LoamAgent
