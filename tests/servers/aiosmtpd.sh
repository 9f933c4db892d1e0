#!/usr/bin/env bash
# Private mail servers on free ports of 127.0.0.1, by the Python library aiosmtpd: plain, STARTTLS and implicit TLS.
#
# Usage: tests/servers/aiosmtpd.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/aiosmtpd.sh stop WORKDIR     ends them; mails and logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_SMTP_ENDPOINT (host:port; plain and STARTTLS), VEXIL_SMTPS_ENDPOINT (implicit TLS),
# VEXIL_SMTP_PLAIN_ENDPOINT (offers neither TLS nor a login), VEXIL_SMTP_CA, VEXIL_SMTP_WRONG_CA (paths of PEM files) and
# VEXIL_SMTP_MAILS (the folder for what arrives, see aiosmtpd-server.py). The user is tester, the password secret. Any
# number of servers run side by side, each with a WORKDIR of its own. No root needed.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

# Another Python that is first in PATH does not find the modules of Debian's packages.
readonly python=/usr/bin/python3

end_all() {
    end_daemon aiosmtpd TERM
    rm -f -- "$workdir/env"
}

make_files() {
    rm -rf -- "$workdir"/{daemons,log,mails,certificates}
    mkdir -p -- "$workdir"/{daemons,log,mails,certificates} || return
    "$here/certificates.sh" "$workdir/certificates"
}

listens_on_all() {
    local number
    for number in 0 1 2; do
        listens_on aiosmtpd $((first_port + number)) || return
    done
}

start_all() {
    make_files || return
    first_port=$(find_ports 3) || return
    start_daemon aiosmtpd \
        "$python" -u "$here/aiosmtpd-server.py" "$workdir/mails" "$workdir/certificates" "$first_port"
    wait_for aiosmtpd "$start_seconds" listens_on_all
}

write_env() {
    local -a settings=(
        VEXIL_SMTP_ENDPOINT "127.0.0.1:$first_port"
        VEXIL_SMTPS_ENDPOINT "127.0.0.1:$((first_port + 1))"
        VEXIL_SMTP_PLAIN_ENDPOINT "127.0.0.1:$((first_port + 2))"
        VEXIL_SMTP_CA "$workdir/certificates/ca.pem"
        VEXIL_SMTP_WRONG_CA "$workdir/certificates/wrong-ca.pem"
        VEXIL_SMTP_MAILS "$workdir/mails"
    )
    printf 'export %s=%q\n' "${settings[@]}" >"$workdir/env"
}

start() {
    require_programs openssl python3
    "$python" -c 'import aiosmtpd' 2>/dev/null ||
        fail "python3-aiosmtpd is not installed: run scripts/packages.sh test"
    start_or_fail aiosmtpd 'address already in use'
}

run_command
