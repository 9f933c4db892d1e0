#!/usr/bin/env bash
# Checks that the sources are laid out as .clang-format says. Only clang-format 14 judges: other versions lay some of
# them out differently.
#
# Usage: format-test.sh PROJECT_DIR
#
# Exit code: 77 without clang-format 14, with which nothing is checked.
set -euo pipefail

cd -- "${1:?usage: format-test.sh PROJECT_DIR}"
if ! command -v clang-format-14 >/dev/null; then
    printf 'format-test.sh: the layout is not checked: it needs clang-format 14, which is not installed\n'
    exit 77
fi
find apps bench examples fuzz sigil tests vexil zet \( -name '*.h' -o -name '*.cpp' \) -print0 |
    xargs -0 clang-format-14 --dry-run --Werror
