#!/usr/bin/env bash
# Installs the library into a separate folder, then builds and runs a program outside this tree against it, once by
# the CMake package and, for Linux, once by pkg-config.
#
# Usage: install-test.sh BUILD_DIR CXX [DEPENDENCIES]
#
# DEPENDENCIES is the folder of windows/build-dependencies.sh; the program is then built for Windows and run under Wine.
set -euo pipefail

build_dir=${1:?usage: install-test.sh BUILD_DIR CXX [DEPENDENCIES]}
compiler=${2:?usage: install-test.sh BUILD_DIR CXX [DEPENDENCIES]}
dependencies=${3:-}
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
prefix=$work/prefix
root=$work
cmake_arguments=(-DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix")
launcher=()
suffix=
if [[ -n $dependencies ]]; then
    windows=$here/../../windows
    # Wine's drive Z is the root of this machine.
    root=/Z:$work
    launcher=("$windows/run-under-wine.sh")
    cmake_arguments=(-DCMAKE_TOOLCHAIN_FILE="$windows/toolchain.cmake" -DVEXIL_WINDOWS_DEPS="$dependencies"
        -DCMAKE_FIND_ROOT_PATH="$prefix")
    suffix=.exe
    export WINEPATH=$prefix/bin
fi

fail() {
    printf 'install-test: %s\n' "$1" >&2
    exit 1
}

# run PROGRAM ARGUMENT: prints its output, with paths in the form of this machine.
run() {
    "${launcher[@]}" "$@" | sed -E 's/\r$//; s/^Z://; /^\\/ y:\\:/:'
}

# check PROGRAM: it downloads, recognises a failure by its type, and finds the certificates of this installation.
check() {
    local output
    printf 'twelve bytes' >"$work/body"
    output=$(run "$1" "file://$root/body")
    [[ $output == "12 bytes"$'\n'"$prefix/"*"/vexil/ca-bundle.crt" ]] || fail "$1 printed: $output"
    if output=$(run "$1" "file://$root/absent"); then
        fail "$1 found a file that is not there"
    fi
    [[ $output == "error 37" ]] || fail "$1 printed: $output"
}

cmake --install "$build_dir" --prefix "$prefix" >"$work/install.log" 2>&1 ||
    fail "the installation failed: $(cat "$work/install.log")"

if find "$prefix/include" -name '*.h' -print0 | xargs -0 grep -l '<wx/'; then
    fail 'a public header needs wxWidgets'
fi

# Each option of the manual page is on its own line, with the name of its value in capital letters.
if page=$(find "$prefix" -name vexil.1 | grep .); then
    grep -q '^\\fB\\-\\-verify\\fR' "$page" || fail 'the manual page lacks an option'
    if awk 'previous == ".TP" && /^\\fB\\-.*\\fR [^\\]*[a-z]/ { print; found = 1 } { previous = $0 } END { exit !found }' "$page"; then
        fail 'an option of the manual page is not alone on its line'
    fi
fi

if [[ -z $dependencies ]]; then
    for script in bash-completion/completions/vexil zsh/site-functions/_vexil fish/vendor_completions.d/vexil.fish; do
        [[ -s $prefix/share/$script ]] || fail "the completion $script is missing"
    done
fi

cmake -S "$here/stranger" -B "$work/build" -G Ninja "${cmake_arguments[@]}" >"$work/cmake.log" 2>&1 ||
    fail "find_package failed: $(cat "$work/cmake.log")"
cmake --build "$work/build" >"$work/cmake.log" 2>&1 || fail "the build failed: $(cat "$work/cmake.log")"
check "$work/build/stranger$suffix"

# Only on Linux libcurl is expected next to it.
[[ -z $dependencies ]] || exit 0

# The configured prefix was different, and an installed folder may be moved.
mv "$prefix" "$work/moved"
prefix=$work/moved
pkg_config_folder=$(dirname "$(find "$prefix" -name vexil.pc)")
flags=$(PKG_CONFIG_PATH=$pkg_config_folder pkg-config --cflags --libs vexil)
# shellcheck disable=SC2086  # one word per flag
"$compiler" -std=c++20 "$here/stranger/main.cpp" $flags -Wl,-rpath,"$(dirname "$pkg_config_folder")" \
    -o "$work/by-pkg-config"
check "$work/by-pkg-config$suffix"
