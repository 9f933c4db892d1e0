#!/usr/bin/env bash
# Runs a command with private servers and stops them afterwards, also after a failure.
#
# Usage: tests/servers/with-servers.sh [s3] [nginx] [ftp] [pureftpd] [proftpd] [vsftpd] [tinyproxy] [smtp] [exim] -- COMMAND...
#
# COMMAND finds the addresses and keys in its environment: see radosgw.sh for s3, nginx.sh for nginx, which with s3
# also puts TLS in front of the S3 server, pyftpdlib.sh for ftp, pure-ftpd.sh, proftpd.sh, vsftpd.sh, tinyproxy.sh,
# aiosmtpd.sh for smtp and exim4.sh. The exit status is that of COMMAND; 125 if a server did not
# start. COMMAND gets no standard input and no proxy settings: the servers are on this machine.
# shellcheck disable=SC2317 # the functions that only a trap calls
set -euo pipefail
# Jobs get their own process groups. Otherwise bash makes them and their children ignore Ctrl-C.
set -m

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)

# In the order of their starts: the web server puts TLS in front of the S3 server.
readonly known=(s3 nginx ftp pureftpd proftpd vsftpd tinyproxy smtp exim)
declare -rA scripts=([s3]=radosgw [nginx]=nginx [ftp]=pyftpdlib [pureftpd]=pure-ftpd [proftpd]=proftpd
    [vsftpd]=vsftpd [tinyproxy]=tinyproxy [smtp]=aiosmtpd [exim]=exim4)

usage() {
    printf 'usage: with-servers.sh [s3] [nginx] [ftp] [pureftpd] [proftpd] [vsftpd] [tinyproxy] [smtp] [exim] -- COMMAND...\n' >&2
    exit 125
}

end_servers() {
    local number name
    for ((number = ${#known[@]} - 1; number >= 0; number--)); do
        name=${known[number]}
        [[ ! -d $dir/$name ]] || "$here/${scripts[$name]}.sh" stop "$dir/$name" || true
    done
    rm -rf -- "$dir"
}

# After a time-out a test runner kills this script and all its descendants, and no trap runs. The guard is not a
# descendant. It reads from a pipe that only this script keeps open, so it wakes when the script has ended.
start_guard() {
    exec {alive}> >(setsid "$here/with-servers.sh" --guard "$dir" <&0 >/dev/null 2>&1 &)
}

if [[ ${1:-} == --guard ]]; then
    dir=${2:?}
    read -r || true
    end_servers
    exit
fi

# Waits for a job in a way that runs a signal's trap at once.
run_job() {
    "$@" </dev/null {alive}>&- &
    job=$!
    local status=0
    wait "$job" || status=$?
    job=
    return "$status"
}

# Ends the whole group of the job: otherwise child processes of the command would outlive its servers.
end_job() {
    local attempt
    # The end is wanted: no report on standard error.
    disown "$job"
    kill -TERM -- "-$job" 2>/dev/null || true
    for ((attempt = 0; attempt < 100; attempt++)); do
        kill -0 -- "-$job" 2>/dev/null || return 0
        sleep 0.05
    done
    kill -KILL -- "-$job" 2>/dev/null || true
}

on_exit() {
    local status=$?
    trap '' HUP INT TERM
    [[ -z $job ]] || end_job
    end_servers
    exit "$status"
}

start_server() {
    run_job "$here/${scripts[$1]}.sh" start "$dir/$1" || exit 125
    # shellcheck source=/dev/null
    source "$dir/$1/env"
}

declare -A wanted=()
while [[ $# -gt 0 && $1 != -- ]]; do
    [[ -n $1 && -n ${scripts[$1]:-} ]] || usage
    wanted[$1]=yes
    shift
done
[[ $# -gt 1 ]] || usage
shift

job=
dir=$(mktemp -d "${TMPDIR:-/tmp}/vexil-servers.XXXXXX")
# Servers that root starts may run as other users.
chmod 711 "$dir"
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM
trap on_exit EXIT
start_guard

unset http_proxy https_proxy ftp_proxy all_proxy no_proxy HTTP_PROXY HTTPS_PROXY FTP_PROXY ALL_PROXY NO_PROXY
unset VEXIL_S3_ENDPOINT VEXIL_S3_TLS_ENDPOINT
for name in "${known[@]}"; do
    [[ -z ${wanted[$name]:-} ]] || start_server "$name"
done

status=0
run_job "$@" || status=$?
exit "$status"
