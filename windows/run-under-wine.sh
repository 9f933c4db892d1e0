#!/usr/bin/env bash
# Runs a program for Windows under Wine, without a screen.
#
# Usage: WINEPREFIX=FOLDER windows/run-under-wine.sh PROGRAM.exe [ARGUMENT...]
#
# WINEPREFIX is a folder that make-wine-prefix.sh has made. WINEPATH names more folders with DLLs.
set -euo pipefail

: "${WINEPREFIX:?name the folder that make-wine-prefix.sh has made}"
export WINEDEBUG=${WINEDEBUG:--all,err+module,err+seh,err+virtual}
# No windows that offer to install something, no menu entries.
export WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
# Wine reads arguments and file names in the encoding of the locale.
export LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY

exec /usr/lib/wine/wine64 "$@"
