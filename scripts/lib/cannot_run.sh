# shellcheck shell=bash
# The tests that cannot run in some mode; sourced, not run.

# shellcheck disable=SC2154  # lib.sh sets it
cannot_run_list=$top/tests/cannot_run.txt

# The rows of the list for a mode, "PATTERN|REASON" each.
rows_for() { # MODE
    local rows modes pattern reason
    rows=$(sed -e '/^#/d' -e '/^ *$/d' -e 's/ *| */|/g' "$cannot_run_list") || return 1
    while IFS='|' read -r modes pattern reason; do
        # shellcheck disable=SC2053  # the list's first column is a pattern
        if [[ -n $modes && $1 == $modes ]]; then
            printf '%s|%s\n' "$pattern" "$reason" || return 1
        fi
    done <<<"$rows"
}

names_of_tests() { # CTEST ARGUMENTS
    ctest -N "$@" | sed -n 's/^ *Test *#[0-9]*: //p'
}

# Finds the tests that cannot run in a mode: leaving_out gets the options that keep ctest from them,
# left_out a line for each.
find_left_out() { # MODE CTEST ARGUMENTS
    local mode=$1 names rows pattern reason found without=''
    shift
    leaving_out=()
    left_out=()
    names=$(names_of_tests "$@") || die "the tests of $mode cannot be listed"
    rows=$(rows_for "$mode") || die "$cannot_run_list cannot be read"
    [ -n "$rows" ] || return 0
    while IFS='|' read -r pattern reason; do
        # A test's name in ctest may be followed by a remark about its parameter.
        found=$(grep -E "^($pattern)( .*)?\$" <<<"$names") ||
            die "${cannot_run_list#"$top/"} names no test of $mode: $pattern"
        without+="${without:+|}$pattern"
        while IFS= read -r found; do
            left_out+=("not run in $mode: $found ($reason)")
        done <<<"$found"
    done <<<"$rows"
    # shellcheck disable=SC2034  # whoever sources this file uses it
    leaving_out=(-E "^($without)( .*)?\$")
}

# Said at the end, so that nobody takes them for passed.
show_left_out() {
    [ ${#left_out[@]} -gt 0 ] || return 0
    printf '%s\n' "${left_out[@]}"
    printf '%d tests not run\n' ${#left_out[@]}
}
