#!/usr/bin/env bash
# Makes the man page from the help texts of the program.
#
# Usage: make-man-page.sh PROGRAM PAGE
set -euo pipefail

# man indents by seven columns.
export COLUMNS=72

program=${1:?usage: make-man-page.sh PROGRAM PAGE}
page=${2:?usage: make-man-page.sh PROGRAM PAGE}

# The names under the heading "Subcommands:" of a help text.
commands_of() {
    "$program" "$@" --help | sed -n '/^Subcommands:/,/^$\|^[^ ]/{s/^  \([a-z0-9][a-z0-9]*\) .*/\1/p}'
}

# Text that must be shown unchanged.
verbatim() {
    printf '.nf\n'
    sed -e 's/\\/\\e/g' -e "s/^[.']/\\\\\\&&/" -e 's/-/\\-/g'
    printf '.fi\n'
}

describe() {
    printf '.SS "vexil %s"\n' "$*"
    "$program" "$@" --help | verbatim
}

describe_all() {
    local group command nested
    local -a commands
    printf '[COMMANDS]\n'
    for group in $(commands_of); do
        mapfile -t commands < <(commands_of "$group")
        # A group itself is described only if it has its own options.
        [[ ${#commands[@]} -gt 0 && $("$program" "$group" --help) != *$'\n  --'* ]] || describe "$group"
        for command in "${commands[@]}"; do
            describe "$group" "$command"
            for nested in $(commands_of "$group" "$command"); do
                describe "$group" "$command" "$nested"
            done
        done
    done
}

include=$(mktemp)
trap 'rm -f "$include"' EXIT
describe_all >"$include"
LC_ALL=C.UTF-8 help2man --no-info --section=1 --locale=C.UTF-8 --include="$include" --output="$page" \
    --name='transfer files over HTTP, S3 and FTP, back up folders and send mail' "$program"
