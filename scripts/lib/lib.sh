# shellcheck shell=bash
# What the scripts share; sourced, not run.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
export top

say() { printf '== %s\n' "$*" >&2; }

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Runs a command with the rights to change the machine: as it is for root, through sudo otherwise.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        die "this needs root: run it as root, or install sudo ($*)"
    fi
}

# Installs those of the named Debian packages that the machine lacks.
need_packages() {
    local missing=() package
    command -v dpkg-query >/dev/null 2>&1 ||
        die "this is no Debian system: install the equivalents of these packages by hand: $*"
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Abbrev}\n' "$package" 2>/dev/null | grep -q '^ii' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    say "installing ${missing[*]}"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q >/dev/null ||
        die "the package lists cannot be read (apt-get update failed)"
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -q --no-install-recommends "${missing[@]}" >/dev/null ||
        die "these packages cannot be installed: ${missing[*]}"
}

# shellcheck disable=SC2034  # the scripts that source this file use them
build_packages=(cmake ninja-build gcc g++ libc6-dev pkg-config libcli11-dev nlohmann-json3-dev
    libgtest-dev)
# shellcheck disable=SC2034
world_packages=(iproute2 net-tools util-linux procps)

# A compiler cache is used where there is one, also across checkouts.
if command -v ccache >/dev/null 2>&1; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    export CCACHE_BASEDIR=$top CCACHE_NOHASHDIR=1
    # It must not take a precompiled header for a new one because of its time.
    export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
fi

# Configures and builds a preset; further words are targets (default: everything).
build_preset() {
    local preset=$1
    shift
    say "building the preset $preset (log: build/$preset.log)"
    mkdir -p "$top/build"
    if ! (cd "$top" && cmake --preset "$preset" &&
        cmake --build --preset "$preset" ${1:+--target "$@"}) >"$top/build/$preset.log" 2>&1; then
        tail -n 60 "$top/build/$preset.log" >&2
        die "the preset $preset does not build (whole log: build/$preset.log)"
    fi
}

# Tests and the simulated board need namespaces of their own; says so before anything fails.
need_namespaces() {
    unshare --net --mount true 2>/dev/null && return 0
    unshare --user --map-root-user --net --mount true 2>/dev/null && return 0
    die "this kernel gives no private namespaces to this user: run it as root (sudo $0)"
}
