#!/usr/bin/env bash
# Compares the names that the library exports with the list in the repository.
#
# Usage: exports-test.sh LIBRARY [--update]
#
# Functions, data, virtual tables and type information of our own namespaces count; copies of inline functions
# and templates do not, as the compiler decides about them.
set -euo pipefail

library=${1:?usage: exports-test.sh LIBRARY [--update]}
list=$(dirname -- "${BASH_SOURCE[0]}")/exports.txt

exports() {
    nm --dynamic --defined-only --demangle "$library" |
        sed -E 's/^[0-9a-f]+ //' |
        grep -E '^[TDBRV] (.* for )?(zet|sigil|vexil)::' |
        sed -E 's/^. //; s/ \[clone .*//' |
        LC_ALL=C sort -u
}

if [[ ${2:-} == --update ]]; then
    exports >"$list"
elif ! diff -u --label 'exports.txt' "$list" --label 'the library' <(exports); then
    printf 'The exported names have changed. If that is wanted: %s LIBRARY --update\n' "$0" >&2
    exit 1
fi
