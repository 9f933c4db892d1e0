#!/usr/bin/env bash
# Compares the names that the library exports with the list in the repository.
#
# Usage: exports-test.sh LIBRARY [--update]
#
# Compared are functions, data, virtual tables and type information of our own namespaces, without lambdas and copies of
# inline functions and templates, because the compiler decides about them. A DLL is compared with the same list, which is made
# from the library for Linux. It must export nothing else.
set -euo pipefail

library=${1:?usage: exports-test.sh LIBRARY [--update]}
list=$(dirname -- "${BASH_SOURCE[0]}")/exports.txt

exports() {
    nm --dynamic --defined-only --demangle "$library" |
        sed -E 's/^[0-9a-f]+ //' |
        grep -E '^[TDBRV] (.* for )?(zet|sigil|vexil)::' |
        grep -vF '{lambda(' |
        sed -E 's/^. //; s/ \[clone .*//' |
        LC_ALL=C sort -u
}

# All exports, except tables and thunks for bases, and the constants of classes, which are inline on Linux.
exports_of_dll() {
    x86_64-w64-mingw32-objdump --private-headers "$library" |
        sed -nE '/^\[Ordinal\/Name Pointer\] Table/,/^$/ s/^[[:space:]]+\[ *[0-9]+\] //p' |
        c++filt |
        grep -vE '^(construction vtable for|(non-)?virtual thunk to) (zet|sigil|vexil)::' |
        grep -vxE 'zet::String::npos|vexil::CS3Client::maxPutSize|vexil::CTransferQueue::defaultCount|vexil::CTryLog::maxTries' |
        grep -vxE 'vexil::CRetryPolicy::(firstPause|maxPause|default(First)?Limit|maxBrokenTransfers)' |
        LC_ALL=C sort -u
}

# A DLL needs no type names, and a nested class is exported only if it has its own export macro.
expected_of_dll() {
    grep -vE '^typeinfo name for |^(VTT|vtable|typeinfo) for vexil::CAsyncNetRequestThread::CRemoveRequest$' "$list"
}

# Some types are `long` on one system and `long long` on the other: sizes, arguments of libcurl's callbacks, and the
# numbers in types of times ("1l").
without_long() {
    sed -E 's/\blong( long)?\b/long long/g; s/\b([0-9]+)ll?\b/\1/g' | LC_ALL=C sort -u
}

if [[ $library == *.dll ]]; then
    diff -u --label 'exports.txt' <(expected_of_dll | without_long) --label 'the DLL' <(exports_of_dll | without_long)
elif [[ ${2:-} == --update ]]; then
    exports >"$list"
elif ! diff -u --label 'exports.txt' "$list" --label 'the library' <(exports); then
    printf 'The exported names have changed. If that is wanted: %s LIBRARY --update\n' "$0" >&2
    exit 1
fi
