#include <LoamSystemAcl/LogMessages.h>
#include <LoamSystemAcl/XxxEntryLog.h>
#include <LoamSystemAcl/XxxInspect.h>
#include <OrderedTable/EntryLogMount.h>
#include <OrderedTable/EntryLogQuery.h>
#include <OrderedTable/EntryLogTrim.h>
#include <OrderedTable/EntryLogWrite.h>
#include <OrderedTable/UnitLoaded.h>
#include <Zet/Log.h>
#include <Zet/PtrMapAttr.h>

namespace LoamSystemAcl {

namespace {

OrderedTable::UnitLoaded const entryLogLoaded{xxxEntryLogModule, XxxConstants::row.alignsAtLoad};

// Made in this order when the library is loaded. Only the first is ever raised.
Zet::LogHandle errorLog{&hwAbstractionError, Ombra::Duration{0}, 1.0, 0, 0};
Zet::LogHandle relaunchErrorLog{&hwAbstractionRelaunchError, Ombra::Duration{0}, 1.0, 0, 0};
Zet::LogHandle exceptionLog{&hwAbstractionException, Ombra::Duration{0}, 1.0, 0, 0};

using ConfigSlateAttr = Zet::PtrMapAttr<XxxEntryLog::TableConfigSlate>;
using LogAccessor = Asic::EntryLogAccessor<XxxEntryLog>;
using ConstLogAccessor = Asic::EntryLogAccessor<XxxEntryLog const>;

} // namespace

Zet::TraceHandle const& XxxEntryLog::_defaultTraceHandle() {
    static Zet::TraceHandle const handle{"XxxEntryLog", false};
    return handle;
}

XxxEntryLog::XxxEntryLog(Asic::SwTableId tableId,
                         Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                         Ombra::Ptr<Asic::GroupInterface> const& groupInterface,
                         Ombra::String const& agentName)
    : Tracked{tableId, entityManager, groupInterface, agentName} {
    handleInitialized();
}

XxxEntryLog::~XxxEntryLog() {
    tableConfigSlateDelAll();
}

Ombra::Ptr<XxxEntryLog> XxxEntryLog::XxxEntryLogIs(
    Asic::SwTableId tableId, Ombra::Ptr<Orbis::EntityManager> const& entityManager,
    Ombra::Ptr<Asic::GroupInterface> const& groupInterface, Ombra::String const& agentName) {
    return Ombra::ptrIs<XxxEntryLog>(tableId, entityManager, groupInterface, agentName);
}

Ombra::TypeData XxxEntryLog::typeData() const {
    return Ombra::typeDataOf<XxxEntryLog>;
}

Ombra::Ptr<XxxConfigSlate> XxxEntryLog::askConfigSlate(Asic::UnitId unitId) const {
    auto configSlate = ConfigSlateAttr::get(tableConfigSlate_, unitId);
    asked_[unitId % asked_.size()] = {unitId, configSlate.get()};
    return configSlate;
}

void XxxEntryLog::tableConfigSlateIs(Asic::UnitId unitId,
                                     Ombra::Ptr<XxxConfigSlate> const& configSlate) {
    asked_ = {};
    ConfigSlateAttr::is(tableConfigSlate_, unitId, configSlate);
}

Ombra::Ptr<XxxConfigSlate> XxxEntryLog::tableConfigSlateDel(Asic::UnitId unitId) {
    asked_ = {};
    return ConfigSlateAttr::del(tableConfigSlate_, unitId);
}

void XxxEntryLog::tableConfigSlateDelAll() {
    asked_ = {};
    ConfigSlateAttr::delAll(tableConfigSlate_);
}

Asic::LogVersion XxxEntryLog::entryIs(XxxLogEntry const& tableEntry,
                                      XxxResourceKeys const& rsrcKeys, NeededPtr const& neededEntry,
                                      Asic::UnitId unitId,
                                      Ombra::Ptr<Asic::SwTableStats> const& stats,
                                      bool suppressIdenticalWrites) {
    return LogAccessor{this}.entryIs(tableEntry, rsrcKeys, neededEntry, unitId, stats,
                                     suppressIdenticalWrites);
}

Asic::LogVersion XxxEntryLog::entryDel(XxxEntryKey const& key, NeededPtr const& neededEntry,
                                       Asic::UnitId unitId) {
    return LogAccessor{this}.entryDel(key, neededEntry, unitId);
}

Asic::LogVersion XxxEntryLog::tableDel(NeededPtr const& neededEntry, Asic::UnitId unitId) {
    return LogAccessor{this}.tableDel(neededEntry, unitId);
}

XxxLogEntry XxxEntryLog::entry(XxxEntryKey const& key, Asic::UnitId unitId) const {
    return ConstLogAccessor{this}.entry(key, unitId);
}

bool XxxEntryLog::entryHas(XxxEntryKey const& key, Asic::UnitId unitId) const {
    return ConstLogAccessor{this}.entryHas(key, unitId);
}

XxxResourceKeys XxxEntryLog::entryRsrcKeys(XxxEntryKey const& key, Asic::UnitId unitId) const {
    return ConstLogAccessor{this}.entryRsrcKeys(key, unitId);
}

Asic::LogVersion XxxEntryLog::entryLogVersion(XxxEntryKey const& key, Asic::UnitId unitId) const {
    return ConstLogAccessor{this}.entryLogVersion(key, unitId);
}

std::uint32_t XxxEntryLog::entrys(Asic::UnitId unitId) const {
    return ConstLogAccessor{this}.entrys(unitId);
}

std::uint32_t XxxEntryLog::entrysInDeletion(Asic::UnitId unitId) const {
    return ConstLogAccessor{this}.entrysInDeletion(unitId);
}

void XxxEntryLog::cleanupEntryLog(Asic::LogVersion tableVersion) {
    LogAccessor{this}.cleanupEntryLog(tableVersion);
}

void XxxEntryLog::mountSlateChangeLog() {
    LogAccessor{this}.mountSlateChangeLog();
}

void XxxEntryLog::mountSlateConfig(Asic::UnitId unitId, Asic::LogVersion tableVersion) {
    LogAccessor{this}.mountSlateConfig(unitId, tableVersion);
}

void XxxEntryLog::handleInitialized() {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "");
    mountSlateChangeLog();
}

void XxxEntryLog::reportWiped(Ombra::String const& item) {
    Zet::log(errorLog, item);
}

Ombra::Ptr<XxxEntryLog> xxxEntryLogFactory(Asic::SwTableId tableId,
                                           Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                                           Ombra::Ptr<Asic::GroupInterface> const& groupInterface,
                                           Ombra::String const& agentName) {
    return Ombra::ptrIs<XxxEntryLog>(tableId, entityManager, groupInterface, agentName);
}

} // namespace LoamSystemAcl
