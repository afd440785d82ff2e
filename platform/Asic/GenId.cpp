#include <Asic/GenId.h>

#include <fmt/format.h>

#include <cstring>
#include <string>
#include <string_view>

namespace Asic {

namespace {

constexpr char const* genIdTypeName = "Asic::GenId";

// The content of an entity, 16 bytes:
//
// | OFFSET | SIZE | content                        |
// |--------|------|--------------------------------|
// | 0      | 8    | major id, least byte first     |
// | 8      | 8    | minor id, least byte first     |
constexpr std::size_t majorOffset = 0;
constexpr std::size_t minorOffset = 8;
constexpr std::size_t contentBytes = 16;

std::uint64_t idAt(std::string_view content, std::size_t offset) {
    std::uint64_t id = 0;
    for (std::size_t byte = 8; byte-- > 0;) {
        id = id << 8 | static_cast<unsigned char>(content[offset + byte]);
    }
    return id;
}

void idIs(std::string& content, std::size_t offset, std::uint64_t id) {
    for (std::size_t byte = 0; byte < 8; ++byte) {
        content[offset + byte] = static_cast<char>(static_cast<unsigned char>(id >> (8 * byte)));
    }
}

void checkSize(Orbis::Entity const& entity, std::string_view content) {
    if (content.size() != contentBytes) {
        throw Orbis::StoreException{fmt::format(
            "Entity {}: a generation has {} bytes, and {} are stored. Remove the entity; "
            "it is made again.",
            entity.path(), contentBytes, content.size())};
    }
}

[[maybe_unused]] bool const registered = Orbis::Entity::typeIs(
    genIdTypeName, {std::string(contentBytes, '\0'),
                    [](Ombra::Ptr<Orbis::EntityManager> const& manager, Ombra::String const& path) {
                        return Ombra::Ptr<Orbis::Entity>{Ombra::ptrIs<GenId>(manager, path)};
                    }});

} // namespace

GenId::GenId(Ombra::Ptr<Orbis::EntityManager> const& manager, Ombra::String const& path)
    : Entity{manager, path, genIdTypeName} {}

GenId::~GenId() = default;

Ombra::Ptr<GenId> GenId::create(Ombra::Ptr<Orbis::EntityManager> const& manager,
                                Ombra::String const& path) {
    return Ombra::staticCast<GenId>(manager->entityIs(path, genIdTypeName));
}

std::uint64_t GenId::majorId() const {
    auto const stored = content();
    checkSize(*this, stored);
    return idAt(stored, majorOffset);
}

std::uint64_t GenId::minorId() const {
    auto const stored = content();
    checkSize(*this, stored);
    return idAt(stored, minorOffset);
}

void GenId::majorIdInc(unsigned short by) {
    modify([&](std::string& stored) {
        checkSize(*this, stored);
        idIs(stored, majorOffset, idAt(stored, majorOffset) + by);
    });
}

void GenId::minorIdInc(unsigned short by) {
    modify([&](std::string& stored) {
        checkSize(*this, stored);
        idIs(stored, minorOffset, idAt(stored, minorOffset) + by);
    });
}

} // namespace Asic
