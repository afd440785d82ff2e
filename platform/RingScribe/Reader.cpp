#include <RingScribe/Checksum.h>
#include <RingScribe/Reader.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace RingScribe {

namespace {

using Layout::BlockHeader;
using Layout::DescriptionHeader;
using Layout::MsgHeader;
using Layout::Superblock;

template <typename T>
T valueAt(std::span<std::byte const> bytes, std::size_t offset = 0) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::size_t widthOf(char type) {
    switch (type) {
    case 's':
        return 2;
    case 'i':
        return 4;
    case 'l':
        return 8;
    default:
        return 0;
    }
}

std::uint64_t numberAt(std::span<std::byte const> bytes, std::size_t width) {
    switch (width) {
    case 2:
        return valueAt<std::uint16_t>(bytes);
    case 4:
        return valueAt<std::uint32_t>(bytes);
    default:
        return valueAt<std::uint64_t>(bytes);
    }
}

// Empty unless the types account for every byte.
std::vector<Reader::Argument> argumentsOf(std::string_view types,
                                          std::span<std::byte const> bytes) {
    std::vector<Reader::Argument> arguments;
    for (char const type : types) {
        auto const width = widthOf(type);
        if (width == 0 || width > bytes.size()) {
            return {};
        }
        arguments.push_back({type, numberAt(bytes, width)});
        bytes = bytes.subspan(width);
    }
    return bytes.empty() ? arguments : std::vector<Reader::Argument>{};
}

// Takes the next zero-terminated string off the front; nothing when there is no zero byte.
std::optional<std::string> takeString(std::string_view& bytes) {
    auto const end = bytes.find('\0');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    std::string result{bytes.substr(0, end)};
    bytes.remove_prefix(end + 1);
    return result;
}

// `bytes` is one description, whose size and checksum hold.
std::optional<Reader::Description> parsed(std::span<std::byte const> bytes) {
    auto const header = valueAt<DescriptionHeader>(bytes);
    auto const strings = bytes.subspan(sizeof header);
    std::string_view rest{reinterpret_cast<char const*>(strings.data()), strings.size()};
    Reader::Description result;
    result.msgId = static_cast<int>(header.msgId);
    result.line = static_cast<int>(header.line);
    for (auto* part :
         {&result.file, &result.className, &result.function, &result.text, &result.format}) {
        auto taken = takeString(rest);
        if (!taken) {
            return std::nullopt;
        }
        *part = std::move(*taken);
    }
    return result;
}

// Both come from the file and may be anything.
std::int64_t sumOf(std::int64_t left, std::int64_t right) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) +
                                     static_cast<std::uint64_t>(right));
}

// `header` at `offset` of the block is a whole message with this sequence.
bool isWhole(MsgHeader const& header, std::span<std::byte const> block, std::size_t offset,
             std::uint64_t sequence) {
    return header.check != 0 && header.sequence == sequence &&
           header.argBytes <= Layout::maxArgBytes &&
           offset + sizeof header + Layout::roundUp8(header.argBytes) <= block.size() &&
           header.check == msgCheck(header, block.data() + offset + sizeof header);
}

std::string hexadecimal(std::span<std::byte const> bytes) {
    std::string result;
    for (std::byte const byte : bytes) {
        result += fmt::format("{}{:02x}", result.empty() ? "" : " ", static_cast<unsigned>(byte));
    }
    return result;
}

// The text comes from a file: only `{}` and doubled braces mean anything in it, and a `{}` without
// an argument stays as it is.
std::string substituted(std::string_view text, std::vector<Reader::Argument> const& arguments) {
    std::string result;
    auto next = arguments.begin();
    while (!text.empty()) {
        auto const two = text.substr(0, 2);
        if (two == "{}" && next != arguments.end()) {
            result += std::to_string((next++)->value);
        } else if (two == "{{" || two == "}}") {
            result += two.front();
        } else {
            result += text.front();
            text.remove_prefix(1);
            continue;
        }
        text.remove_prefix(2);
    }
    return result;
}

} // namespace

std::string Reader::Msg::text() const {
    if (description != nullptr && arguments.size() == description->format.size()) {
        return substituted(description->text, arguments);
    }
    return fmt::format("message {} with the bytes [{}]", msgId, hexadecimal(bytes));
}

Reader::Reader(Ombra::String path) : path_{std::move(path)} {
    fd_ = ::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd_ < 0) {
        throw FileException{fmt::format("Ring file {}: can't be opened for reading: {}. Check the "
                                        "path, and whether the file is yours.",
                                        path_, std::strerror(errno))};
    }
    try {
        readSuperblock();
        readDescriptions();
    } catch (...) {
        ::close(fd_);
        throw;
    }
}

Reader::~Reader() {
    ::close(fd_);
}

std::size_t Reader::readAt(std::uint64_t offset, std::span<std::byte> bytes) const {
    std::size_t done = 0;
    while (done < bytes.size()) {
        auto const got = ::pread(fd_, bytes.data() + done, bytes.size() - done,
                                 static_cast<off_t>(offset + done));
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

void Reader::readSuperblock() {
    auto const refuse = [this](std::string_view reason) {
        throw FileException{fmt::format("Ring file {}: {}", path_, reason)};
    };
    auto& block = superblock_;
    auto const bytes = std::as_writable_bytes(std::span{&block, 1});
    if (readAt(0, bytes) != sizeof block ||
        std::memcmp(block.magic, Layout::magic, sizeof block.magic) != 0) {
        refuse("is no ring file. Give the path of one.");
    }
    if (block.byteOrder != Layout::byteOrderMark) {
        refuse("was written by a machine of another byte order. Read it on a machine of its kind.");
    }
    if (block.version != Layout::version) {
        refuse(fmt::format("has the format version {}, and this program knows {}. Read it with the "
                           "program's version that wrote it.",
                           block.version, Layout::version));
    }
    auto const expected = Layout::superblockBytes + std::uint64_t{Layout::descriptionAreaBytes} +
                          std::uint64_t{block.blockCount} * Layout::blockBytes;
    struct stat state {};
    if (block.crc != crc32c(bytes.first(offsetof(Superblock, crc))) ||
        block.superblockBytes != Layout::superblockBytes ||
        block.descriptionAreaBytes != Layout::descriptionAreaBytes ||
        block.blockBytes != Layout::blockBytes || block.fileBytes != expected ||
        block.blockCount < Layout::minBlockCount || block.blockCount > Layout::maxBlockCount ||
        ::fstat(fd_, &state) != 0 || !S_ISREG(state.st_mode) ||
        static_cast<std::uint64_t>(state.st_size) < expected) {
        refuse("its superblock is damaged, or the file was cut. It can't be read.");
    }
}

void Reader::readDescriptions() {
    std::uint32_t used = 0;
    readAt(offsetof(Superblock, descriptionUsedBytes), std::as_writable_bytes(std::span{&used, 1}));
    if (used == descriptionReadBytes_) {
        return;
    }
    descriptionReadBytes_ = used;
    std::vector<std::byte> area(std::min(used, Layout::descriptionAreaBytes));
    area.resize(readAt(Layout::superblockBytes, area));

    std::span<std::byte const> rest{area};
    while (rest.size() >= sizeof(DescriptionHeader)) {
        auto const header = valueAt<DescriptionHeader>(rest);
        if (header.sizeBytes < sizeof header || header.sizeBytes > rest.size() ||
            header.sizeBytes % 8 != 0) {
            return;
        }
        auto const whole = rest.first(header.sizeBytes);
        if (crc32c(whole.subspan(offsetof(DescriptionHeader, msgId))) == header.crc) {
            if (auto description = parsed(whole)) {
                descriptions_.try_emplace(description->msgId, std::move(*description));
            }
        }
        rest = rest.subspan(header.sizeBytes);
    }
}

std::uint64_t Reader::blockOffset(std::uint32_t place) const noexcept {
    return Layout::superblockBytes + std::uint64_t{Layout::descriptionAreaBytes} +
           std::uint64_t{place} * Layout::blockBytes;
}

std::vector<Reader::BlockPlace> Reader::blocksInOrder() const {
    std::vector<BlockPlace> blocks;
    for (std::uint32_t place = 0; place < superblock_.blockCount; ++place) {
        BlockHeader header{};
        auto const bytes = std::as_writable_bytes(std::span{&header, 1});
        if (readAt(blockOffset(place), bytes) == sizeof header && header.check != 0 &&
            header.check == blockCheck(header) && header.place == place) {
            blocks.push_back({header.number, header.firstSequence, place});
        }
    }
    std::ranges::sort(blocks, {}, &BlockPlace::number);
    return blocks;
}

// Whether it is still that block. The writer may take it over meanwhile: then the messages that the
// bytes mix in are of other sequences, and end the block.
bool Reader::readBlock(BlockPlace const& block, std::span<std::byte> bytes) const {
    if (readAt(blockOffset(block.place), bytes) != bytes.size()) {
        return false;
    }
    auto const header = valueAt<BlockHeader>(bytes);
    return header.number == block.number && header.check == blockCheck(header);
}

// Gives the block's messages from `next` on, and the sequence that is to come after them.
std::uint64_t Reader::giveMsgs(std::span<std::byte const> block, std::uint64_t next,
                               std::function<void(Msg const&)> const& give) {
    auto const blockHeader = valueAt<BlockHeader>(block);
    auto sequence = blockHeader.firstSequence;
    for (auto offset = sizeof blockHeader; offset + sizeof(MsgHeader) <= block.size(); ++sequence) {
        auto const header = valueAt<MsgHeader>(block, offset);
        if (!isWhole(header, block, offset, sequence)) {
            break;
        }
        auto const arguments = block.subspan(offset + sizeof header, header.argBytes);
        offset += sizeof header + Layout::roundUp8(header.argBytes);
        if (sequence < next) {
            continue;
        }
        lost_ += sequence - next;
        next = sequence + 1;

        Msg msg;
        msg.sequence = sequence;
        msg.monotonicNs = header.monotonicNs;
        msg.wallTimeNs = sumOf(header.monotonicNs, blockHeader.wallOffsetNs);
        msg.msgId = header.msgId;
        msg.bytes = arguments;
        if (auto const known = descriptions_.find(msg.msgId); known != descriptions_.end()) {
            msg.description = &known->second;
            msg.arguments = argumentsOf(known->second.format, arguments);
        }
        give(msg);
    }
    return next;
}

void Reader::forEach(std::function<void(Msg const&)> const& give, std::uint64_t after) {
    lost_ = 0;
    auto const blocks = blocksInOrder();
    std::vector<std::byte> bytes(Layout::blockBytes);
    std::uint64_t next = after + 1;
    for (std::size_t at = 0; at < blocks.size(); ++at) {
        bool const isPast = at + 1 < blocks.size() && blocks[at + 1].firstSequence <= next;
        if (!isPast && readBlock(blocks[at], bytes)) {
            readDescriptions(); // after the block: a description is written before its messages
            next = giveMsgs(bytes, next, give);
        }
    }
}

} // namespace RingScribe
