#pragma once

#include <Asic/GroupInterface.h>
#include <Asic/TableInterfaceBase.h>
#include <Asic/TextKey.h>
#include <Orbis/EntityManager.h>
#include <Zet/Tracked.h>

#include <cstdint>
#include <vector>

// An agent's access to the ordered-table platform: one per agent, made before any table interface.
// It holds the state store, the group interfaces, and who the table interfaces are.
namespace Asic {

class LOAM_EXPORT OrderedTableInterface : public Zet::Tracked<OrderedTableInterface, Ombra::Node> {
  public:
    using GroupIntfs = MapByName<0x68BC8E22, Ombra::Ptr<GroupInterface>>;

    explicit OrderedTableInterface(Ombra::Ptr<Orbis::EntityManager> const& entityManager);
    ~OrderedTableInterface() override;
    Ombra::TypeData typeData() const override;

    Ombra::Ptr<Orbis::EntityManager> const& entityManager() const noexcept {
        return entityManager_;
    }

    // The group interface of that agent and group; made at the first call, found at later ones.
    Ombra::Ptr<GroupInterface> makeGroupIntf(Ombra::String const& agentName,
                                             Ombra::String const& groupName,
                                             unsigned short agentAndGroupId);

    // By the group's canonical name; null when there is none.
    Ombra::Ptr<GroupInterface> groupIntf(Ombra::String const& canonicalName) const;

    // The table interfaces, by their classes' names. Not counted: an interface takes itself out
    // when it goes.
    void swTableIntfIs(Ombra::String const& name, TableInterfaceBase* swTableIntf);
    void swTableIntfDel(Ombra::String const& name);
    TableInterfaceBase* swTableIntf(Ombra::String const& name) const; // null when there is none
    std::vector<TableInterfaceBase*> swTableIntfs() const;

    // Reconciles every table. Called once, after the clients of a restarted agent have made their
    // tables.
    void reconcileSwTables();

    // Set before tables are made: what is restored is then no candidate for the next sweep.
    bool restoredTablesSkipMark() const noexcept { return restoredTablesSkipMark_; }
    void restoredTablesSkipMarkIs(bool skip) noexcept { restoredTablesSkipMark_ = skip; }

  private:
    using SwTableIntfs = MapByName<0x2D5C91B3, TableInterfaceBase*>;

    Ombra::Ptr<Orbis::EntityManager> entityManager_;
    GroupIntfs groupIntfs_;
    SwTableIntfs swTableIntfs_;
    bool restoredTablesSkipMark_ = false;
};

// The shared-memory manager that belongs to a state store: of the same name, local when the store
// is and the environment doesn't say NOT_LOCAL_EM.
LOAM_EXPORT Ombra::Ptr<ZetSharedMem::EntityManager>
sharedMemOf(Orbis::EntityManager const& entityManager);

} // namespace Asic
