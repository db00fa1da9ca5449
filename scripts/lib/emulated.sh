# shellcheck shell=bash
# What the scripts that test under user-mode emulation share; sourced, not run.
# shellcheck source=scripts/lib/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

cannot_run_list=$top/tests/emulated/cannot_run.txt

# The system tests' program runs on this machine, whatever the programs under test run on.
# shellcheck disable=SC2034  # the scripts that source this file use them
host_tests=(system_test quon_mcu_system_test)
# shellcheck disable=SC2034
host_test_packages=(python3 netcat-openbsd)

# G_SLICE: the emulator hangs now and then when a program forks while other threads run, unless it
# takes its own memory from malloc.
emulator() { # SYSROOT [OPTIONS]
    echo "env G_SLICE=always-malloc qemu-mipsel -L $*"
}

# The rows of the list for a mode, "PATTERN|REASON" each.
rows_for() { # MODE
    local modes pattern reason
    while IFS='|' read -r modes pattern reason; do
        # shellcheck disable=SC2053  # the list's first column is a pattern
        [[ $1 != $modes ]] || printf '%s|%s\n' "$pattern" "$reason"
    done < <(sed -e '/^#/d' -e '/^ *$/d' -e 's/ *| */|/g' "$cannot_run_list")
}

# A test's name in ctest may be followed by a remark about its parameter.
whole_name() { # PATTERN
    echo "^($1)( .*)?\$"
}

names_of_tests() { # CTEST ARGUMENTS
    ctest -N "$@" | sed -n 's/^ *Test *#[0-9]*: //p'
}

# Runs ctest without the tests that cannot run in this mode. MODE FOLDER ARGUMENTS: the arguments
# that choose the mode's tests, then "--" and the caller's.
run_emulated() {
    local mode=$1 folder=$2 chosen=() names pattern reason without=''
    shift 2
    while [ $# -gt 0 ] && [ "$1" != -- ]; do
        chosen+=("$1")
        shift
    done
    shift
    names=$(names_of_tests --test-dir "$folder" "${chosen[@]}")
    while IFS='|' read -r pattern reason; do
        grep -qE "$(whole_name "$pattern")" <<<"$names" ||
            die "$(basename "$cannot_run_list") names no test of $mode: $pattern"
        without+="${without:+|}$pattern"
    done < <(rows_for "$mode")
    [ -z "$without" ] || chosen+=(-E "$(whole_name "$without")")
    [ $# -gt 0 ] || chosen+=(--no-tests=error)
    say "tests of $mode"
    ctest --test-dir "$folder" --output-on-failure -j "$(($(nproc) * 2))" "${chosen[@]}" "$@" |
        tee "$top/build/test-$mode.log" || return 1
    # ctest counts it as passed.
    ! grep -F '***Skipped' "$top/build/test-$mode.log" ||
        die "a test that skips itself in $mode belongs into $(basename "$cannot_run_list")"
}

# Said at the end, so that nobody takes them for passed.
show_cannot_run() { # MODES
    local mode pattern reason
    for mode in "$@"; do
        while IFS='|' read -r pattern reason; do
            printf 'not run in %s: %s (%s)\n' "$mode" "$pattern" "$reason"
        done < <(rows_for "$mode")
    done
}
