#!/usr/bin/env bash
# Private FTP servers on free ports of 127.0.0.1, by the Python library pyftpdlib: plain, explicit and implicit TLS.
#
# Usage: tests/servers/pyftpdlib.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/pyftpdlib.sh stop WORKDIR     ends them; files and logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_FTP_ENDPOINT (host:port; plain and explicit TLS), VEXIL_FTPS_ENDPOINT (implicit TLS),
# VEXIL_FTP_HOME_ENDPOINT (plain; a login begins in /home/tester), VEXIL_FTP_OLD_ENDPOINT (plain; knows neither MLSD
# and MLST nor TLS), VEXIL_FTP_CA, VEXIL_FTP_WRONG_CA (paths of PEM files) and VEXIL_FTP_ROOT (the folder that all of them serve,
# which is "/" for the client). The user is tester, the password secret. Any number of servers run side by side, each
# with a WORKDIR of its own. No root needed.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

# Another Python that is first in PATH does not find the modules of Debian's packages.
readonly python=/usr/bin/python3

end_all() {
    end_daemon pyftpdlib TERM
    rm -f -- "$workdir/env"
}

make_files() {
    rm -rf -- "$workdir"/{daemons,log,root,certificates}
    mkdir -p -- "$workdir"/{daemons,log,certificates} "$workdir/root/home/tester" || return
    "$here/certificates.sh" "$workdir/certificates"
}

listens_on_all() {
    local number
    for number in 0 1 2 3; do
        listens_on pyftpdlib $((first_port + number)) || return
    done
}

start_all() {
    make_files || return
    first_port=$(find_ports 4) || return
    start_daemon pyftpdlib \
        "$python" -u "$here/pyftpdlib-server.py" "$workdir/root" "$workdir/certificates" "$first_port"
    wait_for pyftpdlib "$start_seconds" listens_on_all
}

write_env() {
    local -a settings=(
        VEXIL_FTP_ENDPOINT "127.0.0.1:$first_port"
        VEXIL_FTPS_ENDPOINT "127.0.0.1:$((first_port + 1))"
        VEXIL_FTP_HOME_ENDPOINT "127.0.0.1:$((first_port + 2))"
        VEXIL_FTP_OLD_ENDPOINT "127.0.0.1:$((first_port + 3))"
        VEXIL_FTP_CA "$workdir/certificates/ca.pem"
        VEXIL_FTP_WRONG_CA "$workdir/certificates/wrong-ca.pem"
        VEXIL_FTP_ROOT "$workdir/root"
    )
    printf 'export %s=%q\n' "${settings[@]}" >"$workdir/env"
}

start() {
    require_programs openssl python3
    "$python" -c 'import pyftpdlib, OpenSSL' 2>/dev/null ||
        fail "python3-pyftpdlib or python3-openssl is not installed: run scripts/packages.sh test"
    start_or_fail pyftpdlib 'address already in use'
}

run_command
