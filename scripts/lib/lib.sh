# shellcheck shell=bash
# What the scripts share; sourced, not run. They run under "set -euo pipefail".

shopt -s inherit_errexit

# Run as sh, bash lacks features that the scripts use.
set +o posix

# The next descriptor would take a closed stream's number.
{ : 3>&2; } || exec 2>/dev/null
{ : 3<&0; } 2>/dev/null || exec </dev/null
{ : 3>&1; } 2>/dev/null || {
    printf '%s: standard output is closed: give it a place, for example >/dev/null\n' "${0##*/}" >&2
    exit 1
}

top=$(cd "${BASH_SOURCE[0]%/*}/../.." && pwd -P)
export top

# An ordinary user's PATH has no sbin on Debian; ifconfig, route and nsenter's kin are there.
for folder in /usr/local/sbin /usr/sbin /sbin; do
    case :$PATH: in
    *:"$folder":*) ;;
    *) PATH=$PATH:$folder ;;
    esac
done
export PATH

# Programs that take the signal for themselves (apt) may end well after it: the script ends all the same.
trap 'printf "\n%s: interrupted\n" "$(basename "$0")" >&2; exit 130' INT

say() { printf '== %s\n' "$*" >&2; }

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# The end of a log, before an error message.
show_end() { # LINES LOG
    tail -n "$1" "$2" >&2 || true
}

# Runs a function so that its first failed step ends it, and leaves its status in attempt_status:
# after "if" or "!", and before "||", bash goes on after a failed step. Not to be called there itself.
attempt() {
    set +e
    (
        set -e
        "$@"
    )
    # shellcheck disable=SC2034  # for the caller
    attempt_status=$?
    set -e
}

# Ends with a clear sentence when something of the folder build, or of its named parts, cannot be
# written: old results must not pass for new ones. Waits until no other script works with these parts,
# and keeps them for this one until it ends.
need_build_folder() { # [PART...]
    local part found
    mkdir -p "$top/build" 2>/dev/null || [ -w "$top" ] || read_only_checkout
    [ -w "$top/build" ] || [ -w "$top" ] || read_only_checkout
    [ -w "$top/build" ] || not_writable "$top/build"
    for part in "$@" "${@/%/.log}" "${@/%/.lock}" packages.log; do
        [ -e "$top/build/$part" ] || continue
        found=$(find "$top/build/$part" ! -type l ! -writable -print -quit)
        [ -z "$found" ] || not_writable "$found"
    done
    for part in "$@"; do
        [ -n "${locks[$part]:-}" ] || lock_part "$part"
    done
}

# The descriptor that holds the lock of each part of the folder build.
declare -A locks=()

lock_part() { # PART
    local lock=$top/build/$1.lock descriptor status=0 user
    : >>"$lock" || die "$lock cannot be written"
    exec {descriptor}<"$lock"
    locks[$1]=$descriptor
    flock -n "$descriptor" || status=$?
    if [ "$status" -eq 1 ]; then
        read -r user <"$lock" || true
        say "build/$1 is in use by ${user:-another script}: waiting for its end"
        flock "$descriptor" || die "$lock cannot be locked"
    fi
    # Some file systems have no locks; two scripts at once are then not detected.
    echo "${0##*/} (process $$)" >"$lock"
}

# For programs that may outlive the script.
drop_locks() {
    local descriptor
    for descriptor in "${locks[@]}"; do
        exec {descriptor}<&-
    done
    locks=()
}

# Runs a program that does not hold the locks itself: what it leaves behind would.
without_locks() {
    (
        drop_locks
        exec "$@"
    )
}

read_only_checkout() {
    die "$top cannot be written by $(id -un): use a checkout of your own, for example: git clone '$top'"
}

not_writable() { # PATH
    local why remedy="rm -rf '$top/build'"
    why="it belongs to $(stat -c %U "$1"), as after a run with sudo"
    if [ -O "$1" ]; then why='its permissions forbid it'; else remedy="sudo $remedy"; fi
    die "$1 cannot be written by $(id -un) ($why): remove the folder with: $remedy"
}

# Who may change the machine: root, or a user with sudo.
need_root_for() { # PACKAGES
    local remedy="run this as root, then start again: apt-get install --no-install-recommends $*"
    [ "$(id -u)" -ne 0 ] || return 0
    command -v sudo >/dev/null ||
        die "packages are missing, and there is no sudo here to install them; $remedy"
    if sudo -n true 2>/dev/null; then
        return 0
    fi
    [ -t 0 ] || [ -t 2 ] ||
        die "packages are missing, and $(id -un) has no rights to install them without a password; $remedy"
    sudo -v || die "packages are missing, and $(id -un) has no rights to install them; $remedy"
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o Acquire::http::Timeout=15 \
        -o DPkg::Lock::Timeout=120 -o APT::Update::Error-Mode=any "$@" </dev/null
}

# Old package lists may be good enough if new ones are not available. A package manager that goes on
# after its terminal has closed must not hold up other scripts.
install_packages() {
    local lists=0
    drop_locks
    apt_get update || lists=$?
    if apt_get install -y --no-install-recommends "$@"; then
        return 0
    fi
    [ "$lists" -eq 0 ] || return 3
    return 1
}

# Installs those of the named Debian packages that the machine lacks.
need_packages() {
    local missing=() package status=0
    command -v dpkg-query >/dev/null ||
        die "this is no Debian system: install the equivalents of these packages by hand: $*"
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Abbrev}\n' "$package" 2>/dev/null | grep -q '^ii' ||
            missing+=("$package")
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return 0
    fi
    need_build_folder
    need_root_for "${missing[@]}"
    say "installing ${missing[*]} (log: build/packages.log)"
    logged "$top/build/packages.log" packages_done install_packages "${missing[@]}" || status=$?
    case $status in
    0) ;;
    3) die "the Debian archive cannot be reached (log: build/packages.log): this machine needs a" \
        "network, or these packages: ${missing[*]}" ;;
    *)
        show_end 5 "$top/build/packages.log"
        die "these packages cannot be installed (log: build/packages.log): ${missing[*]}"
        ;;
    esac
}

# shellcheck disable=SC2034  # the scripts that source this file use them
build_packages=(cmake ninja-build gcc g++ libc6-dev pkg-config libcli11-dev nlohmann-json3-dev
    libgtest-dev)
# shellcheck disable=SC2034
world_packages=(iproute2 net-tools util-linux procps)

# A compiler cache is used where there is one, also across checkouts.
if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    export CCACHE_BASEDIR=$top CCACHE_NOHASHDIR=1
    # It must not take a precompiled header for a new one because of its time.
    export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
fi

# A log's progress, in words.
packages_done() { # LOG
    awk '/ newly installed, / { all = $3 } /^Get:/ { got++ } /^Setting up / { ready++ }
        END { if (all) printf "%d of %d packages ready", ready, all; else print "package lists" }' "$1"
}

targets_done() { # LOG
    awk '/^\[[0-9]+\/[0-9]+\] / { split(substr($1, 2), step, "[/\\]]") }
        END { if (step[2]) printf "%d of %d targets", step[1], step[2]; else print "configuring" }' "$1"
}

show_progress() { # LOG FUNCTION
    local begin=$SECONDS
    set +e
    while kill -0 $$ 2>/dev/null; do
        printf '\r\033[K   %s, %d:%02d' "$("$2" "$1")" \
            $(((SECONDS - begin) / 60)) $(((SECONDS - begin) % 60)) >&2
        sleep 0.5
    done
}

# Runs a command with its output in a log; on a terminal, says meanwhile how far the log has come.
# The command itself returns each failure: a failed step does not end it.
logged() { # LOG FUNCTION COMMAND...
    local log=$1 watcher='' status=0
    : >"$log" || return 1
    if [ -t 2 ]; then
        show_progress "$log" "$2" &
        watcher=$!
    fi
    # In a shell of its own: an interruption is told where this one's errors go, not in the log.
    ("${@:3}") >"$log" 2>&1 || status=$?
    if [ -n "$watcher" ]; then
        kill "$watcher" 2>/dev/null || true
        wait "$watcher" 2>/dev/null || printf '\r\033[K' >&2
    fi
    return "$status"
}

# CMake refuses a build folder that was created for another path.
forget_other_place() { # PRESET
    local cache=$top/build/$1/CMakeCache.txt place
    [ -f "$cache" ] || return 0
    place=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$cache")
    [ ! "$place" -ef "$top" ] || return 0
    say "build/$1 was made for $place: building it anew"
    rm -rf "$top/build/$1"
}

# Further settings for CMake, as -DNAME=VALUE.
configure_settings=()

# A newer compiler's warning must not stop a user's build.
configure() { # PRESET
    local fatal=OFF
    [ "${CI:-}" != true ] || fatal=ON
    (cd "$top" && cmake --preset "$1" -DQUON_WERROR=$fatal "${configure_settings[@]}")
}

configure_and_build() { # PRESET TARGETS
    configure "$1" && (cd "$top" && cmake --build --preset "$1" ${2:+--target "${@:2}"})
}

# Configures and builds a preset; further words are targets (default: everything).
build_preset() {
    local preset=$1
    need_build_folder "$preset"
    forget_other_place "$preset"
    say "building the preset $preset (log: build/$preset.log)"
    if ! logged "$top/build/$preset.log" targets_done configure_and_build "$@"; then
        show_end 60 "$top/build/$preset.log"
        die "the preset $preset does not build (whole log: build/$preset.log)"
    fi
}

# The newest Clang that this Debian has and the tree is kept clean for.
newest_clang() {
    local debian
    debian=$(sed -n 's/^VERSION_ID="\(.*\)"/\1/p' /etc/os-release)
    if [ "$debian" = 12 ]; then echo 16; else echo 19; fi
}

# Where the daemon runs: in namespaces of its own or, with QUON_WORLD=here, in the container as it is.
# Says what is wrong before anything is installed.
need_world() {
    case ${QUON_WORLD:-} in
    '') need_namespaces ;;
    here) need_container ;;
    *) die "QUON_WORLD is '$QUON_WORLD': only 'here' means something, without it there are namespaces" ;;
    esac
}

need_namespaces() {
    local try='mount -t tmpfs tmpfs /tmp' remedy=''
    if unshare --net --mount sh -c "$try" 2>/dev/null ||
        unshare --user --map-root-user --net --mount sh -c "$try" 2>/dev/null; then
        return 0
    fi
    [ "$(id -u)" -eq 0 ] || remedy=" run it as root (sudo $0);"
    die "this machine gives no private namespaces to $(id -un):$remedy in a container that nothing" \
        "else depends on, set QUON_WORLD=here to work in its own world"
}

need_container() {
    local interfaces
    interfaces=$(cat /proc/net/dev)
    ! [[ $interfaces =~ (^|$'\n')' '*wlan0: ]] ||
        die "QUON_WORLD=here would change the wlan0 of this machine: it is for containers without one"
    [ -w /tmp ] || die "QUON_WORLD=here needs a /tmp that $(id -un) can write"
    say "QUON_WORLD=here: no namespaces, everything works with this container's /tmp and resolv.conf"
}

resolver_file=/etc/resolv.conf

# Runs a command and returns its status. In a container, the resolver file is as before afterwards.
with_resolver_file() {
    local status=0
    [ -z "${QUON_WORLD:-}" ] || keep_resolver_file
    "$@" || status=$?
    restore_resolver_file
    return "$status"
}

resolver_copy=
keep_resolver_file() {
    [ -w "$resolver_file" ] || return 0
    resolver_copy=$(mktemp) || die "there is no room for a copy of $resolver_file"
    cat "$resolver_file" >"$resolver_copy" || die "$resolver_file cannot be kept"
    trap restore_resolver_file EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    trap 'exit 129' HUP
}

restore_resolver_file() {
    [ -n "$resolver_copy" ] || return 0
    # Written, not moved: in a container it is often a mount.
    if [ -f "$resolver_copy" ]; then
        cat "$resolver_copy" >"$resolver_file" ||
            die "$resolver_file is not as it was; its content stands in $resolver_copy"
        rm -f "$resolver_copy"
    fi
    resolver_copy=
}
