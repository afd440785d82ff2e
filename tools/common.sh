# What the scripts of the project share; sourced, not run. Sets `project` to the project's root, and
# the colours, which are empty unless standard output is a terminal.

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

if [[ -t 1 && -z ${NO_COLOR:-} && ${TERM:-dumb} != dumb ]]; then
    bold=$'\e[1m' red=$'\e[31m' green=$'\e[32m' plain=$'\e[0m'
else
    bold='' red='' green='' plain=''
fi

# heading TEXT: the title of a step.
heading() {
    printf '\n%s== %s%s\n' "$bold" "$*" "$plain"
}

# fail TEXT...: a line per argument on standard error, then exit status 1.
fail() {
    printf '%s\n' "$@" >&2
    exit 1
}

# jobs_at_once: how many compilers may run at once: one per processor, and a gigabyte of free memory each.
jobs_at_once() {
    local processors memory
    processors=$(nproc)
    memory=$(awk '/^MemAvailable:/ {print int($2 / 1048576)}' /proc/meminfo)
    ((memory >= 1)) || memory=1
    echo $((processors < memory ? processors : memory))
}
