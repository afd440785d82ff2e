#include <Asic/Constants.h>
#include <Asic/GroupInterface.h>
#include <Asic/MountSlate.h>
#include <Ombra/Exception.h>
#include <Zet/PtrMapAttr.h>

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace Asic {

using SwTableSetAttr = Zet::PtrMapAttr<GroupInterface::SwTableSets>;

GroupInterface::GroupInterface(Ombra::String const& agentName, Ombra::String const& groupName,
                               std::uint16_t agentAndGroupId,
                               Ombra::Ptr<ZetSharedMem::EntityManager> const& manager)
    : agentName_{agentName}, groupName_{groupName}, canonicalName_{Constants::canonicalizeGroupName(
                                                        agentName, groupName)},
      agentAndGroupId_{agentAndGroupId}, manager_{manager},
      groupResolver_{Ombra::ptrIs<GroupResolver>()},
      agentSlate_{mountSlate<AgentSlate>(*manager, Constants::agentSlatePath(canonicalName_),
                                         ZetSlate::ZetSlateType::writer)},
      agentRun_{beginRun()}, announcements_{manager, canonicalName_} {}

GroupInterface::~GroupInterface() = default;

std::uint64_t GroupInterface::beginRun() {
    auto& control = *agentSlate_->control();
    control.clearWiped();
    std::uint64_t former = 0;
    try {
        former = control.scratchpad();
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        agentSlate_->map().doCorruptionDetected(corruption.msg());
    }
    agentSlate_->recordIs(AgentRecord{0, static_cast<std::uint32_t>(::getpid())});
    control.scratchpadIs(former + 1);
    return former + 1;
}

Ombra::Ptr<TableVersionMap> GroupInterface::tableVersionMap() {
    auto const path = Constants::tableVersionMapPath(canonicalName_);
    if (tableVersionMap_ && tableVersionMap_->stale()) {
        manager_->forgetEntity(path);
        tableVersionMap_ = nullptr;
    }
    if (!tableVersionMap_) {
        tableVersionMap_ = Ombra::dynamicCast<TableVersionMap>(manager_->getEntity(path));
    }
    if (!tableVersionMap_) {
        tableVersionMap_ =
            mountSlate<TableVersionMap>(*manager_, path, ZetSlate::ZetSlateType::reader);
    }
    return tableVersionMap_;
}

bool GroupInterface::swTableSetHas(SwTableId tableId) const {
    return swTableSets_[tableId] != nullptr;
}

Ombra::Ptr<OrderedSwTableSet> GroupInterface::swTableSet(SwTableId tableId) const {
    return SwTableSetAttr::get(swTableSets_, tableId);
}

void GroupInterface::swTableSetIs(Ombra::Ptr<OrderedSwTableSet> const& swTableSet) {
    SwTableSetAttr::is(swTableSets_, swTableSet->tableId(), swTableSet);
}

void GroupInterface::swTableSetDelAll() {
    auto const sweepable = std::exchange(sweepable_, {}); // tables go last, when nothing finds them
    SwTableSetAttr::delAll(swTableSets_);
}

void GroupInterface::sweepableSwTableSetIs(Ombra::Ptr<OrderedSwTableWithMarkSweep> const& swTable) {
    if (std::ranges::find(sweepable_, swTable) == sweepable_.end()) {
        sweepable_.push_back(swTable);
    }
}

void GroupInterface::sweepSwTables() {
    auto const tables = sweepable_; // a sweep may lead a client to make another table
    for (auto const& swTable : tables) {
        swTable->sweep();
    }
}

// When a response handler throws, the table counts as not told: the next poll tells all its units.
void GroupInterface::tell(Applied const& applied) {
    auto const forget = [&] {
        std::erase_if(told_, [&](Applied const& old) { return old.tableId == applied.tableId; });
    };
    forget();
    told_.push_back(applied);
    try {
        swTableSet(applied.tableId)->tableStatusVersion(applied.version);
    } catch (...) {
        forget();
        throw;
    }
    announcements_.appliedVersionIs(applied.tableId, applied.version);
}

std::size_t GroupInterface::pollTableVersions() {
    auto const applied = tableVersionMap();
    if (!applied) {
        return 0;
    }
    std::vector<Applied> moved;
    for (SwTableSets::IteratorConst i{swTableSets_}; i; ++i) {
        SwTableId const tableId = i->fwkKey();
        try {
            bool found = false;
            LogVersion const version = applied->map().lookup(tableId, &found, nullptr).version;
            auto const told = std::ranges::find(told_, tableId, &Applied::tableId);
            if (found && (told == told_.end() || told->version != version)) {
                moved.push_back(Applied{tableId, version});
            }
        } catch (Ombra::CorruptionDetectedException const& corruption) {
            applied->map().doCorruptionDetected(corruption.msg());
        }
    }
    for (auto const& each : moved) {
        tell(each);
    }
    return moved.size();
}

} // namespace Asic
