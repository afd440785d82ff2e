#pragma once

#include <Asic/GroupSlates.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <ZetSharedMem/EntityManager.h>

#include <apps/hw/Backend.h>
#include <apps/hw/TableFollower.h>
#include <apps/hw/TableView.h>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// The hardware side of one group: follows the logs of all tables at once and acknowledges.
//
// Whoever runs it calls `round` whenever the agent rings, at once again when a round says so, and
// otherwise every 50 ms. A round gives every table one bounded turn, so that no table waits for
// another but where a change needs one, and then stores how far each has come: one store per table
// and round, however many changes it took. When that has moved, `takeAcknowledged` tells to ring.
//
// Being the one writer of `tableVersionMap` makes it the one hardware side of its folder: a second
// one can't be made. Killed at any instruction it leaves at most changes that are applied and not
// acknowledged, which the next one applies again. One thread.
namespace LoamHw {

class HardwareSide final : private Neighbours {
  public:
    using Report = std::function<void(std::string const& line, bool detail)>;

    // The group's name is canonical. Raises what mounting for writing raises:
    // `ZetSharedMem::WriterExistsException`, `ZetSharedMem::UnsafePathException`,
    // `Slate::NoSpaceException`.
    HardwareSide(Ombra::Ptr<ZetSharedMem::EntityManager> manager,
                 Ombra::String const& canonicalGroup, std::vector<std::unique_ptr<TableView>> views,
                 Backend& backend, Report report);
    ~HardwareSide() override;

    HardwareSide(HardwareSide const&) = delete;
    HardwareSide& operator=(HardwareSide const&) = delete;

    // True when there is more to do at once.
    bool round(Clock::time_point now);

    // Whether an applied version was stored since the last call.
    bool takeAcknowledged();

    // Whether the hardware has all that was announced when the last round looked.
    bool settled() const;

    std::vector<TableFollower> const& tables() const { return followers_; }
    std::uint64_t agentRun() const { return agentRun_; }
    std::uint64_t rounds() const { return rounds_; }

    // Why applied versions can't be stored now; empty when they can.
    std::string const& storeTrouble() const { return storeTrouble_; }

    // How often it is looked whether files were replaced.
    static constexpr std::chrono::milliseconds staleInterval{500};

    // How often, while other tables have more to do at once, it is looked for those that are not
    // there. A round that follows a rest looks for all.
    static constexpr std::chrono::milliseconds absentInterval{10};

  private:
    bool lookForAbsent(Clock::time_point now);
    bool reached(Asic::TableVersion const& place) override;
    std::vector<Asic::TableVersion> announcedPlaces() override;
    void report(std::string const& line, bool detail) override;

    void mountVersionMap();
    Asic::LogVersion storedVersion(Asic::SwTableId tableId);
    void lookAtAgent(Clock::time_point now);
    void mountAgentSlate();
    std::uint64_t readAgentRun();
    void dropStale();
    void acknowledge();

    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
    Ombra::String canonicalGroup_;
    Report report_;
    Ombra::Ptr<Asic::TableVersionMap> versionMap_;
    Ombra::Ptr<Asic::AgentSlate> agentSlate_;
    std::uint64_t agentRun_ = 0; // 0: none was seen
    std::vector<std::unique_ptr<TableView>> views_;
    std::vector<TableFollower> followers_; // one per view, in the same order
    std::vector<Asic::LogVersion> stored_; // what versionMap_ holds of each
    std::size_t first_ = 0;                // whose turn comes first
    std::uint64_t rounds_ = 0;
    bool acknowledged_ = false;
    std::string storeTrouble_;
    std::string agentTrouble_;
    Clock::time_point nextStaleLook_{};
    Clock::time_point nextAbsentLook_{};
    bool more_ = false; // what the last round said
};

} // namespace LoamHw
