#include <fmt/format.h>

#include <apps/policy/Assemble.h>
#include <apps/policy/Identities.h>

namespace LoamPolicy {

namespace {

using MaybeProblem = std::optional<Problem>;

template <class T>
Given<T> given(std::optional<T> const& value) {
    return {value.value_or(T{}), value.has_value()};
}

MaybeProblem notFor(std::string_view leaf, PolicyKind kind) {
    return Problem{fmt::format("/actions/loam-acl-ext:control-plane/config/{}", leaf),
                   fmt::format("{} is not valid in a set of type {}", leaf, setTypeName(kind))};
}

/// The `when` statements of the leaves of control-plane.
MaybeProblem checkActionLeaves(ActionDraft const& draft, PolicyKind kind) {
    bool const isIp = kind == PolicyKind::Ipv4System || kind == PolicyKind::Ipv6System;
    if (draft.setDscp && !isIp) {
        return notFor("set-dscp", kind);
    }
    if (draft.setVlanId && kind != PolicyKind::MacSystem) {
        return notFor("set-vlan-id", kind);
    }
    if (draft.setMplsTc && kind != PolicyKind::MplsSystem) {
        return notFor("set-mpls-traffic-class", kind);
    }
    if (draft.innerVrfId && kind != PolicyKind::TunnelTermination) {
        return notFor("inner-vrf-id", kind);
    }
    if (draft.maxInnerTtl && kind != PolicyKind::TunnelTermination) {
        return notFor("max-inner-ttl", kind);
    }
    if (draft.policeBurst && kind == PolicyKind::VxlanAnycast) {
        return notFor("police-burst", kind);
    }
    if (!draft.policeRate && (draft.policeUnit || draft.policeBurst)) {
        return Problem{fmt::format("/actions/loam-acl-ext:control-plane/config/{}",
                                   draft.policeUnit ? "police-unit" : "police-burst"),
                       "is valid together with police-rate alone"};
    }
    return std::nullopt;
}

} // namespace

std::optional<Problem> assembleAction(ActionDraft const& draft, PolicyKind kind, Action& action) {
    if (!draft.verdict) {
        return Problem{"/actions/config/forwarding-action",
                       "missing: every entry needs a forwarding action"};
    }
    if (auto problem = checkActionLeaves(draft, kind)) {
        return problem;
    }
    action.verdict = *draft.verdict;
    action.log = draft.log;
    action.count = draft.count;
    action.toCpu = draft.toCpu;
    action.cpuQueue = given(draft.cpuQueue);
    action.trafficClass = given(draft.trafficClass);
    action.mirrorSession = draft.mirrorSession.value_or(0);
    action.policeRate = draft.policeRate.value_or(0);
    action.policeUnit = draft.policeUnit.value_or(PoliceUnit::PacketsPerSecond);
    action.policeBurst = draft.policeBurst.value_or(0);
    action.setDscp = given(draft.setDscp);
    action.setVlanId = draft.setVlanId.value_or(0);
    action.setMplsTc = given(draft.setMplsTc);
    action.innerVrfId = draft.innerVrfId.value_or(0);
    action.maxInnerTtl = draft.maxInnerTtl.value_or(255);
    return std::nullopt;
}

} // namespace LoamPolicy
