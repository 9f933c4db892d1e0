#!/usr/bin/env bash
# Does the same work through plain libcurl and through vexil and prints the cost of each, as Markdown.
#
# Usage: bench/measure.sh [--build DIR] [--quick]
#   --build DIR   where to build; default: build/bench
#   --quick       no wall clock: only counts, which do not depend on the other load of the machine
#
# The last table compares the counts with their limits (limits.py). Exit code 1 if one is missed.
#
# Installs missing packages, builds, and starts a private web server. Takes ten minutes with --quick, and more without.
set -euo pipefail

cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
build_dir=build/bench
arguments=()
while [[ $# -gt 0 ]]; do
    case $1 in
        --build) build_dir=${2:?--build needs a folder}; shift ;;
        --quick) arguments+=(--quick) ;;
        *) printf 'usage: measure.sh [--build DIR] [--quick]\n' >&2; exit 2 ;;
    esac
    shift
done
build_dir=$(realpath -m -- "$build_dir")

scripts/packages.sh build bench
scripts/build.sh "$build_dir" -DVEXIL_BUILD_BENCH=ON -DVEXIL_BUILD_APPS=ON -DVEXIL_BUILD_EXAMPLES=OFF \
    -DVEXIL_BUILD_TESTS=OFF >&2
tests/servers/with-servers.sh nginx -- python3 bench/measure.py "$build_dir" "${arguments[@]}"
