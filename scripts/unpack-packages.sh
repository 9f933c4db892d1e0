#!/usr/bin/env bash
# Unpacks Debian packages that conflict with an installed one, such as a second FTP server. Their files are in a separate
# folder and are run from there. Called by packages.sh, which installs the libraries that they need.
#
# Usage: scripts/unpack-packages.sh PACKAGE...            unpacks them unless all are unpacked; needs root
#        scripts/unpack-packages.sh --missing PACKAGE...  prints those that are not unpacked, one per line
#        scripts/unpack-packages.sh --print PACKAGE       prints the folder of a package, unpacked or not
set -euo pipefail

readonly folder=/usr/local/lib/vexil-servers

fail() {
    printf 'unpack-packages.sh: %s\n' "$*" >&2
    exit 1
}

# A folder gets its name only when it is complete.
print_missing() {
    local package
    for package in "$@"; do
        [[ -d $folder/$package ]] || printf '%s\n' "$package"
    done
}

download() {
    (cd -- "$work/packages" && apt-get -o DPkg::Lock::Timeout=600 download -q "$@")
}

# The package lists may be missing, or name versions that no longer exist.
download_or_update_first() {
    download "$@" || { apt-get -o DPkg::Lock::Timeout=600 update -q && download "$@"; }
}

unpack_one() {
    mkdir -- "$work/$1"
    dpkg-deb -x "$work/packages/$1"_*.deb "$work/$1"
    rm -rf -- "${folder:?}/$1"
    mv -- "$work/$1" "$folder/$1"
}

# Unpacks all of them, also those that exist, so that all have the same version.
unpack() {
    mkdir -p -- "$folder"
    work=$(mktemp -d "$folder/.unpacking.XXXXXX")
    trap 'rm -rf -- "$work"' EXIT
    mkdir -- "$work/packages"
    if ! download_or_update_first "$@" >"$work/log" 2>&1 </dev/null; then
        tail -n 40 "$work/log" >&2
        fail "could not download: $*"
    fi
    local package
    for package in "$@"; do
        unpack_one "$package"
    done
}

case ${1:-} in
    --missing) print_missing "${@:2}" ;;
    --print) printf '%s\n' "$folder/${2:?}" ;;
    '') fail 'usage: unpack-packages.sh [--missing|--print] PACKAGE...' ;;
    *)
        missing=$(print_missing "$@")
        [[ -z $missing ]] || unpack "$@"
        ;;
esac
