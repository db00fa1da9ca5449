# shellcheck shell=bash
# What the scripts that test under user-mode emulation share; sourced, not run.
# shellcheck source=scripts/lib/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
# shellcheck source=scripts/lib/cannot_run.sh
. "$top/scripts/lib/cannot_run.sh"

# The system tests' program runs on this machine, whatever the programs under test run on.
# shellcheck disable=SC2034  # the scripts that source this file use them
host_tests=(system_test fault_matrix_test quon_mcu_system_test)
# shellcheck disable=SC2034
host_test_packages=(python3 netcat-openbsd)

# G_SLICE: the emulator hangs now and then when a program forks while other threads run, unless it
# takes its own memory from malloc.
emulator() { # SYSROOT [OPTIONS]
    echo "env G_SLICE=always-malloc qemu-mipsel -L $*"
}

status=0
all_left_out=()

# Runs ctest without the tests that cannot run in this mode; a failure is kept in status. MODE FOLDER
# ARGUMENTS: the arguments that choose the mode's tests, then "--" and the caller's.
run_emulated() {
    local mode=$1 folder=$2 chosen=() log=$top/build/test-$1.log
    shift 2
    while [ $# -gt 0 ] && [ "$1" != -- ]; do
        chosen+=("$1")
        shift
    done
    shift
    find_left_out "$mode" --test-dir "$folder" "${chosen[@]}"
    all_left_out+=("${left_out[@]}")
    chosen+=("${leaving_out[@]}")
    [ $# -gt 0 ] || chosen+=(--no-tests=error)
    say "tests of $mode"
    rm -f "$log"
    if ! without_locks ctest --test-dir "$folder" --output-on-failure -j "$(($(nproc) * 2))" "${chosen[@]}" "$@" |
        tee "$log"; then
        status=1
    fi
    # ctest counts it as passed.
    if grep -F '***Skipped' "$log"; then
        die "a test that skips itself in $mode belongs into ${cannot_run_list#"$top/"}"
    fi
}

finish_emulated() {
    left_out=("${all_left_out[@]}")
    show_left_out
    exit $status
}
