#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>
#include <RingScribe/FileException.h>
#include <RingScribe/Layout.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

// Reads a ring file, of a process that runs or of one that is dead.
//
//     RingScribe::Reader reader{path};
//     reader.forEach([](RingScribe::Reader::Msg const& msg) {
//         fmt::print("{} {}\n", msg.sequence, msg.text());
//     });
//
// The file is read and never mapped, so that one that shrinks under the reader is no signal. Any
// bytes are borne: a message is given when its check word, its sequence and its size hold, and only
// then. Messages that the writer overwrites meanwhile count as lost. Costs a pass over the file per
// `forEach`. Not for several threads at once.
namespace RingScribe {

class LOAM_EXPORT Reader {
  public:
    struct Description {
        int msgId = 0;
        int line = 0;
        std::string file;
        std::string className;
        std::string function;
        std::string text;   // with `{}` where the arguments go
        std::string format; // a type character per argument, see MsgDesc.h
    };

    struct Argument {
        char type; // 's' 16 bits, 'i' 32 bits, 'l' 64 bits
        std::uint64_t value;
    };

    struct LOAM_EXPORT Msg {
        std::uint64_t sequence = 0;   // from 1, counts every message of the file
        std::int64_t wallTimeNs = 0;  // since 1970, UTC
        std::int64_t monotonicNs = 0; // for differences
        int msgId = 0;
        Description const* description = nullptr; // null when the file holds none for the number
        std::vector<Argument> arguments;          // by the description's types
        std::span<std::byte const> bytes;         // the arguments as stored

        // The description's text with the arguments in it. Without a description, or when the types
        // don't match what is stored, the bytes in hexadecimal.
        std::string text() const;
    };

    // Opens the file and reads the superblock and the descriptions. Throws `FileException`.
    explicit Reader(Ombra::String path);
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;
    ~Reader();

    // The superblock: who wrote the file, when, how large it is.
    Layout::Superblock const& superblock() const noexcept { return superblock_; }

    std::map<int, Description> const& descriptions() const noexcept { return descriptions_; }

    // Gives every whole message with a sequence above `after`, oldest first; descriptions that came
    // in since are read first. The message and what it points to are valid during the call.
    void forEach(std::function<void(Msg const&)> const& give, std::uint64_t after = 0);

    // Messages above `after` that the last `forEach` knew of and could not give: overwritten, or
    // not whole.
    std::uint64_t lost() const noexcept { return lost_; }

  private:
    struct BlockPlace {
        std::uint64_t number;
        std::uint64_t firstSequence;
        std::uint32_t place;
    };

    void readSuperblock();
    void readDescriptions();
    std::vector<BlockPlace> blocksInOrder() const;
    bool readBlock(BlockPlace const& block, std::span<std::byte> bytes) const;
    std::uint64_t giveMsgs(std::span<std::byte const> block, std::uint64_t next,
                           std::function<void(Msg const&)> const& give);
    std::size_t readAt(std::uint64_t offset, std::span<std::byte> bytes) const;
    std::uint64_t blockOffset(std::uint32_t place) const noexcept;

    Ombra::String path_;
    int fd_ = -1;
    Layout::Superblock superblock_{};
    std::map<int, Description> descriptions_;
    std::uint32_t descriptionReadBytes_ = 0;
    std::uint64_t lost_ = 0;
};

} // namespace RingScribe
