#!/usr/bin/env bash
# Runs the examples against a real S3 server and a web server.
#
# Usage: with-servers.sh s3 nginx -- examples-test.sh BUILD_DIR
set -euo pipefail

build_dir=${1:?usage: examples-test.sh BUILD_DIR}
examples=$build_dir/examples
bucket=examples

fail() {
    printf 'examples-test: %s\n' "$1" >&2
    exit 1
}

expect() { # expect WANTED COMMAND...
    local wanted=$1 output
    shift
    output=$("$@") || fail "$* ended with $?"
    [[ $output == "$wanted" ]] || fail "$* printed: $output"
}

"$build_dir/bin/vexil" s3 mb "$bucket"
expect '' "$examples/example-upload" "$bucket" 'a key/with ü' 'some text'
expect 'some text' "$examples/example-download" "$bucket" 'a key/with ü'
expect '9 a key/with ü' "$examples/example-list" "$bucket"
expect '' "$examples/example-list" "$bucket" 'another prefix'

status=0
"$examples/example-download" "$bucket" absent 2>"$build_dir/examples/error.txt" || status=$?
[[ $status == 3 ]] || fail "an absent object ended with $status"
grep -q NoSuchKey "$build_dir/examples/error.txt" || fail 'an absent object is not told as such'

text=$VEXIL_HTTP_ENDPOINT/static/a.txt
large=$VEXIL_HTTP_ENDPOINT/static/large.bin
absent=$VEXIL_HTTP_ENDPOINT/static/absent
expect "1048576 $large"$'\n'"14 $text"$'\n'"14 $text" "$examples/example-parallel" "$large" "$text" "$text"

status=0
output=$("$examples/example-parallel" "$text" "$absent" "$large" 2>"$build_dir/examples/error.txt") || status=$?
[[ $status == 1 ]] || fail "one absent URL of three ended with $status"
[[ $output == "14 $text"$'\n'"1048576 $large" ]] || fail "one absent URL of three printed: $output"
grep -q "$absent: .*404" "$build_dir/examples/error.txt" || fail 'an absent URL is not told as such'
