# What the tests of ./phone share: how it is run and its outcome looked at. To be
# sourced; PHONE_BUILD_DIR names a build whose tree is staged.
# shellcheck shell=bash
# shellcheck source=tests/box/checks
. "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/checks"

set -u
export LC_ALL=C

project=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../..
project=$(cd -- "$project" && pwd -P) || exit 1
build=$(cd -- "${PHONE_BUILD_DIR:?names the build}" && pwd -P) || exit 1
readonly phone=$project/phone
export PHONE_BUILD_DIR=$build

status=
started=()
scratch=$(mktemp -d) || exit 1
readonly scratch

clean_up() {
    local process
    for process in "${started[@]}"; do
        kill -TERM "$process" 2>/dev/null && wait "$process" 2>/dev/null
    done
    rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# In this shell, as a check may start something; what ./phone wrote is shown.
check() {
    local what=$1
    shift
    if "$@"; then
        printf 'ok: %s\n' "$what"
        return
    fi
    failures=$((failures + 1))
    printf 'FAILED: %s (%s); status %s, output and errors:\n' "$what" "$*" "$status"
    sed 's/^/    /' "$scratch/out" "$scratch/err"
}

# Runs ./phone to its end: the status, and two files with what it wrote.
run() {
    timeout --kill-after=30 100 "$phone" "$@" >"$scratch/out" 2>"$scratch/err"
    status=$?
}

status_is() { [ "$status" = "$1" ]; }
output_is() { [ "$(cat "$scratch/out" && echo .)" = "$1." ]; }
errors_are() { [ "$(cat "$scratch/err" && echo .)" = "$1." ]; }
errors_have() { grep -qF -- "$1" "$scratch/err"; }
one_line_of_errors() { [ "$(wc -l <"$scratch/err")" = 1 ]; }

# Everything that a phone started, inside and outside, has the mark of its caller
# in its environment.
processes_of() {
    grep -lzsx "CLI_MARK=$1" /proc/[0-9]*/environ
}

none_of() {
    [ -z "$(processes_of "$1")" ]
}

has_line() {
    grep -qsx -- "$2" "$1"
}

[ -z "${PHONE_INSIDE-}" ] || {
    echo "this test runs beside phones, not in one" >&2
    exit 1
}

# Starts a form of ./phone that stays until it is told to end, as the process
# $background. Its output is in the scratch folder as MARK.out and MARK.err.
start() {
    local mark=$1
    shift
    CLI_MARK=$mark env --default-signal=INT "$phone" "$@" \
        </dev/null >"$scratch/$mark.out" 2>"$scratch/$mark.err" &
    background=$!
    started+=("$background")
}
