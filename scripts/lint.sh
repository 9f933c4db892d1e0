#!/usr/bin/env bash
# Runs clang-tidy on the source files of the product that differ from a commit, also by changes that are not committed.
#
# Usage: scripts/lint.sh BUILD_DIR [COMMIT]    a build folder that is configured; default: main
set -euo pipefail

build_dir=$(realpath -- "${1:?usage: lint.sh BUILD_DIR [COMMIT]}")
commit=${2:-main}
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
mapfile -d '' -t files < <(git diff -z --name-only --diff-filter=d "$(git merge-base "$commit" HEAD)" -- \
    'apps/*.cpp' 'examples/*.cpp' 'sigil/*.cpp' 'vexil/*.cpp' 'zet/*.cpp' ':!*Windows.cpp')
if [[ ${#files[@]} == 0 ]]; then
    printf 'lint.sh: no source file differs from %s\n' "$commit"
    exit 0
fi
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" clang-tidy -p "$build_dir" --quiet
