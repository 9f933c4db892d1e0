#!/usr/bin/env bash
# Runs clang-tidy over the library, the program and the examples.
#
# Usage: scripts/tidy.sh BUILD_DIR    a build folder that is configured
set -euo pipefail

build_dir=$(realpath -- "${1:?usage: tidy.sh BUILD_DIR}")
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
find apps examples sigil vexil zet -name '*.cpp' ! -name '*Windows.cpp' -print0 |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy -p "$build_dir" --quiet
