#!/usr/bin/env bash
# Checks that the sources are laid out as .clang-format says.
#
# Usage: format-test.sh PROJECT_DIR
set -euo pipefail

cd -- "${1:?usage: format-test.sh PROJECT_DIR}"
find apps bench examples fuzz sigil tests vexil zet \( -name '*.h' -o -name '*.cpp' \) -print0 |
    xargs -0 clang-format --dry-run --Werror
