#include <Asic/EntryLogBase.h>
#include <Asic/GroupInterface.h>
#include <Orbis/EntityManager.h>

namespace Asic {

EntryLogBase::EntryLogBase(SwTableId tableId, Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                           Ombra::Ptr<GroupInterface> const& groupInterface,
                           Ombra::String const& agentName)
    : tableId_{tableId}, entityManager_{entityManager}, groupInterface_{groupInterface},
      agentName_{agentName} {}

EntryLogBase::~EntryLogBase() = default;

void EntryLogBase::tableVersionIs(LogVersion tableVersion) {
    tableVersion_ = tableVersion;
    groupInterface_->loggedVersionIs(tableId_, tableVersion);
}

} // namespace Asic
