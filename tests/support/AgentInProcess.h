#pragma once

#include <Asic/Constants.h>
#include <Asic/GenId.h>
#include <Asic/GroupInterface.h>
#include <Asic/GroupSlates.h>
#include <Asic/MountSlate.h>
#include <Asic/OrderedTableInterface.h>
#include <Ombra/Ptr.h>
#include <Orbis/EntityManager.h>
#include <Zet/Entity.h>
#include <ZetSharedMem/EntityManager.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

// An agent and its hardware side within one test process, over memory that only this process has.
//
//     AgentInProcess agent;
//     auto table = agent.makeSwTable<LoamSystemAcl::Ipv4SystemPolicyTcamEntryFamily>(0);
//     auto handle = table->entryWrite(key, entry, nullptr);
//     agent.resolve();                                  // commits what is ready
//     agent.acknowledge(table->tableId(), 1);           // the hardware side has applied version 1
//     agent.restart();                                  // the agent dies and comes up again
namespace testing_support {

class AgentInProcess {
  public:
    // Not `local`: over files that other processes see and that outlive this one. A test gives such
    // an agent a name of its own, and sees to it that the files lie in a folder of its own
    // (TemporaryRoot.h).
    explicit AgentInProcess(Ombra::String name = "test", bool local = true)
        : name_{std::move(name)}, local_{local} {
        start();
    }
    AgentInProcess(AgentInProcess const&) = delete;
    AgentInProcess& operator=(AgentInProcess const&) = delete;
    ~AgentInProcess() {
        stop();
        hardwareMem_ = nullptr;
        sharedMem_->discardLocal();
    }

    // What stood in the agent's memory is gone; what it stored stays.
    void restart() {
        stop();
        start();
    }

    Ombra::Ptr<Asic::OrderedTableInterface> const& intf() const { return orderedTableIntf_; }
    Ombra::Ptr<Orbis::EntityManager> const& entityManager() const { return entityManager_; }
    Ombra::Ptr<ZetSharedMem::EntityManager> const& sharedMem() const { return sharedMem_; }

    template <typename Family>
    Ombra::Ptr<typename Family::Interface> tableIntf() const {
        return Family::Interface::getIntf(orderedTableIntf_);
    }

    // `reset` true, so that the table doesn't mark unless a test says so.
    template <typename Family>
    Ombra::Ptr<typename Family::SwTable>
    makeSwTable(Asic::UnitId unitId, bool reset = true,
                Ombra::Ptr<typename Family::SwTableHelperBase> const& helper = nullptr) const {
        return tableIntf<Family>()->makeSwTable(unitId, helper, reset);
    }

    // The group of all tables. Made with the first table.
    Ombra::Ptr<Asic::GroupInterface> group() const {
        return orderedTableIntf_->groupIntf(canonicalGroup());
    }

    // Runs the resolver until nothing is ready any more. Gives the number of commits.
    std::size_t resolve() const {
        std::size_t committed = 0;
        Asic::GroupResolver::RunResult result;
        do {
            result = group()->groupResolver()->run();
            committed += result.committed;
        } while (result.more);
        return committed;
    }

    // The hardware side stores that it has applied the table up to `version`, and the agent hears
    // of it, if it is up.
    void acknowledge(Asic::SwTableId tableId, Asic::LogVersion version) {
        appliedIs(tableId, version);
        if (auto const groupIntf = group()) {
            groupIntf->pollTableVersions();
        }
    }

    // As `acknowledge`, but the agent doesn't look.
    void appliedIs(Asic::SwTableId tableId, Asic::LogVersion version) {
        tableVersionMap()->recordIs(Asic::TableVersion{tableId, version});
    }

    // What the hardware side has applied, as it writes it; made at the first call. It has a mapping
    // of its own, as another process would, which outlives a restart of the agent.
    Ombra::Ptr<Asic::TableVersionMap> tableVersionMap() {
        if (!hardwareMem_) {
            hardwareMem_ =
                Ombra::ptrIs<ZetSharedMem::EntityManager>(sharedMem_->name(), sharedMem_->local());
        }
        return Asic::mountSlate<Asic::TableVersionMap>(
            *hardwareMem_, Asic::Constants::tableVersionMapPath(canonicalGroup()),
            ZetSlate::ZetSlateType::writer);
    }

    static Ombra::String canonicalGroup() {
        return Asic::Constants::canonicalizeGroupName("LoamSystemAcl", "LoamSystemAcl");
    }

  private:
    void start() {
        entityManager_ = Ombra::ptrIs<Orbis::EntityManager>(name_, local_);
        sharedMem_ = Asic::sharedMemOf(*entityManager_);
        orderedTableIntf_ = Ombra::ptrIs<Asic::OrderedTableInterface>(entityManager_);
    }

    void stop() {
        Zet::Entity::singletonsDelAll();
        orderedTableIntf_ = nullptr;
        sharedMem_->closeAll();
    }

    Ombra::String name_;
    bool local_;
    Ombra::Ptr<Orbis::EntityManager> entityManager_;
    Ombra::Ptr<ZetSharedMem::EntityManager> sharedMem_;
    Ombra::Ptr<ZetSharedMem::EntityManager> hardwareMem_;
    Ombra::Ptr<Asic::OrderedTableInterface> orderedTableIntf_;
};

} // namespace testing_support
