#!/usr/bin/env bash
# Runs the examples against a real S3 server, a web server and a mail server.
#
# Usage: with-servers.sh s3 nginx smtp -- examples-test.sh BUILD_DIR
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

# Nothing stays of an object that cannot be fetched, and the others are complete.
folder=$build_dir/examples/fetched
rm -rf "$folder"
mkdir "$folder"
for i in {1..20}; do
    "$examples/example-upload" "$bucket" "many/$i" "text $i" || fail "the object $i was not uploaded"
done
cd "$folder"
expect '' "$examples/example-fetch" "$bucket" many/{1..20}
[[ $(cat {1..20}) == "$(printf 'text %s' {1..20})" ]] || fail 'an object was not fetched as it is'
rm -- *
status=0
"$examples/example-fetch" "$bucket" many/1 many/absent many/2 2>"$build_dir/examples/error.txt" || status=$?
[[ $status == 1 ]] || fail "an absent object of three ended with $status"
[[ $(echo *) == '1 2' ]] || fail "an absent object of three left: $(echo *)"
grep -q 'fetch: many/absent: .*NoSuchKey' "$build_dir/examples/error.txt" || fail 'an absent object is not told as such'
rm -- *
for key in other/1 many/ ..; do
    status=0
    "$examples/example-fetch" "$bucket" many/1 "$key" 2>"$build_dir/examples/error.txt" || status=$?
    [[ $status == 1 ]] || fail "the key $key beside many/1 ended with $status"
    grep -q 'must be a file name of its own' "$build_dir/examples/error.txt" || fail "the key $key is not refused as such"
    [[ $(echo *) == '*' ]] || fail "a refused key left: $(echo *)"
done
cd - >/dev/null

text=$VEXIL_HTTP_ENDPOINT/static/a.txt
large=$VEXIL_HTTP_ENDPOINT/static/large.bin
absent=$VEXIL_HTTP_ENDPOINT/static/absent
expect "1048576 $large"$'\n'"14 $text"$'\n'"14 $text" "$examples/example-parallel" "$large" "$text" "$text"

status=0
output=$("$examples/example-parallel" "$text" "$absent" "$large" 2>"$build_dir/examples/error.txt") || status=$?
[[ $status == 1 ]] || fail "one absent URL of three ended with $status"
[[ $output == "14 $text"$'\n'"1048576 $large" ]] || fail "one absent URL of three printed: $output"
grep -q "$absent: .*404" "$build_dir/examples/error.txt" || fail 'an absent URL is not told as such'

printf 'a.txt\nb.txt\n' >"$build_dir/examples/files.txt"
mail=("$examples/example-mail" "${VEXIL_SMTP_ENDPOINT%:*}" "${VEXIL_SMTP_ENDPOINT##*:}" backup@example.com)
export VEXIL_MAIL_USER=tester VEXIL_MAIL_PASSWORD=secret VEXIL_MAIL_CA=$VEXIL_SMTP_CA
expect '' "${mail[@]}" jo@example.com 'Alles gesichert.' "$build_dir/examples/files.txt"
expect 'Backup of Jürgen <backup@example.com>
jo@example.com
Bericht für März
Alles gesichert.
files.txt a.txt b.txt' /usr/bin/python3 -X utf8 - "$VEXIL_SMTP_MAILS/00001.eml" <<'PYTHON'
import email, email.policy, sys

with open(sys.argv[1], "rb") as file:
    mail = email.message_from_binary_file(file, policy=email.policy.default)
text, attachment = mail.iter_parts()
print(mail["From"], mail["To"], mail["Subject"], text.get_content(), sep="\n")
print(attachment.get_filename(), *attachment.get_content().split())
PYTHON

status=0
"${mail[@]}" refused@example.com text "$build_dir/examples/files.txt" 2>"$build_dir/examples/error.txt" || status=$?
[[ $status == 1 ]] || fail "a refused recipient ended with $status"
grep -q 'RCPT failed: 550' "$build_dir/examples/error.txt" || fail 'a refused recipient is not told as such'
status=0
VEXIL_MAIL_CA='' "${mail[@]}" jo@example.com text "$build_dir/examples/files.txt" 2>"$build_dir/examples/error.txt" ||
    status=$?
[[ $status == 1 ]] || fail "a certificate that nobody trusts ended with $status"
grep -q 'certificate' "$build_dir/examples/error.txt" || fail 'a certificate that nobody trusts is not told as such'
