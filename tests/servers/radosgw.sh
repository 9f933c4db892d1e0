#!/usr/bin/env bash
# A private S3 server: one Ceph monitor, one object store in memory and one gateway, all on free ports of 127.0.0.1.
#
# Usage: tests/servers/radosgw.sh start WORKDIR    prints nothing, writes WORKDIR/env
#        tests/servers/radosgw.sh stop WORKDIR     stops all and deletes the data; logs stay in WORKDIR/log
#
# WORKDIR/env sets VEXIL_S3_ENDPOINT, VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY; the keys are new for each start.
# Any number of servers run side by side, each with a WORKDIR of its own. No root needed. The server has no bucket.
set -euo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"

config=$workdir/ceph.conf
unset CEPH_ARGS CEPH_CONF CEPH_KEYRING
export PATH=$PATH:/usr/sbin:/sbin
readonly osd_ports=32
readonly store_bytes=$((8 << 30))

# No orderly end: the data is deleted anyway, and the store would first write all of it to the disk.
end_all() {
    local name
    for name in gateway osd monitor; do
        end_daemon "$name" KILL
    done
    rm -rf -- "$workdir"/{monitor,osd,gateway,monmap,ceph.conf,env}
}

random_text() {
    od -An -N"$1" -tx1 /dev/urandom | tr -d ' \n'
}

write_config() {
    cat >"$config" <<CONF
[global]
fsid = $fsid
mon host = [v1:127.0.0.1:$monitor_port]
mon initial members = a
public addr = 127.0.0.1
cluster addr = 127.0.0.1
ms bind ipv4 = true
ms bind ipv6 = false
ms bind port min = $((monitor_port + 1))
ms bind port max = $((monitor_port + osd_ports))
# if a port is taken, the script starts again on other ports and does not wait for it
ms bind retry count = 1
# one trusted user on loopback: no keyrings
auth cluster required = none
auth service required = none
auth client required = none
auth allow insecure global id reclaim = false
run dir = $workdir
crash dir = $logs
log file = $logs/\$name.log
log to stderr = false
# the path of a socket has at most 107 bytes, that of WORKDIR may have more
admin socket =
pid file =
osd pool default size = 1
osd pool default min size = 1
osd pool default pg num = 4
osd pool default pgp num = 4
osd pool default pg autoscale mode = off
osd crush chooseleaf type = 0
mon allow pool size one = true
mon warn on pool no redundancy = false
mon max pg per osd = 1000
# otherwise each pool that is made on first use takes a second
paxos propose interval = 0.05
paxos min wait = 0.01
# a developer's disk may be nearly full
mon data avail crit = 1
mon data avail warn = 2
[mon]
mon data = $workdir/monitor
mon cluster log file = $logs/cluster.log
mon cluster log to syslog = false
[osd]
osd data = $workdir/osd
osd journal =
osd objectstore = memstore
memstore device bytes = $store_bytes
osd max object name len = 2048
osd class dir = $class_dir
# the store would report its location before it knows the cluster, and sometimes end with "wrong fsid"
osd crush update on start = false
osd class update on start = false
[client.rgw.a]
rgw data = $workdir/gateway
# on a busy machine a client may stop for a minute
rgw frontends = beast endpoint=127.0.0.1:$gateway_port tcp_nodelay=1 request_timeout_ms=0
rgw thread pool size = 32
# the TLS of a web server in front of it protects the keys of customers
rgw crypt require ssl = false
rgw enable usage log = false
rgw enable ops log = false
rgw enable lc threads = false
rgw enable quota threads = false
rgw run sync thread = false
rgw dynamic resharding = false
rgw override bucket index max shards = 1
# the memory of deleted objects is freed within a minute, not after two hours
rgw gc obj min wait = 20
rgw gc processor period = 10
CONF
}

# Runs one step of the start and writes its output to a log.
step() {
    local name=$1
    shift
    if ! interruptible timeout -k 2 "$start_seconds" "$@" >"$logs/$name.out" 2>&1 </dev/null; then
        problem="$name failed"
        culprit=$name
        return 1
    fi
}

# Runs a step that the monitor may refuse: one that has just started sometimes replies EPERM to commands.
step_when_accepted() {
    local deadline=$((SECONDS + start_seconds))
    until step "$@"; do
        grep -q EPERM "$logs/$1.out" && ((SECONDS < deadline)) || return
        sleep 0.2
    done
}


is_our_monitor() {
    [[ $(timeout 60 ceph -c "$config" --connect-timeout 30 fsid 2>/dev/null) == "$fsid" ]]
}

is_osd_up() {
    [[ $(timeout 60 ceph -c "$config" --connect-timeout 30 osd stat 2>/dev/null) == *'1 up'* ]]
}

start_monitor() {
    step monmaptool monmaptool --create --clobber --fsid "$fsid" \
        --addv a "[v1:127.0.0.1:$monitor_port]" "$workdir/monmap" || return
    step monitor-mkfs ceph-mon -c "$config" --mkfs -i a --monmap "$workdir/monmap" || return
    start_daemon monitor ceph-mon -c "$config" -f -i a
    # Check the port first: a request to a monitor that does not listen takes half a minute to fail.
    {
        wait_for monitor "$start_seconds" listens_on monitor "$monitor_port" &&
            wait_for monitor "$start_seconds" is_our_monitor
    } || {
        problem='the monitor does not respond' culprit=monitor
        return 1
    }
}

start_osd() {
    local uuid
    uuid=$(cat /proc/sys/kernel/random/uuid)
    step_when_accepted osd-new ceph -c "$config" osd new "$uuid" || return
    step osd-mkfs ceph-osd -c "$config" -i 0 --mkfs --osd-uuid "$uuid" || return
    step osd-crush ceph -c "$config" osd crush add osd.0 1.0 root=default host=local || return
    start_daemon osd ceph-osd -c "$config" -f -i 0
    wait_for osd "$start_seconds" is_osd_up || {
        problem='the object store does not come up' culprit=osd
        return 1
    }
}

start_gateway() {
    start_daemon gateway radosgw -c "$config" -f -n client.rgw.a
    wait_for gateway "$start_seconds" listens_on gateway "$gateway_port" || {
        problem='the gateway does not listen' culprit=gateway
        return 1
    }
    # Every user of the machine can read the arguments of a program, but the keys are only for this server.
    step user-create radosgw-admin -c "$config" -n client.rgw.a user create --uid=tester --display-name=tester \
        --access-key="$VEXIL_S3_ACCESS_KEY" --secret="$VEXIL_S3_SECRET_KEY" || return
    step warm-up python3 -B "$here/s3-warm-up.py"
}

# Ceph 18 of Debian looks for this file relative to the current folder.
find_class_dir() {
    dirname -- "$(dpkg-query -L ceph-base | grep -m 1 '/rados-classes/libcls_rgw\.so')"
}

start_all() {
    rm -rf -- "$workdir"/{daemons,log,monitor,osd,gateway}
    mkdir -p -- "$workdir"/{daemons,log,monitor,osd,gateway}
    local first_port
    first_port=$(find_ports $((2 + osd_ports))) || {
        problem='no free ports'
        return 1
    }
    gateway_port=$first_port
    monitor_port=$((first_port + 1))
    fsid=$(cat /proc/sys/kernel/random/uuid)
    class_dir=$(find_class_dir)
    export VEXIL_S3_ENDPOINT=http://127.0.0.1:$gateway_port
    VEXIL_S3_ACCESS_KEY=$(random_text 10)
    VEXIL_S3_SECRET_KEY=$(random_text 20)
    export VEXIL_S3_ACCESS_KEY VEXIL_S3_SECRET_KEY
    write_config
    start_monitor && start_osd && start_gateway
}

was_port_taken() {
    grep -qriE 'address already in use|unable to bind|EADDRINUSE' "$logs"
}

show_logs_of() {
    local -A log_of=([monitor]=mon.a.log [osd]=osd.0.log [gateway]=client.rgw.a.log
        [user-create]=client.rgw.a.log [warm-up]=client.rgw.a.log)
    local file
    for file in "$logs/$1.out" "$logs/${log_of[$1]:-none}"; do
        if [[ -s $file ]]; then
            printf -- '--- end of %s\n' "${file##*/}" >&2
            tail -n 15 "$file" >&2
        fi
    done
}

write_env() {
    (
        umask 077
        printf 'export %s=%q\n' VEXIL_S3_ENDPOINT "$VEXIL_S3_ENDPOINT" \
            VEXIL_S3_ACCESS_KEY "$VEXIL_S3_ACCESS_KEY" VEXIL_S3_SECRET_KEY "$VEXIL_S3_SECRET_KEY" >"$workdir/env"
    )
}

start() {
    local program attempt
    for program in ceph-mon ceph-osd radosgw radosgw-admin ceph python3; do
        command -v "$program" >/dev/null || fail "$program is not installed: run scripts/packages.sh run"
    done
    if is_alive gateway || is_alive osd || is_alive monitor; then
        fail "a server runs in $workdir already: stop it first"
    fi
    mkdir -p -- "$workdir" || fail "cannot make the folder $workdir"
    end_all_on_exit
    for attempt in 1 2 3 4; do
        problem='' culprit=''
        if start_all; then
            write_env
            leave_running
            return
        fi
        end_all
        # Try once more after any failure.
        ((attempt == 1)) || was_port_taken || break
    done
    show_logs_of "$culprit"
    fail "the S3 server did not start (attempt $attempt): $problem"
}

run_command
