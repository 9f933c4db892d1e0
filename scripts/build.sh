#!/usr/bin/env bash
# Configures and builds the project.
#
# Usage: [VEXIL_BUILD_TARGET=TARGET] scripts/build.sh BUILD_DIR [CMAKE_ARGUMENT...]
#
# Shows the output of the configuration only if it fails. With CI=true in the environment, compiler warnings are errors.
set -euo pipefail

build_dir=$(realpath -m -- "${1:?usage: build.sh BUILD_DIR [CMAKE_ARGUMENT...]}")
shift
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."

# Share compiled objects between all checkouts on this machine.
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD} CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
# ccache takes no source with precompiled headers without these.
export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}
# Otherwise a header of which only comments have changed gives the old precompiled header. A source that includes that
# header itself is then refused: g++ takes the two versions for two files, in spite of `#pragma once`.
[[ " $* " != *" -DVEXIL_PRECOMPILE_HEADERS=ON "* ]] || export CCACHE_DEPEND=1

warnings_as_errors=OFF
[[ ${CI:-} != true ]] || warnings_as_errors=ON

mkdir -p -- "$build_dir"
log=$build_dir/configure.log
if ! cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DVEXIL_WARNINGS_AS_ERRORS="$warnings_as_errors" "$@" >"$log" 2>&1 </dev/null; then
    cat "$log" >&2
    exit 1
fi
cmake --build "$build_dir" -j"$(nproc)" --target "${VEXIL_BUILD_TARGET:-all}" </dev/null
