# shellcheck shell=bash
# Minimal Debian roots and commands inside them; sourced by test-fresh, which runs as root and sets
# the folders `packages` and `logs`.
: "${top:?}" "${packages:?}" "${logs:?}"

fresh_user=tester
guest_user=guest # has no sudo rights
checkout='my checkouts/quon'

# The machine's own mirror, "URI SUITE" a line, with the machine's codename replaced by the suite.
mirror_lines() { # SUITE
    local own
    own=$(. /etc/os-release && echo "${VERSION_CODENAME:-none}")
    if [ -n "${QUON_FRESH_MIRROR:-}" ]; then
        echo "$QUON_FRESH_MIRROR $1"
        return
    fi
    # shellcheck disable=SC2016  # apt's own variables
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        sort -u | sed -nE "s/^([^ ]+) $own((-updates|-security)?) main\$/\1 $1\2/p"
}

apt_proxies() {
    apt-config dump --format '%F "%v";%n' | sed -nE '/^Acquire::https?::Proxy/p'
}

# What a root has beside the essential packages.
fresh_includes=sudo,git

# Makes the minimal root of a suite at FOLDER, with two ordinary users.
make_root() { # SUITE FOLDER
    local suite=$1 root=$2 mirrors lines sources=() proxies=() uri release line include=$fresh_includes
    mirrors=$(mirror_lines "$suite")
    [ -n "$mirrors" ] ||
        die "apt's configuration names no Debian mirror: give one in QUON_FRESH_MIRROR"
    while read -r uri release; do
        sources+=("deb $uri $release main")
        case $uri in https:*) include=$fresh_includes,ca-certificates ;; esac
    done <<<"$mirrors"
    lines=$(apt_proxies)
    while read -r line; do
        [ -z "$line" ] || proxies+=("--aptopt=$line")
    done <<<"$lines"
    [ -z "${QUON_FRESH_CCACHE:-}" ] || include+=,ccache
    mkdir -p "$packages/$suite/partial"
    # shellcheck disable=SC2016  # the hooks' own words
    QUON_FRESH_PACKAGES=$packages/$suite mmdebstrap --quiet --variant=minbase --include="$include" \
        "${proxies[@]}" --skip=download/empty,essential/unlink,cleanup/apt \
        --setup-hook='mkdir -p "$1/var/cache/apt/archives/partial"' \
        --setup-hook='cp "$QUON_FRESH_PACKAGES"/*.deb "$1/var/cache/apt/archives/" || true' \
        --customize-hook='mv -f "$1"/var/cache/apt/archives/*.deb "$QUON_FRESH_PACKAGES/"' \
        "$suite" "$root" "${sources[@]}" >"$logs/$suite-root.log" 2>&1 </dev/null || {
        tail -n 20 "$logs/$suite-root.log" >&2
        die "the root of $suite cannot be made"
    }
    furnish_root "$root"
}

furnish_root() { # ROOT
    local root=$1 name
    name=$(hostname)
    cat /etc/resolv.conf >"$root/etc/resolv.conf"
    printf '127.0.0.1 localhost %s\n' "$name" >"$root/etc/hosts"
    chroot "$root" useradd --create-home --shell /bin/bash "$fresh_user"
    chroot "$root" useradd --create-home --shell /bin/bash "$guest_user"
    mkdir -p "$root/etc/sudoers.d"
    echo "$fresh_user ALL=(ALL) NOPASSWD: ALL" >"$root/etc/sudoers.d/$fresh_user"
    chmod 440 "$root/etc/sudoers.d/$fresh_user"
    # What is committed is tried, as one who clones the tree gets it.
    git -c safe.directory='*' clone --quiet --bare --depth 1 "file://$top" "$root/srv/tree.git"
}

# A fresh checkout in the home of a user.
clone_tree() { # ROOT USER CHECKOUT
    chroot "$1" chown -R "$2:" /srv/tree.git # git reads no repository of another user
    in_root "$1" plain "$2" "git -c advice.detachedHead=false clone --quiet file:///srv/tree.git '$3'" >&2 ||
        die "the tree cannot be cloned in the root"
}

# Runs COMMAND in a login shell of USER inside the root, whose processes and mounts end with it.
# ENTRY: plain; offline (no network); container (none of the rights to make namespaces); read-only
# (the user's checkout cannot be written). A process that COMMAND leaves behind is a failure (99).
in_root() { # ROOT ENTRY USER COMMAND
    local net=()
    [ "$2" != offline ] || net=(--net)
    # In the background, so that a signal ends this script at once; a job of its own, since
    # other ones ignore SIGINT for all that they start.
    set -m
    unshare --mount --pid --fork --kill-child --propagation private "${net[@]}" \
        "$top/scripts/lib/test-fresh" --inside "$@" </dev/null &
    inside_pid=$!
    set +m
    wait "$inside_pid"
}

# What follows runs as process 1 of the root.
enter_root() { # ROOT ENTRY USER COMMAND
    local root=$1 entry=$2 user=$3 command=$4 status=0 as=() kept=() proc=/proc
    # The cache of this machine tells results by the language of the compiler's messages.
    [ "${QUON_FRESH_CCACHE:-1}" = 1 ] ||
        kept=(--whitelist-environment "LANG,LC_ALL,LC_CTYPE,LC_MESSAGES")
    mount_root "$root"
    # Without a network, kept packages would stand in for it.
    [ "$entry" = offline ] || mount_kept "$root"
    if [ "$entry" = read-only ]; then
        mount --bind "$root/home/$user/$checkout" "$root/home/$user/$checkout"
        mount -o remount,bind,ro "$root/home/$user/$checkout"
    fi
    if [ "$entry" = container ]; then
        # In a changed root that is no mount namespace's root, the kernel refuses user namespaces.
        mount -o remount,bind,ro "$root/sys"
        mount --bind "$root/proc/sys" "$root/proc/sys"
        mount -o remount,bind,ro "$root/proc/sys"
        proc=$root/proc
        as=(chroot "$root" setpriv --bounding-set "$container_rights" --inh-caps=-all)
    else
        leave_the_machine "$root"
    fi
    "${as[@]}" runuser --login "${kept[@]}" "$user" -c "$command" || status=$?
    nothing_left "$proc" || status=99
    return "$status"
}

# What container services leave to root.
container_rights=-all,+chown,+dac_override,+fowner,+fsetid,+kill,+setgid,+setuid,+setpcap
container_rights+=,+net_bind_service,+net_raw,+sys_chroot,+mknod,+audit_write,+setfcap

mount_root() { # ROOT
    local root=$1 node
    mount --bind "$root" "$root"
    mount -o remount,bind,suid,dev,exec "$root"
    mount -t proc proc "$root/proc"
    mount --rbind /sys "$root/sys"
    mount -t tmpfs -o mode=755 tmpfs "$root/dev"
    for node in null zero full random urandom tty; do
        : >"$root/dev/$node"
        mount --bind "/dev/$node" "$root/dev/$node"
    done
    ln -s /proc/self/fd "$root/dev/fd"
    mkdir "$root/dev/pts" "$root/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=666,mode=620,gid=5 devpts "$root/dev/pts"
    ln -s pts/ptmx "$root/dev/ptmx"
    mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
}

# The packages of former trials, and what their compilers made.
mount_kept() { # ROOT
    mkdir -p "$packages/$suite/partial"
    mount --bind "$packages/$suite" "$1/var/cache/apt/archives"
    [ -z "${QUON_FRESH_CCACHE:-}" ] || mount_cache "$1"
}

# One that this script keeps, or one of this machine, which a root reads alone.
mount_cache() { # ROOT
    local folder=$packages/ccache further=()
    mkdir -p "$packages/ccache" "$1/ccache" "$1/etc"
    chmod 1777 "$packages/ccache" "$1/ccache"
    if [ "$QUON_FRESH_CCACHE" != 1 ]; then
        folder=$QUON_FRESH_CCACHE
        further=('read_only = true' 'stats = false' 'temporary_dir = /tmp/ccache')
    fi
    mount --bind "$folder" "$1/ccache"
    [ "$QUON_FRESH_CCACHE" = 1 ] || mount -o remount,bind,ro "$1/ccache"
    printf '%s\n' 'cache_dir = /ccache' 'umask = 000' "${further[@]}" \
        'sloppiness = pch_defines,time_macros,include_file_mtime,include_file_ctime' >"$1/etc/ccache.conf"
}

leave_the_machine() { # ROOT
    cd "$1" || return
    mkdir -p .machine
    pivot_root . .machine
    cd /
    umount -l /.machine
    rmdir /.machine
    hash -r
}

# Names the processes that are still there 5 seconds after the command.
nothing_left() { # FOLDER OF PROC
    local left tries=50
    while left=$(processes_left "$1") && [ -n "$left" ]; do
        tries=$((tries - 1))
        [ "$tries" -gt 0 ] || {
            printf 'left behind:\n%s\n' "$left"
            return 1
        }
        sleep 0.1
    done
}

# Command lines of all but process 1 and the shell that looks; one that has ended has none.
processes_left() { # FOLDER OF PROC
    local folder words
    for folder in "$1"/[0-9]*; do
        case ${folder##*/} in 1 | "$BASHPID") continue ;; esac
        words=$({ tr '\0' ' ' <"$folder/cmdline"; } 2>/dev/null) || continue
        [ -z "$words" ] || printf '  %s\n' "$words"
    done
}
