#!/usr/bin/env bash
# A private HTTP proxy on a free port of 127.0.0.1. It forwards HTTP and tunnels (CONNECT) to any port.
#
# Usage: tests/servers/tinyproxy.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/tinyproxy.sh stop WORKDIR     ends it; the logs stay in WORKDIR
#
# WORKDIR/env sets VEXIL_PROXY_ENDPOINT (host:port) and VEXIL_PROXY_LOG (a file with a line for each request). Any
# number of proxies run side by side, each with a WORKDIR of its own. No root needed.
set -euo pipefail

usage='usage: tinyproxy.sh start|stop WORKDIR'
command=${1:?$usage}
workdir=$(realpath -m -- "${2:?$usage}")
daemons=$workdir/daemons
logs=$workdir/log
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

end_all() {
    end_daemon tinyproxy TERM
    rm -f -- "$workdir/env"
}

# Without a ConnectPort all ports may be tunnelled to.
write_config() {
    cat >"$workdir/tinyproxy.conf" <<CONF
Port $port
Listen 127.0.0.1
Allow 127.0.0.1
Timeout 600
MaxClients 200
LogFile "$logs/requests.log"
LogLevel Connect
CONF
}

start_all() {
    rm -rf -- "$daemons" "$logs"
    mkdir -p -- "$daemons" "$logs" || return
    port=$(find_ports 1) || return
    write_config
    start_daemon tinyproxy tinyproxy -d -c "$workdir/tinyproxy.conf"
    wait_for tinyproxy "$start_seconds" listens_on tinyproxy "$port"
}

write_env() {
    printf 'export %s=%q\n' VEXIL_PROXY_ENDPOINT "127.0.0.1:$port" VEXIL_PROXY_LOG "$logs/requests.log" \
        >"$workdir/env"
}

start() {
    require_programs tinyproxy python3
    [[ $workdir != *\"* ]] || fail "tinyproxy cannot work in a folder of this name: $workdir"
    start_or_fail tinyproxy 'could not create listening'
}

case $command in
    start) start ;;
    stop) end_all ;;
    *) fail "$usage" ;;
esac
