#include <Orbis/StateFile.h>

#include <cstdint>
#include <utility>

namespace Orbis {

namespace {

constexpr std::uint32_t formatVersion = 1;
constexpr std::size_t versionOffset = 8;
constexpr std::size_t checksumOffset = 16;
constexpr std::size_t headerBytes = 24;

void append(std::string& text, std::uint64_t number, std::size_t bytes) {
    for (std::size_t byte = 0; byte < bytes; ++byte) {
        text += static_cast<char>(static_cast<unsigned char>(number >> (8 * byte)));
    }
}

std::uint64_t checksumOf(std::string_view text) {
    std::uint64_t sum = 0xcbf29ce484222325;
    for (char const one : text) {
        sum = (sum ^ static_cast<unsigned char>(one)) * 0x100000001b3;
    }
    return sum;
}

// Takes one piece after the other from the front of a text; fails once there is too little.
class Pieces {
  public:
    explicit Pieces(std::string_view text) : rest_{text} {}

    std::string_view bytes(std::size_t count) {
        if (count > rest_.size()) {
            failed_ = true;
            rest_ = {};
            return {};
        }
        auto const piece = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return piece;
    }

    std::uint64_t number(std::size_t count) {
        auto const piece = bytes(count);
        std::uint64_t result = 0;
        for (std::size_t byte = piece.size(); byte-- > 0;) {
            result = result << 8 | static_cast<unsigned char>(piece[byte]);
        }
        return result;
    }

    std::uint32_t length() { return static_cast<std::uint32_t>(number(4)); }
    bool atEnd() const { return rest_.empty() && !failed_; }
    bool failed() const { return failed_; }
    std::string_view rest() const { return rest_; }

  private:
    std::string_view rest_;
    bool failed_ = false;
};

} // namespace

std::string stateTextOf(Entities const& entities) {
    std::string body;
    for (auto const& [path, entity] : entities) {
        append(body, path.size(), 4);
        append(body, entity.typeName.size(), 4);
        append(body, entity.content.size(), 4);
        body += path;
        body += entity.typeName;
        body += entity.content;
    }
    std::string text{stateMagic};
    append(text, formatVersion, 4);
    append(text, entities.size(), 4);
    append(text, checksumOf(body), 8);
    return text + body;
}

std::optional<Entities> entitiesOf(std::string_view text) {
    Pieces pieces{text};
    if (pieces.bytes(versionOffset) != stateMagic || pieces.number(4) != formatVersion) {
        return std::nullopt;
    }
    std::uint64_t const count = pieces.number(4);
    std::uint64_t const checksum = pieces.number(headerBytes - checksumOffset);
    if (pieces.failed() || checksum != checksumOf(pieces.rest())) {
        return std::nullopt;
    }
    Entities entities;
    while (!pieces.failed() && !pieces.atEnd()) {
        std::size_t const pathBytes = pieces.length();
        std::size_t const nameBytes = pieces.length();
        std::size_t const contentBytes = pieces.length();
        std::string path{pieces.bytes(pathBytes)};
        std::string name{pieces.bytes(nameBytes)};
        std::string content{pieces.bytes(contentBytes)};
        entities.insert_or_assign(std::move(path),
                                  StoredEntity{std::move(name), std::move(content)});
    }
    if (pieces.failed() || entities.size() != count) {
        return std::nullopt;
    }
    return entities;
}

} // namespace Orbis
