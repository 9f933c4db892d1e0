#!/usr/bin/env bash
# Checks source files of the product with clang. `scripts/packages.sh lint` installs what it needs.
#
# Usage: scripts/lint.sh BUILD_DIR [COMMIT]   all checks of .clang-tidy, on the files that differ from a commit (default:
#                                             main), also by changes that are not committed
#        scripts/lint.sh --all BUILD_DIR      on all files: the locks (-Wthread-safety), and the checks of clang-tidy that
#                                             cost little: names, length of functions, includes
#        scripts/lint.sh --full BUILD_DIR     on all files: the locks, and all checks of .clang-tidy
#
# BUILD_DIR is a build folder that is configured. A file that has passed is checked again only after a change, see
# scripts/check-sources.py.
set -euo pipefail

usage='usage: lint.sh [--all|--full] BUILD_DIR [COMMIT]'
checks=tidy
case ${1:-} in
    --all) checks='thread-safety tidy-cheap' ;;
    --full) checks='thread-safety tidy' ;;
esac
[[ $checks == tidy ]] || shift
build_dir=$(realpath -- "${1:?$usage}")
commit=${2:-main}
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."

files=()
if [[ $checks == tidy ]]; then
    mapfile -d '' -t files < <(git diff -z --name-only --diff-filter=d "$(git merge-base "$commit" HEAD)" -- \
        'apps/*.cpp' 'examples/*.cpp' 'sigil/*.cpp' 'vexil/*.cpp' 'zet/*.cpp' ':!*Windows.cpp')
    if [[ ${#files[@]} == 0 ]]; then
        printf 'lint.sh: no source file differs from %s\n' "$commit"
        exit 0
    fi
fi
status=0
for check in $checks; do
    scripts/check-sources.py "$check" "$build_dir" "${files[@]}" || status=1
done
exit "$status"
