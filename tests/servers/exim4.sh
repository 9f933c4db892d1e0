#!/usr/bin/env bash
# A private Exim mail server on free ports of 127.0.0.1: plain, STARTTLS and implicit TLS, which here is GnuTLS.
#
# Usage: tests/servers/exim4.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/exim4.sh stop WORKDIR     ends it; mails and logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_EXIM_ENDPOINT (host:port; plain and STARTTLS), VEXIL_EXIM_TLS_ENDPOINT (implicit TLS),
# VEXIL_EXIM_PLAIN_ENDPOINT (offers neither TLS nor a login), VEXIL_EXIM_CA, VEXIL_EXIM_WRONG_CA (paths of PEM files) and
# VEXIL_EXIM_MAILS (the folder for the mails, one file per mail, written shortly after the reply to the client).
# The user is tester, the password secret; recipients and senders that begin with "refused" are refused. Any number of
# servers run side by side, each with a WORKDIR of its own. No root needed.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

export PATH=$PATH:/usr/sbin:/sbin

# It delivers nothing as root. If root starts it, it is started as another user.
user=$(id -un)
[[ $(id -u) != 0 ]] || user=nobody
group=$(id -gn "$user")

# Its deliveries would run as separate processes, of which this script knows nothing.
end_all() {
    end_daemon_group exim TERM
    rm -f -- "$workdir/env"
}

make_files() {
    rm -rf -- "$workdir"/{daemons,log,spool,maildir,certificates,exim}
    mkdir -p -- "$workdir"/{daemons,log,spool,certificates} "$workdir"/maildir/{cur,new,tmp} || return
    "$here/certificates.sh" "$workdir/certificates" || return
    # A copy has no set-user-ID bit. With that bit it would become root again for each delivery.
    install -m 755 "$(command -v exim4)" "$workdir/exim" || return
    [[ $(id -u) != 0 ]] ||
        chown -R "$user:$group" "$workdir"/{log,spool,maildir,certificates} || return
    chmod 711 "$workdir"
}

write_config() {
    local plain_port=$((first_port + 2))
    cat >"$workdir/exim.conf" <<CONF
exim_path = $workdir/exim
exim_user = $user
exim_group = $group
spool_directory = $workdir/spool
log_file_path = $logs/%slog
pid_file_path = $workdir/spool/pid
primary_hostname = localhost
local_interfaces = 127.0.0.1
daemon_smtp_ports = $first_port : $((first_port + 1)) : $plain_port
tls_on_connect_ports = $((first_port + 1))
tls_advertise_hosts = \${if eq{\$received_port}{$plain_port}{}{*}}
auth_advertise_hosts = \${if eq{\$received_port}{$plain_port}{}{*}}
tls_certificate = $workdir/certificates/cert.pem
tls_privatekey = $workdir/certificates/key.pem
deliver_drop_privilege = true
never_users =
keep_environment =
host_lookup =
rfc1413_query_timeout = 0s
smtp_accept_max = 100
smtp_accept_queue_per_connection = 0
message_size_limit = 50M
acl_smtp_mail = sender
acl_smtp_rcpt = recipient
acl_smtp_data = all
begin acl
sender:
  deny senders = ^refused
       message = this sender is refused
  accept
recipient:
  deny local_parts = ^refused
       message = no such user here
  accept
all:
  accept
begin routers
all:
  driver = accept
  transport = store
begin transports
store:
  driver = appendfile
  directory = $workdir/maildir
  maildir_format
  batch_max = 100
  return_path_add
  envelope_to_add
begin authenticators
plain:
  driver = plaintext
  public_name = PLAIN
  server_prompts = :
  server_condition = \${if and{{eq{\$auth2}{tester}}{eq{\$auth3}{secret}}}}
  server_set_id = \$auth2
login:
  driver = plaintext
  public_name = LOGIN
  server_prompts = Username:: : Password::
  server_condition = \${if and{{eq{\$auth1}{tester}}{eq{\$auth2}{secret}}}}
  server_set_id = \$auth1
CONF
}

listens_on_all() {
    local number
    for number in 0 1 2; do
        listens_on exim $((first_port + number)) || return
    done
}

# In the foreground, as a server that does not process its queue.
start_all() {
    make_files || return
    first_port=$(find_ports 3) || return
    write_config
    local -a as_user=()
    [[ $(id -u) != 0 ]] || as_user=(setpriv "--reuid=$user" "--regid=$group" --clear-groups)
    start_daemon exim "${as_user[@]}" "$workdir/exim" -C "$workdir/exim.conf" -bdf
    wait_for exim "$start_seconds" listens_on_all
}

write_env() {
    local -a settings=(
        VEXIL_EXIM_ENDPOINT "127.0.0.1:$first_port"
        VEXIL_EXIM_TLS_ENDPOINT "127.0.0.1:$((first_port + 1))"
        VEXIL_EXIM_PLAIN_ENDPOINT "127.0.0.1:$((first_port + 2))"
        VEXIL_EXIM_CA "$workdir/certificates/ca.pem"
        VEXIL_EXIM_WRONG_CA "$workdir/certificates/wrong-ca.pem"
        VEXIL_EXIM_MAILS "$workdir/maildir/new"
    )
    printf 'export %s=%q\n' "${settings[@]}" >"$workdir/env"
}

start() {
    require_programs exim4 openssl python3 setpriv
    # These characters have a special meaning in its configuration.
    [[ $workdir != *[[:space:]:\$\"\\%]* ]] || fail "Exim cannot work in a folder of this name: $workdir"
    start_or_fail exim 'address already in use'
}

run_command
