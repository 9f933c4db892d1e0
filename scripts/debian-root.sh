#!/usr/bin/env bash
# Runs a command in a minimal root folder of another Debian release, which contains this checkout at the same path.
#
# Usage: scripts/debian-root.sh SUITE COMMAND [ARGUMENT...]    SUITE is a release's name, such as trixie
#
# The root is made once, with debootstrap, and kept in ${XDG_CACHE_HOME:-~/.cache}/vexil/debian-SUITE, with all packages
# that are installed in it. Delete that folder to get a new root. The packages come from the mirror of this machine;
# VEXIL_DEBIAN_MIRROR in the environment names another one. The cache of ccache is next to it, in ccache-SUITE.
#
# A root gets its name only when it is complete. Several commands may run in it at once; the first ones wait until it is
# made.
#
# The command sees no process of the machine and has its own folder /tmp. Of the environment it gets CI, TERM, the
# proxies and all variables that begin with VEXIL_. Processes that it starts end with it.
#
# Exit code: that of the command. Needs root.
set -euo pipefail

usage='usage: debian-root.sh SUITE COMMAND [ARGUMENT...]'
suite=${1:?$usage}
: "${2:?$usage}"
shift
project=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vexil
root=$cache/debian-$suite
compiled=$cache/ccache-$suite

fail() {
    printf 'debian-root.sh: %s\n' "$*" >&2
    exit 1
}

# Only fetched package lists contain the address of the archive.
find_mirror() {
    apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' | head -n 1
}

# The machine's settings for reaching the archive and checking its files.
copy_apt_settings() {
    apt-config dump | grep -E '^Acquire::(https?|Retries|Check-[A-Za-z-]*)\b.* "[^"]+";$' \
        >"$1/etc/apt/apt.conf.d/50machine" || true
}

bootstrap() {
    rm -rf --one-file-system -- "$root.new"
    # A separate mount name space: the mounts disappear with debootstrap, also if it is killed.
    unshare --mount --propagation private \
        debootstrap --force-check-gpg --variant=minbase "$suite" "$root.new" "$1" 9>&-
}

make_root() {
    local mirror log=$cache/debian-$suite.log
    "$project/scripts/packages.sh" root
    mirror=${VEXIL_DEBIAN_MIRROR:-$(find_mirror)}
    if [[ -z $mirror ]]; then
        apt-get update -q >"$log" 2>&1 || true
        mirror=$(find_mirror)
    fi
    [[ -n $mirror ]] || fail "found no Debian archive among the machine's sources: set VEXIL_DEBIAN_MIRROR"
    printf 'Making a root of Debian %s in %s\n' "$suite" "$root" >&2
    # Try twice: the network may fail for a moment.
    bootstrap "$mirror" >"$log" 2>&1 </dev/null || bootstrap "$mirror" >"$log" 2>&1 </dev/null || {
        tail -n 20 "$log" >&2
        fail "could not make the root"
    }
    copy_apt_settings "$root.new"
    # After a power failure the root can be made again.
    printf 'force-unsafe-io\n' >"$root.new/etc/dpkg/dpkg.cfg.d/50unsafe-io"
    printf 'DPkg::Post-Invoke { "rm -f /var/cache/apt/archives/*.deb"; };\n' \
        >"$root.new/etc/apt/apt.conf.d/50no-archives"
    mv -- "$root.new" "$root"
}

# Runs as the first process of its own mount and process name spaces, which end with it.
enter_root() {
    local name
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount -t tmpfs -o mode=1777 tmpfs "$root/tmp"
    mount -t tmpfs -o mode=755 tmpfs "$root/run"
    # The commands that run in the root share their locks.
    mkdir -p -- "$root/run/lock" "$root/var/cache/vexil-lock" "$root/root/.cache/ccache" "$compiled"
    mount --bind "$root/var/cache/vexil-lock" "$root/run/lock"
    mount --bind "$compiled" "$root/root/.cache/ccache"
    mkdir -p -- "$root$project"
    mount --bind "$project" "$root$project"
    for name in hosts resolv.conf; do
        [[ ! -e /etc/$name ]] || mount --bind "/etc/$name" "$root/etc/$name"
    done
    local -a kept
    mapfile -d '' -t kept < <(env -0 | grep -zE '^(CI|TERM|VEXIL_[A-Z0-9_]*|([a-z]+_proxy|[A-Z]+_PROXY))=' || true)
    exec env -i --default-signal=INT,QUIT HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        "${kept[@]}" chroot "$root" sh -c 'cd -- "$0" && exec "$@"' "$project" "$@"
}

if [[ $suite == --enter ]]; then
    # The script has called itself with these arguments.
    root=$1
    compiled=$2
    shift 2
    enter_root "$@"
fi

[[ $(id -u) == 0 ]] || fail "needs root, to change the root"
mkdir -p -- "$cache"
exec 9>"$cache/debian-$suite.lock"
flock 9
[[ -d $root ]] || make_root
exec 9>&-
touch "$root/etc/hosts" "$root/etc/resolv.conf"

# In the background, because the shell otherwise handles a signal only after the command has ended.
unshare --mount --propagation private --pid --fork --kill-child "${BASH_SOURCE[0]}" --enter "$root" "$compiled" "$@" <&0 &
inside=$!
end_inside() {
    kill -KILL "$inside" 2>/dev/null || true
    exit "$1"
}
trap 'end_inside 129' HUP
trap 'end_inside 130' INT
trap 'end_inside 143' TERM
wait "$inside"
