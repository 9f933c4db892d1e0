#!/usr/bin/env bash
# Makes the folder for Wine's registry and its drive C. Does nothing if the folder is complete.
#
# Usage: windows/make-wine-prefix.sh FOLDER
set -euo pipefail

here=$(dirname -- "$(realpath -- "${BASH_SOURCE[0]}")")
WINEPREFIX=$(realpath -m -- "${1:?usage: make-wine-prefix.sh FOLDER}")
export WINEPREFIX WINEARCH=win64
readonly stamp=$WINEPREFIX/ready

[[ ! -e $stamp ]] || exit 0
log=$WINEPREFIX/make.log
rm -rf -- "$WINEPREFIX"
mkdir -p -- "$WINEPREFIX"
# By default Wine reports Windows 7.
if ! { timeout 300 "$here/run-under-wine.sh" wineboot -i && timeout 100 "$here/run-under-wine.sh" winecfg -v win10 &&
    /usr/lib/wine/wineserver -w; } >"$log" 2>&1 </dev/null; then
    cat -- "$log" >&2
    exit 1
fi
: >"$stamp"
