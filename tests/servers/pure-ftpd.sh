#!/usr/bin/env bash
# A private FTP server on a free port of 127.0.0.1: Pure-FTPd, plain and with explicit TLS (it knows no implicit TLS).
#
# Usage: tests/servers/pure-ftpd.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/pure-ftpd.sh stop WORKDIR     ends it; files and logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_PUREFTPD_ENDPOINT (host:port), VEXIL_PUREFTPD_CA, VEXIL_PUREFTPD_WRONG_CA (paths of PEM files)
# and VEXIL_PUREFTPD_ROOT (the served folder, which is "/" for the client). Its user is tester, the password
# secret. Any number of servers run side by side, each with a WORKDIR of its own. Needs root: the server changes root
# and user at each login.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

export PATH=$PATH:/usr/sbin:/sbin

# nobody and nogroup: the server refuses the user 0.
readonly owner=65534

end_all() {
    end_daemon_group pure-ftpd TERM
    rm -f -- "$workdir/env"
}

make_files() {
    rm -rf -- "$workdir"/{daemons,log,root,certificates}
    mkdir -p -- "$workdir"/{daemons,log,root,certificates} || return
    chown "$owner:$owner" "$workdir/root" || return
    "$here/certificates.sh" "$workdir/certificates" || return
    make_users
}

# Hashed here: the hash of pure-pw itself takes two seconds per login. "/./" ends the part that becomes "/".
make_users() {
    local hash
    hash=$(openssl passwd -1 secret) || return
    (
        umask 077
        printf 'tester:%s:%s:%s::%s/root/./::::::::::::\n' "$hash" "$owner" "$owner" "$workdir" >"$workdir/passwd"
    ) || return
    pure-pw mkdb "$workdir/users.pdb" -f "$workdir/passwd" >"$logs/pure-pw.out" 2>&1
}

start_all() {
    make_files || return
    port=$(find_ports 1) || return
    local -a options=(
        --ipv4only --bind "127.0.0.1,$port" --login "puredb:$workdir/users.pdb" --pidfile "$workdir/daemons/pid"
        --chrooteveryone --noanonymous --minuid 1 --umask 133:022 --nochmod --dontresolve --syslogfacility none
        --maxclientsnumber 500 --maxclientsperip 500 --maxidletime 10 --limitrecursion 1000000:1000
        --displaydotfiles --allowdotfiles
        --tls 1 --certfile "$workdir/certificates/cert.pem,$workdir/certificates/key.pem"
    )
    start_daemon pure-ftpd pure-ftpd "${options[@]}"
    wait_for pure-ftpd "$start_seconds" listens_on pure-ftpd "$port"
}

write_env() {
    local -a settings=(
        VEXIL_PUREFTPD_ENDPOINT "127.0.0.1:$port"
        VEXIL_PUREFTPD_CA "$workdir/certificates/ca.pem"
        VEXIL_PUREFTPD_WRONG_CA "$workdir/certificates/wrong-ca.pem"
        VEXIL_PUREFTPD_ROOT "$workdir/root"
    )
    printf 'export %s=%q\n' "${settings[@]}" >"$workdir/env"
}

start() {
    require_programs pure-ftpd pure-pw openssl python3
    [[ $(id -u) == 0 ]] || fail "pure-ftpd needs root"
    # Its users and options cannot contain a path with these characters.
    [[ $workdir != *[:,]* ]] || fail "pure-ftpd cannot work in a folder of this name: $workdir"
    start_or_fail pure-ftpd 'address already in use'
}

run_command
