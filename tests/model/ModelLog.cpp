#include "ReferenceModel.h"

#include <utility>

// The change log and the configuration tables.
namespace model {

Version ReferenceModel::logWrite(unsigned table, Key key, Value value, Needed needed,
                                 bool suppressIdentical) {
    unsigned const family = familyOf(table);
    auto& records = stored[family].config[unitOf(table)];
    if (auto const found = records.find(key);
        suppressIdentical && found != records.end() && !found->second.inDeletion) {
        if (found->second.value == value) {
            ++at(table).counts.suppressed;
            return found->second.version;
        }
        ++at(table).counts.differed;
    }
    Version const version = ++running[family]->tableVersion;
    records[key] = {value, version, false};
    record(family, version, {What::written, unitOf(table), key, value}, std::move(needed));
    return version;
}

Version ReferenceModel::logRemove(unsigned table, Key key, Needed needed) {
    unsigned const family = familyOf(table);
    auto& records = stored[family].config[unitOf(table)];
    auto const found = records.find(key);
    if (found == records.end()) {
        return 0;
    }
    Version const version = ++running[family]->tableVersion;
    found->second.version = version;
    found->second.inDeletion = true;
    record(family, version, {What::deleted, unitOf(table), key, found->second.value},
           std::move(needed));
    return version;
}

Version ReferenceModel::logClear(unsigned table, Needed needed) {
    unsigned const family = familyOf(table);
    Version const version = ++running[family]->tableVersion;
    for (auto& [key, each] : stored[family].config[unitOf(table)]) {
        if (!each.inDeletion) {
            each = {each.value, version, true};
        }
    }
    record(family, version, {What::tableDeleted, unitOf(table), 0, 0}, std::move(needed));
    return version;
}

void ReferenceModel::record(unsigned family, Version version, Change const& change, Needed needed) {
    stored[family].log[version] = change;
    stored[family].scratchpad = version;
    needed.erase(family); // order inside a table is the version
    if (!needed.empty()) {
        stored[family].needed[version] = std::move(needed);
    }
    stored[family].announced = version;
}

void ReferenceModel::trim(unsigned family, Version version) {
    auto& log = stored[family].log;
    auto const first =
        running[family]->cleaned != 0 ? log.lower_bound(running[family]->cleaned) : log.begin();
    for (auto each = first; each != log.end() && each->first <= version;) {
        auto const [number, change] = *each;
        each = log.erase(each);
        applyTrimmed(family, number, change);
    }
    running[family]->cleaned = version;
}

void ReferenceModel::applyTrimmed(unsigned family, Version version, Change const& change) {
    if (!running[family]->mounted.contains(change.unit)) {
        return;
    }
    auto& records = stored[family].config[change.unit];
    if (change.what == What::deleted) {
        if (auto const found = records.find(change.key);
            found != records.end() && found->second.version == version) {
            records.erase(found);
        }
    } else if (change.what == What::tableDeleted) {
        std::erase_if(records, [&](auto const& each) { return each.second.version == version; });
    }
}

} // namespace model
