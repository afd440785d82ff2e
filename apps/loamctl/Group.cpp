#include <Asic/Constants.h>

#include <algorithm>
#include <apps/loamctl/Group.h>
#include <apps/loamctl/MountReader.h>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace LoamCtl {

namespace {

// Whether some process holds the write lock of an owner file. Asking takes no lock.
bool isLocked(std::string const& path) {
    int const file = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    struct flock request {};
    request.l_type = F_WRLCK;
    request.l_whence = SEEK_SET;
    bool const locked = ::fcntl(file, F_OFD_GETLK, &request) == 0 && request.l_type != F_UNLCK;
    ::close(file);
    return locked;
}

} // namespace

Group::Group(Ombra::Ptr<ZetSharedMem::EntityManager> manager, std::string folder)
    : manager_{std::move(manager)}, folder_{std::move(folder)},
      canonicalName_{Asic::Constants::canonicalizeGroupName("LoamSystemAcl", "LoamSystemAcl")} {}

Ombra::Ptr<Asic::AnnouncementSlate> Group::announcement(Asic::SwTableId tableId) {
    return mountReader<Asic::AnnouncementSlate>(
        *manager_, Asic::Constants::announcementSlatePath(canonicalName_, tableId));
}

Asic::LogVersion Group::announced(Asic::SwTableId tableId) {
    auto const slate = announcement(tableId);
    return slate ? slate->control()->scratchpad() : 0;
}

std::optional<Asic::LogVersion> Group::applied(Asic::SwTableId tableId) {
    auto const versions = mountReader<Asic::TableVersionMap>(
        *manager_, Asic::Constants::tableVersionMapPath(canonicalName_));
    if (!versions) {
        return std::nullopt;
    }
    bool found = false;
    Asic::LogVersion const version = versions->map().lookup(tableId, &found).version;
    return found ? std::optional{version} : std::nullopt;
}

std::vector<Asic::TableVersion> Group::needed(Asic::SwTableId tableId, Asic::LogVersion version) {
    auto const slate = announcement(tableId);
    bool found = false;
    if (!slate) {
        return {};
    }
    Asic::NeededRecord const record = slate->map().lookup(version, &found);
    auto const count = found ? std::min<std::size_t>(record.count, record.places.size()) : 0;
    return {record.places.begin(), record.places.begin() + static_cast<std::ptrdiff_t>(count)};
}

AgentState Group::agent() {
    auto const path = Asic::Constants::agentSlatePath(canonicalName_);
    auto const slate = mountReader<Asic::AgentSlate>(*manager_, path);
    if (!slate) {
        return {};
    }
    bool found = false;
    auto const record = slate->map().lookup(0, &found);
    return {slate->control()->scratchpad(), found ? record.pid : 0,
            isLocked(folder_ + "/" + path.str() + ".owner")};
}

bool Group::hardwareSideAlive() const {
    return isLocked(folder_ + "/" + Asic::Constants::tableVersionMapPath(canonicalName_).str() +
                    ".owner");
}

} // namespace LoamCtl
