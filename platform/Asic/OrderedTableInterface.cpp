#include <Asic/Constants.h>
#include <Asic/OrderedTableInterface.h>

#include <cstdlib>

namespace Asic {

OrderedTableInterface::OrderedTableInterface(Ombra::Ptr<Orbis::EntityManager> const& entityManager)
    : entityManager_{entityManager} {}

// The tables hold their logs and the logs the group: the group's tables go here, or they would keep
// each other alive.
OrderedTableInterface::~OrderedTableInterface() {
    for (GroupIntfs::IteratorConst i{groupIntfs_}; i; ++i) {
        i->value()->thing->swTableSetDelAll();
    }
}

Ombra::Ptr<GroupInterface> OrderedTableInterface::makeGroupIntf(Ombra::String const& agentName,
                                                                Ombra::String const& groupName,
                                                                unsigned short agentAndGroupId) {
    auto const canonicalName = Constants::canonicalizeGroupName(agentName, groupName);
    if (auto existing = groupIntf(canonicalName)) {
        return existing;
    }
    auto made = Ombra::ptrIs<GroupInterface>(agentName, groupName, agentAndGroupId,
                                             sharedMemOf(*entityManager_));
    auto const named = Ombra::ptrIs<Named<Ombra::Ptr<GroupInterface>>>(canonicalName, made);
    TextKey const key{named->name};
    groupIntfs_.add(GroupIntfs::keyArg(key), GroupIntfs::Node{named});
    return made;
}

Ombra::Ptr<GroupInterface>
OrderedTableInterface::groupIntf(Ombra::String const& canonicalName) const {
    auto const* node = groupIntfs_[TextKey{canonicalName}];
    return node == nullptr ? nullptr : node->value()->thing;
}

void OrderedTableInterface::swTableIntfIs(Ombra::String const& name,
                                          TableInterfaceBase* swTableIntf) {
    if (auto const* node = swTableIntfs_[TextKey{name}]; node != nullptr) {
        node->value()->thing = swTableIntf;
        return;
    }
    auto const named = Ombra::ptrIs<Named<TableInterfaceBase*>>(name, swTableIntf);
    TextKey const key{named->name};
    swTableIntfs_.add(SwTableIntfs::keyArg(key), SwTableIntfs::Node{named});
}

void OrderedTableInterface::swTableIntfDel(Ombra::String const& name) {
    SwTableIntfs::Removed removed;
    TextKey const key{name};
    swTableIntfs_.del(SwTableIntfs::keyArg(key), removed);
}

TableInterfaceBase* OrderedTableInterface::swTableIntf(Ombra::String const& name) const {
    auto const* node = swTableIntfs_[TextKey{name}];
    return node == nullptr ? nullptr : node->value()->thing;
}

std::vector<TableInterfaceBase*> OrderedTableInterface::swTableIntfs() const {
    std::vector<TableInterfaceBase*> all;
    for (SwTableIntfs::IteratorConst i{swTableIntfs_}; i; ++i) {
        all.push_back(i->value()->thing);
    }
    return all;
}

void OrderedTableInterface::reconcileSwTables() {
    for (auto* swTableIntf : swTableIntfs()) {
        swTableIntf->reconcile();
    }
}

Ombra::Ptr<ZetSharedMem::EntityManager> sharedMemOf(Orbis::EntityManager const& entityManager) {
    auto manager = ZetSharedMem::EntityManager::getEntityManager(entityManager.name(),
                                                                 entityManager.isLocal());
    if (std::getenv("NOT_LOCAL_EM") != nullptr) {
        manager = ZetSharedMem::EntityManager::getEntityManager(entityManager.name(), false);
    }
    return manager;
}

} // namespace Asic
