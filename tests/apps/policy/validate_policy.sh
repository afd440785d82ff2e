#!/bin/sh
# Validates the example policy and a generated one with yanglint against the published OpenConfig
# modules and our own augmentation. Usage: validate_policy.sh <project folder> <loam-policy-gen>
#
# The published modules lie beside the project in ../shared/yang, or where LOAM_YANG_DIR says.
set -eu

project=$1
generator=$2
yangDir=${LOAM_YANG_DIR:-$project/../shared/yang}

fail() {
    echo "validate_policy: $*" >&2
    exit 1
}

command -v yanglint >/dev/null || fail "yanglint is missing: install the package libyang2-tools"
[ -f "$yangDir/openconfig-acl.yang" ] ||
    fail "$yangDir/openconfig-acl.yang is missing: put the OpenConfig modules there or set" \
        "LOAM_YANG_DIR to the folder that has them"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Status of yanglint; its complaints, without the warnings about the published modules, in a file.
lint() {
    yanglint -p "$yangDir" -t config -f json \
        "$yangDir/openconfig-packet-match-types.yang" \
        "$yangDir/openconfig-icmpv4-types.yang" \
        "$yangDir/openconfig-icmpv6-types.yang" \
        "$yangDir/openconfig-acl.yang" \
        "$project/examples/policy/yang/loam-acl-ext.yang" \
        "$1" >/dev/null 2>"$work/all" && status=0 || status=$?
    grep -v '^libyang warn' "$work/all" >"$work/complaints" || true
    return "$status"
}

mustPass() {
    lint "$1" || { cat "$work/complaints" >&2; fail "$1 is not valid"; }
    echo "valid: $1"
}

mustFail() {
    ! lint "$1" || fail "yanglint accepts what it should refuse: $2"
    echo "refused: $2"
}

mustPass "$project/examples/policy/control-plane.json"

"$generator" --entries 200 --output "$work/generated.json"
mustPass "$work/generated.json"

sed '0,/"cpu-queue": 20/s//"cpu-queue": 64/' "$project/examples/policy/control-plane.json" \
    >"$work/queue.json"
mustFail "$work/queue.json" "a CPU queue that does not exist"

sed 's/"loam-acl-ext:tunnel"/"loam-acl-ext:egress-olp"/' "$work/generated.json" >"$work/when.json"
mustFail "$work/when.json" "match fields of another type of set"
