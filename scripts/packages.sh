#!/usr/bin/env bash
# Installs the Debian packages that the project needs and that are missing. Prints nothing where none is.
#
# Usage: scripts/packages.sh GROUP...
#   build   compiler, build tools and the libraries that vexil stands on
#   test    build, and what the tests use: test framework, real servers, documentation tools
#   run     build, and the private S3, FTP and mail servers
#   bench   build, and what bench/measure.sh measures with
#   root    what scripts/debian-root.sh makes a root of another Debian release with
#   windows build, and what ./test-windows builds and runs programs for Windows with
#
# Needs root or sudo only if something is missing.
set -euo pipefail

release=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release 2>/dev/null) || true
readonly release
readonly build_packages=(
    g++ cmake ninja-build ccache pkg-config
    libcurl4-openssl-dev libssl-dev libexpat1-dev libwxgtk3.2-dev libcli11-dev ca-certificates help2man
)
# The private S3, FTP and mail servers.
readonly run_packages=(ceph-mon ceph-osd ceph-common radosgw pure-ftpd python3-aiosmtpd openssl python3)
# Debian's FTP servers exclude each other: these are unpacked beside the installed one, and need these libraries.
readonly unpacked_packages=(proftpd-core proftpd-mod-crypto vsftpd)
unpacked_libraries=(
    libacl1 libcap2 libidn2-0 libncursesw6 libpam0g libpcre2-posix3 libsodium23 libwrap0
)
# Names of libraries change with their interfaces.
if [[ $release == bookworm ]]; then
    unpacked_libraries+=(libhiredis0.14 libmemcached11 libmemcachedutil2)
else
    unpacked_libraries+=(libhiredis1.1.0 libmemcached11t64 libmemcachedutil2t64)
fi
readonly unpacked_libraries
# With those, what the tests of the program talk to.
readonly program_test_packages=("${run_packages[@]}" nginx python3-pyftpdlib python3-openssl)
test_packages=(
    "${program_test_packages[@]}" "${unpacked_libraries[@]}" tinyproxy-bin exim4-daemon-light
    libgtest-dev libgmock-dev googletest libasio-dev doxygen g++-mingw-w64-x86-64-posix
)
# Other versions lay the sources out differently, and Debian 13 does not have this one.
if [[ $release == bookworm || $release == noble ]]; then
    test_packages+=(clang-format-14)
fi
readonly test_packages
readonly root_packages=(debootstrap debian-archive-keyring util-linux)
readonly bench_packages=(valgrind strace libasio-dev nginx openssl python3)
# Without the preloader Wine's loader may have its heap at 0x7ffe0000, where Windows keeps data for all programs: Wine
# then ends with code 1, once in some thousand starts.
readonly windows_packages=(
    "${program_test_packages[@]}"
    g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine64 wine64-preloader
    dpkg-dev make perl googletest libasio-dev
)

readonly unpack_script=${BASH_SOURCE[0]%/*}/unpack-packages.sh
readonly policy_file=/usr/sbin/policy-rc.d
readonly policy_mark='# made by the package script of vexil, only for the time of an installation'
readonly lock_file=/run/lock/vexil-packages.lock

fail() {
    printf 'packages.sh: %s\n' "$*" >&2
    exit 1
}

packages_of_groups() {
    local group
    for group in "$@"; do
        case $group in
            build) printf '%s\n' "${build_packages[@]}" ;;
            test) printf '%s\n' "${build_packages[@]}" "${test_packages[@]}" ;;
            run) printf '%s\n' "${build_packages[@]}" "${run_packages[@]}" ;;
            bench) printf '%s\n' "${build_packages[@]}" "${bench_packages[@]}" ;;
            root) printf '%s\n' "${root_packages[@]}" ;;
            windows) printf '%s\n' "${build_packages[@]}" "${windows_packages[@]}" ;;
            *) fail "unknown group '$group'; the groups are: build test run bench root windows" ;;
        esac
    done | sort -u
}

# One call of dpkg-query for all names: this runs at the start of each build.
missing_of() {
    local installed
    # It also fails for names it has never heard of, which are then simply not among the installed ones.
    installed=$(dpkg-query -W -f='${db:Status-Abbrev} ${Package}\n' "$@" 2>/dev/null || true)
    comm -23 <(printf '%s\n' "$@" | sort -u) <(sed -n 's/^.i *//p' <<<"$installed" | sort -u)
}

# Of those to unpack. This is fast, too.
to_unpack_of() {
    local group
    for group in "$@"; do
        [[ $group != test ]] || "$unpack_script" --missing "${unpacked_packages[@]}"
    done
}

continue_as_root() {
    local command all="${missing[*]} ${to_unpack[*]}"
    command="$(realpath -- "${BASH_SOURCE[0]}") $*"
    if ! command -v sudo >/dev/null; then
        fail "missing packages: $all
There is no sudo here. Run this as root:
    $command"
    fi
    if ! sudo -n true 2>/dev/null && ! { : </dev/tty; } 2>/dev/null; then
        fail "missing packages: $all
sudo wants a password and there is no terminal to ask for it. Run this as root:
    $command"
    fi
    # sudo drops the proxy settings, without which the packages may be out of reach.
    local -a proxies
    mapfile -t proxies < <(env | grep -iE '^(https?|ftp|no|all)_proxy=' || true)
    exec sudo env "${proxies[@]}" bash "${BASH_SOURCE[0]}" "$@"
}

# Servers are started by the tests that use them, on ports of their own, never by the installation.
forbid_daemons() {
    # With the mark it is what a killed installation left behind.
    if [[ -e $policy_file ]] && ! grep -qF "$policy_mark" "$policy_file"; then
        return
    fi
    policy_made=yes
    printf '#!/bin/sh\n%s\nexit 101\n' "$policy_mark" >"$policy_file"
    chmod 755 "$policy_file"
}

clean_up() {
    if [[ $policy_made == yes ]]; then
        rm -f "$policy_file"
    fi
    rm -f "$log"
}

# Debian's FTP servers exclude each other, and so do its mail servers: one that the machine has already is not removed
# for ours.
install_missing() {
    DEBIAN_FRONTEND=noninteractive NEEDRESTART_SUSPEND=1 \
        apt-get -o DPkg::Lock::Timeout=600 -o Dpkg::Options::=--force-confold \
        install -y -q --no-install-recommends --no-remove "${missing[@]}"
}

update_lists() {
    apt-get -o DPkg::Lock::Timeout=600 update -q
}

have_lists() {
    compgen -G '/var/lib/apt/lists/*_Packages*' >/dev/null
}

install_or_update_first() {
    if have_lists && install_missing; then
        return
    fi
    # Whatever a killed installation left undone.
    DEBIAN_FRONTEND=noninteractive dpkg --force-confold --configure -a
    update_lists && install_missing
}

[[ $# -gt 0 ]] || fail "usage: packages.sh build|test|run|bench|root|windows..."
command -v dpkg-query >/dev/null || fail "this script is for Debian 12, Debian 13 and their relatives: there is no dpkg here"
names=$(packages_of_groups "$@")
mapfile -t packages <<<"$names"
mapfile -t missing < <(missing_of "${packages[@]}")
mapfile -t to_unpack < <(to_unpack_of "$@")
[[ ${#missing[@]} -gt 0 || ${#to_unpack[@]} -gt 0 ]] || exit 0
[[ $(id -u) == 0 ]] || continue_as_root "$@"

# Two at once, ./run beside ./test: the second one waits and then finds its packages there.
mkdir -p -- "${lock_file%/*}"
exec 9>"$lock_file"
flock 9
mapfile -t missing < <(missing_of "${packages[@]}")
mapfile -t to_unpack < <(to_unpack_of "$@")

if [[ ${#missing[@]} -gt 0 ]]; then
    policy_made=no
    log=$(mktemp)
    trap clean_up EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
    forbid_daemons
    printf 'Installing Debian packages: %s\n' "${missing[*]}" >&2
    if ! install_or_update_first >"$log" 2>&1 </dev/null 9>&-; then
        tail -n 40 "$log" >&2
        fail "could not install: ${missing[*]}"
    fi
fi
if [[ ${#to_unpack[@]} -gt 0 ]]; then
    printf 'Unpacking Debian packages: %s\n' "${to_unpack[*]}" >&2
    "$unpack_script" "${unpacked_packages[@]}" 9>&-
fi
