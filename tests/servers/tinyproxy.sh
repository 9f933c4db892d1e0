#!/usr/bin/env bash
# Private HTTP proxies on free ports of 127.0.0.1, one for all and one with a login. They forward HTTP and tunnel
# (CONNECT) to any port.
#
# Usage: tests/servers/tinyproxy.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/tinyproxy.sh stop WORKDIR     ends them; the logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_PROXY_ENDPOINT (host:port) and VEXIL_PROXY_LOG (a file with a line for each request), and
# VEXIL_LOGIN_PROXY_ENDPOINT and VEXIL_LOGIN_PROXY_LOG of the proxy that asks for a login (basic authentication). Its
# user is tester, the password secret. Any number of proxies run side by side, each with a WORKDIR of its own. No root
# needed.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

end_all() {
    end_daemon tinyproxy-login TERM
    end_daemon tinyproxy TERM
    rm -f -- "$workdir/env"
}

# write_config NAME PORT LOG. Without a ConnectPort it opens tunnels to all ports.
write_config() {
    cat >"$workdir/$1.conf" <<CONF
Port $2
Listen 127.0.0.1
Allow 127.0.0.1
Timeout 600
MaxClients 200
LogFile "$logs/$3"
LogLevel Connect
CONF
}

start_both() {
    local name
    for name in tinyproxy tinyproxy-login; do
        start_daemon "$name" tinyproxy -d -c "$workdir/$name.conf"
    done
    wait_for tinyproxy "$start_seconds" listens_on tinyproxy "$port" &&
        wait_for tinyproxy-login "$start_seconds" listens_on tinyproxy-login "$((port + 1))"
}

start_all() {
    rm -rf -- "$daemons" "$logs"
    mkdir -p -- "$daemons" "$logs" || return
    port=$(find_ports 2) || return
    write_config tinyproxy "$port" requests.log
    write_config tinyproxy-login "$((port + 1))" login-requests.log
    printf 'BasicAuth tester secret\n' >>"$workdir/tinyproxy-login.conf"
    start_both
}

write_env() {
    local -a settings=(
        VEXIL_PROXY_ENDPOINT "127.0.0.1:$port"
        VEXIL_PROXY_LOG "$logs/requests.log"
        VEXIL_LOGIN_PROXY_ENDPOINT "127.0.0.1:$((port + 1))"
        VEXIL_LOGIN_PROXY_LOG "$logs/login-requests.log"
    )
    printf 'export %s=%q\n' "${settings[@]}" >"$workdir/env"
}

start() {
    require_programs tinyproxy python3
    [[ $workdir != *\"* ]] || fail "tinyproxy cannot work in a folder of this name: $workdir"
    start_or_fail tinyproxy 'could not create listening'
}

run_command
