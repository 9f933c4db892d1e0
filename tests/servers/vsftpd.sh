#!/usr/bin/env bash
# Private FTP servers on free ports of 127.0.0.1: vsftpd, plain and with explicit TLS. It knows neither MLSD nor MLST.
# One of them demands that each data connection resumes the TLS session of its control connection, which is this
# server's default; the other does not.
#
# Usage: tests/servers/vsftpd.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/vsftpd.sh stop WORKDIR     ends them; files and logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_VSFTPD_ENDPOINT (host:port), VEXIL_VSFTPD_STRICT_ENDPOINT (the one that demands TLS and resumed
# sessions), VEXIL_VSFTPD_CA, VEXIL_VSFTPD_WRONG_CA (paths of PEM files) and VEXIL_VSFTPD_ROOT (the folder that both serve,
# which is "/" for the client). The user is anonymous, with any password; only /pub can be written to. Any number of
# servers run side by side, each with a WORKDIR of its own. Needs root: the server changes root and user at each login.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

server=$("$here/../../scripts/unpack-packages.sh" --print vsftpd)/usr/sbin/vsftpd
readonly server

# Its home directory must exist; that of nobody does not.
readonly owner=daemon

end_all() {
    end_daemon_group vsftpd-strict TERM
    end_daemon_group vsftpd TERM
    rm -f -- "$workdir/env"
}

# vsftpd refuses a root directory that the user can write to.
make_files() {
    rm -rf -- "$workdir"/{daemons,log,root,certificates,empty}
    mkdir -p -- "$workdir"/{daemons,log,root/pub,certificates,empty} || return
    chmod 755 "$workdir/root" || return
    chown "$owner" "$workdir/root/pub" || return
    "$here/certificates.sh" "$workdir/certificates"
}

# make_config FILE PORT YES|NO: whether sessions must be resumed.
make_config() {
    cat >"$1" <<CONF
listen=YES
listen_ipv6=NO
background=NO
listen_address=127.0.0.1
listen_port=$2
max_clients=200
anonymous_enable=YES
local_enable=NO
no_anon_password=YES
anon_root=$workdir/root
write_enable=YES
anon_upload_enable=YES
anon_mkdir_write_enable=YES
anon_other_write_enable=YES
anon_umask=022
ftp_username=$owner
secure_chroot_dir=$workdir/empty
seccomp_sandbox=NO
pam_service_name=other
xferlog_enable=YES
vsftpd_log_file=$logs/vsftpd.log
ssl_enable=YES
allow_anon_ssl=YES
force_anon_logins_ssl=$3
force_anon_data_ssl=$3
require_ssl_reuse=$3
ssl_ciphers=HIGH
rsa_cert_file=$workdir/certificates/cert.pem
rsa_private_key_file=$workdir/certificates/key.pem
CONF
}

start_all() {
    make_files || return
    port=$(find_ports 2) || return
    make_config "$workdir/normal.conf" "$port" NO || return
    make_config "$workdir/strict.conf" $((port + 1)) YES || return
    start_daemon vsftpd "$server" "$workdir/normal.conf"
    start_daemon vsftpd-strict "$server" "$workdir/strict.conf"
    wait_for vsftpd "$start_seconds" listens_on vsftpd "$port" &&
        wait_for vsftpd-strict "$start_seconds" listens_on vsftpd-strict $((port + 1))
}

write_env() {
    local -a settings=(
        VEXIL_VSFTPD_ENDPOINT "127.0.0.1:$port"
        VEXIL_VSFTPD_STRICT_ENDPOINT "127.0.0.1:$((port + 1))"
        VEXIL_VSFTPD_CA "$workdir/certificates/ca.pem"
        VEXIL_VSFTPD_WRONG_CA "$workdir/certificates/wrong-ca.pem"
        VEXIL_VSFTPD_ROOT "$workdir/root"
    )
    printf 'export %s=%q\n' "${settings[@]}" >"$workdir/env"
}

start() {
    require_programs openssl python3
    [[ -x $server ]] || fail "vsftpd is not unpacked: run scripts/packages.sh test"
    [[ $(id -u) == 0 ]] || fail "vsftpd needs root"
    start_or_fail vsftpd 'could not bind'
}

run_command
