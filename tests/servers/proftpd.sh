#!/usr/bin/env bash
# Private FTP servers on free ports of 127.0.0.1: ProFTPD, plain and with explicit TLS. One of them demands that each
# data connection resumes the TLS session of its control connection, which is this server's default, and shows links as
# their targets; the other does neither.
#
# Usage: tests/servers/proftpd.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/proftpd.sh stop WORKDIR     ends them; files and logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_PROFTPD_ENDPOINT (host:port), VEXIL_PROFTPD_STRICT_ENDPOINT (the one that demands TLS and
# resumed sessions), VEXIL_PROFTPD_CA, VEXIL_PROFTPD_WRONG_CA (paths of PEM files) and VEXIL_PROFTPD_ROOT (the folder
# that both serve, which is "/" for the client). The user is tester, the password secret. Any number of servers run side
# by side, each with a WORKDIR of its own. Needs root: the server changes its root at each login.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

core=$("$here/../../scripts/unpack-packages.sh" --print proftpd-core)
readonly server=$core/usr/sbin/proftpd core_modules=$core/usr/lib/proftpd
modules=$("$here/../../scripts/unpack-packages.sh" --print proftpd-mod-crypto)/usr/lib/proftpd
readonly modules

# nobody and nogroup.
readonly owner=65534

end_all() {
    end_daemon_group proftpd TERM
    rm -f -- "$workdir/env"
}

make_files() {
    rm -rf -- "$workdir"/{daemons,log,root,certificates,run}
    mkdir -p -- "$workdir"/{daemons,log,root,certificates,run} || return
    chown "$owner:$owner" "$workdir/root" || return
    "$here/certificates.sh" "$workdir/certificates" || return
    make_users
    make_config "$workdir/normal.conf" 'TLSOptions NoSessionReuseRequired' || return
    make_config "$workdir/strict.conf" $'TLSRequired on\nShowSymlinks off'
}

make_users() {
    local hash
    hash=$(openssl passwd -1 secret) || return
    (
        umask 077
        printf 'tester:%s:%s:%s::%s/root:/bin/sh\n' "$hash" "$owner" "$owner" "$workdir" >"$workdir/passwd"
        printf 'nogroup:x:%s:\n' "$owner" >"$workdir/group"
    )
}

# make_config FILE LINES: for a program that serves one connection (inetd.py). The server's own daemon sleeps for 0.4 s
# after each connection. Without the DelayEngine line each login would wait. In Debian 13 some modules are separate files;
# the module of the delays is not loaded.
make_config() {
    local name
    for name in ls xfer; do
        [[ ! -e $core_modules/mod_$name.so ]] || printf 'ModulePath %s\nLoadModule mod_%s.c\n' "$core_modules" "$name"
    done >"$1"
    cat >>"$1" <<CONF
ModulePath $modules
LoadModule mod_tls.c
ServerType inetd
ServerName test
UseIPv6 off
DefaultAddress 127.0.0.1
User nobody
Group nogroup
UseReverseDNS off
<IfModule mod_delay.c>
DelayEngine off
</IfModule>
WtmpLog off
TransferLog none
SystemLog $logs/system.log
PidFile $workdir/run/pid
ScoreboardFile none
MaxInstances none
TimeoutIdle 600
Umask 022 022
AuthOrder mod_auth_file.c
RequireValidShell off
AuthUserFile $workdir/passwd
AuthGroupFile $workdir/group
DefaultRoot $workdir/root
AllowOverwrite on
AllowStoreRestart on
AllowRetrieveRestart on
ListOptions "-a"
TimesGMT on
TLSEngine on
TLSRSACertificateFile $workdir/certificates/cert.pem
TLSRSACertificateKeyFile $workdir/certificates/key.pem
TLSVerifyClient off
TLSLog $logs/tls.log
TLSRenegotiate none
TLSProtocol TLSv1.2 TLSv1.3
$2
CONF
}

# If the server does not know a directive, it ends each connection without a message to the client.
check_configs() {
    local config
    for config in normal strict; do
        "$server" -t -c "$workdir/$config.conf" >"$logs/proftpd.out" 2>&1 </dev/null || return
    done
}

listens_on_both() {
    listens_on proftpd "$port" && listens_on proftpd $((port + 1))
}

start_all() {
    make_files || return
    check_configs || return
    port=$(find_ports 2) || return
    start_daemon proftpd python3 -u "$here/inetd.py" "$port" "$server" -q -c "$workdir/normal.conf" -- \
        $((port + 1)) "$server" -q -c "$workdir/strict.conf"
    wait_for proftpd "$start_seconds" listens_on_both
}

write_env() {
    local -a settings=(
        VEXIL_PROFTPD_ENDPOINT "127.0.0.1:$port"
        VEXIL_PROFTPD_STRICT_ENDPOINT "127.0.0.1:$((port + 1))"
        VEXIL_PROFTPD_CA "$workdir/certificates/ca.pem"
        VEXIL_PROFTPD_WRONG_CA "$workdir/certificates/wrong-ca.pem"
        VEXIL_PROFTPD_ROOT "$workdir/root"
    )
    printf 'export %s=%q\n' "${settings[@]}" >"$workdir/env"
}

start() {
    require_programs openssl python3
    [[ -x $server && -d $modules ]] || fail "ProFTPD is not unpacked: run scripts/packages.sh test"
    [[ $(id -u) == 0 ]] || fail "ProFTPD needs root"
    [[ $workdir != *[[:space:]\"%:]* ]] || fail "ProFTPD cannot work in a folder of this name: $workdir"
    start_or_fail proftpd 'address already in use'
}

run_command
