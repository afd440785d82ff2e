#include "HwFixture.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace LoamHw {

namespace {

// One root for the process, since it can be set but once.
class Root {
  public:
    Root() : path_{"/dev/shm/loam-hw-test-XXXXXX"} {
        if (::mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error{"can't make a folder in /dev/shm"};
        }
        ZetSharedMem::setRoot(path_);
    }
    ~Root() {
        if (::getpid() == owner_) {
            std::filesystem::remove_all(path_);
        }
    }

  private:
    std::string path_;
    pid_t owner_ = ::getpid();
};

} // namespace

HwFixture::HwFixture()
    : managerName{testing::UnitTest::GetInstance()->current_test_info()->name()} {
    std::ranges::replace(managerName, '/', '-'); // of a test with parameters
    static Root const root;
    startAgent();
}

HwFixture::~HwFixture() {
    stopHardware();
    agent->closeAll();
    std::filesystem::remove_all(folder());
}

std::string HwFixture::folder() const {
    return ZetSharedMem::root().str() + "/" + managerName;
}

std::vector<TableShape> HwFixture::shapes() {
    std::vector<TableShape> shapes;
    LoamSystemAcl::AllTables::forEach([&]<typename Table>() {
        using Constants = typename Table::Constants;
        shapes.push_back(
            {Constants::tableId, Constants::tableName, Constants::row.holds == "entries"});
    });
    return shapes;
}

void HwFixture::startAgent() {
    if (agent) {
        agent->closeAll();
    }
    agent = Ombra::ptrIs<ZetSharedMem::EntityManager>(managerName, false);
    auto const slate = Asic::mountSlate<Asic::AgentSlate>(
        *agent, Asic::Constants::agentSlatePath(AgentTable<Ipv4Entries>::group()),
        ZetSlate::ZetSlateType::writer);
    slate->control()->scratchpadIs(slate->control()->scratchpad() + 1);
}

void HwFixture::startHardware(Faults const& faults) {
    stopHardware();
    auto const manager = Ombra::ptrIs<ZetSharedMem::EntityManager>(managerName, false);
    backend = std::make_unique<ModelBackend>(shapes(), faults);
    hardware = std::make_unique<HardwareSide>(
        manager, AgentTable<Ipv4Entries>::group(), allTableViews(manager), *backend,
        [this](std::string const& line, bool) { reports.push_back(line); });
}

void HwFixture::stopHardware() {
    hardware.reset();
    backend.reset();
}

void HwFixture::rounds() {
    for (int i = 0; hardware->round(now); ++i) {
        ASSERT_LT(i, 100'000) << "the hardware side does not come to rest";
    }
}

void HwFixture::pass(std::chrono::milliseconds time) {
    now += time;
    rounds();
}

TableFollower const& HwFixture::follower(Asic::SwTableId tableId) const {
    return *std::ranges::find_if(hardware->tables(), [&](TableFollower const& each) {
        return each.view().tableId() == tableId;
    });
}

Asic::LogVersion HwFixture::acknowledged(Asic::SwTableId tableId) const {
    auto const reader = Ombra::ptrIs<ZetSharedMem::EntityManager>(managerName, false);
    auto const map = Asic::mountSlate<Asic::TableVersionMap>(
        *reader, Asic::Constants::tableVersionMapPath(AgentTable<Ipv4Entries>::group()),
        ZetSlate::ZetSlateType::reader);
    bool found = false;
    return map ? std::uint64_t{map->map().lookup(tableId, &found, nullptr).version} : 0;
}

std::optional<std::uint32_t> HwFixture::valueOf(std::optional<std::span<std::byte const>> fields) {
    if (!fields) {
        return std::nullopt;
    }
    std::uint32_t value = 0;
    std::memcpy(&value, fields->data() + 4, sizeof value);
    return value;
}

bool HwFixture::reported(std::string const& part) const {
    return std::ranges::any_of(
        reports, [&](std::string const& line) { return line.find(part) != std::string::npos; });
}

} // namespace LoamHw
