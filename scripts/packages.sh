#!/usr/bin/env bash
# Installs missing Debian packages of the project. Prints nothing if all are installed.
#
# Usage: scripts/packages.sh GROUP...
#   build   compiler, build tools and the libraries that vexil needs
#   test    build, and test framework, real servers, documentation tools
#   run     build, and the private S3, FTP and mail servers
#   bench   build, and the tools of bench/measure.sh
#   lint    build, and the tools of scripts/lint.sh
#   root    the tools of scripts/debian-root.sh
#   windows build, and the compiler and the emulator of ./test-windows
#
# Needs root or sudo only if something is missing.
set -euo pipefail

release=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release 2>/dev/null) || true
readonly release
readonly build_packages=(
    g++ cmake ninja-build ccache pkg-config
    libcurl4-openssl-dev libssl-dev libexpat1-dev libwxgtk3.2-dev libcli11-dev zlib1g-dev nlohmann-json3-dev
    ca-certificates help2man
)
# The private S3, FTP and mail servers.
readonly run_packages=(ceph-mon ceph-osd ceph-common radosgw pure-ftpd python3-aiosmtpd openssl python3)
# Debian's FTP servers conflict with each other: these are unpacked next to the installed one, and need these libraries.
readonly unpacked_packages=(proftpd-core proftpd-mod-crypto vsftpd)
unpacked_libraries=(
    libacl1 libcap2 libidn2-0 libncursesw6 libpam0g libpcre2-posix3 libsodium23 libwrap0
)
# Package names of libraries contain the version of the interface.
if [[ $release == bookworm ]]; then
    unpacked_libraries+=(libhiredis0.14 libmemcached11 libmemcachedutil2)
else
    unpacked_libraries+=(libhiredis1.1.0 libmemcached11t64 libmemcachedutil2t64)
fi
readonly unpacked_libraries
# The servers of the program's tests.
readonly program_test_packages=("${run_packages[@]}" nginx python3-pyftpdlib python3-openssl)
test_packages=(
    "${program_test_packages[@]}" "${unpacked_libraries[@]}" tinyproxy-bin exim4-daemon-light python3-botocore python3-boto3 git
    zsh fish
    libgtest-dev libgmock-dev googletest libasio-dev doxygen g++-mingw-w64-x86-64-posix
)
# Other versions format the sources differently, and Debian 13 does not have this version.
if [[ $release == bookworm || $release == noble ]]; then
    test_packages+=(clang-format-14)
fi
readonly test_packages
readonly lint_packages=(clang clang-tidy git python3)
readonly root_packages=(debootstrap debian-archive-keyring util-linux)
readonly bench_packages=(valgrind strace libasio-dev nginx openssl python3)
# Without the preloader the heap of Wine's loader may be at 0x7ffe0000, where Windows keeps data for all programs: Wine
# then ends with code 1, about once in a thousand starts.
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
            lint) printf '%s\n' "${build_packages[@]}" "${lint_packages[@]}" ;;
            root) printf '%s\n' "${root_packages[@]}" ;;
            windows) printf '%s\n' "${build_packages[@]}" "${windows_packages[@]}" ;;
            *) fail "unknown group '$group'; the groups are: build test run bench lint root windows" ;;
        esac
    done | sort -u
}

# One call of dpkg-query for all names, because this runs at the start of each build.
missing_of() {
    local installed
    # dpkg-query also fails for unknown names, which are then missing in its output.
    installed=$(dpkg-query -W -f='${db:Status-Abbrev} ${Package}\n' "$@" 2>/dev/null || true)
    comm -23 <(printf '%s\n' "$@" | sort -u) <(sed -n 's/^.i *//p' <<<"$installed" | sort -u)
}

# The packages that are not yet unpacked. This is fast, too.
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
sudo needs a password and there is no terminal to ask for it. Run this as root:
    $command"
    fi
    # sudo drops the proxy settings, which may be needed to reach the packages.
    local -a proxies
    mapfile -t proxies < <(env | grep -iE '^(https?|ftp|no|all)_proxy=' || true)
    exec sudo env "${proxies[@]}" bash "${BASH_SOURCE[0]}" "$@"
}

# The tests start their servers, on their own ports. The installation must not start any.
forbid_daemons() {
    # A file with our mark was left by a killed installation.
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

# Debian's FTP servers conflict with each other, and so do its mail servers: do not remove a server that the machine
# already has.
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
    # Finish a killed installation.
    DEBIAN_FRONTEND=noninteractive dpkg --force-confold --configure -a
    update_lists && install_missing
}

[[ $# -gt 0 ]] || fail "usage: packages.sh build|test|run|bench|lint|root|windows..."
command -v dpkg-query >/dev/null || fail "this script is for Debian 12, Debian 13 and their relatives: there is no dpkg here"
names=$(packages_of_groups "$@")
mapfile -t packages <<<"$names"
mapfile -t missing < <(missing_of "${packages[@]}")
mapfile -t to_unpack < <(to_unpack_of "$@")
[[ ${#missing[@]} -gt 0 || ${#to_unpack[@]} -gt 0 ]] || exit 0
[[ $(id -u) == 0 ]] || continue_as_root "$@"

# If two run at once, for example ./run and ./test, the second one waits and then finds its packages installed.
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
