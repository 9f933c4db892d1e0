#!/usr/bin/env bash
# Checks that the sources have the format of .clang-format. Only clang-format 14 is used: other versions format some of
# them differently.
#
# Usage: format-test.sh PROJECT_DIR
#
# Exit code: 77 without clang-format 14; nothing is checked then.
set -euo pipefail

cd -- "${1:?usage: format-test.sh PROJECT_DIR}"
if ! command -v clang-format-14 >/dev/null; then
    printf 'format-test.sh: the layout is not checked: it needs clang-format 14, which is not installed\n'
    exit 77
fi
find apps bench examples fuzz sigil tests vexil zet \( -name '*.h' -o -name '*.cpp' \) -print0 |
    xargs -0 clang-format-14 --dry-run --Werror
