#!/bin/sh
# Holds examples/policy/control-plane.json equal to what make_control_plane.py prints.
# Usage: check_control_plane.sh <project folder> <python>
set -eu

folder=$1/examples/policy
printed=$(mktemp)
trap 'rm -f "$printed"' EXIT

"$2" "$folder/make_control_plane.py" >"$printed"
diff "$folder/control-plane.json" "$printed" || {
    echo "control-plane.json differs: run make_control_plane.py > control-plane.json" >&2
    exit 1
}
