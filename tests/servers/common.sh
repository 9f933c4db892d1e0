# shellcheck shell=bash
# What the server scripts of this folder have in common; sourced, never run. It reads the arguments of the script, start or
# stop and WORKDIR, and sets `workdir`, `daemons`, the folder with one file for each daemon that contains its process id,
# and `logs`, the folder with the output of each daemon. The script ends with run_command.

usage="usage: ${0##*/} start|stop WORKDIR"
command=${1:?$usage}
workdir=$(realpath -m -- "${2:?$usage}")
daemons=$workdir/daemons
logs=$workdir/log

# How long a server may take to start: far longer than usual, because the machine may be busy.
# shellcheck disable=SC2034 # for the scripts that source this one
readonly start_seconds=180

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Prints the first of COUNT adjacent free ports. They are below the range from which the system takes ports for
# outgoing connections. Between this check and the server's bind another process may take one of them: the caller then
# tries again.
find_ports() {
    python3 - "$1" <<'PYTHON'
import random, socket, sys

def is_free(port):
    with socket.socket() as candidate:
        try:
            candidate.bind(("127.0.0.1", port))
        except OSError:
            return False
    return True

count = int(sys.argv[1])
for attempt in range(1000):
    first = random.randrange(10000, 32000 - count)
    if all(is_free(port) for port in range(first, first + count)):
        print(first)
        sys.exit()
sys.exit("no free ports")
PYTHON
}

# Runs a command to its end, but lets a signal's trap run at once: bash would otherwise wait for the command.
interruptible() {
    "$@" &
    running=$!
    local status=0
    wait "$running" || status=$?
    running=
    return "$status"
}

# start_daemon NAME COMMAND...: in its own session, so that only this script reacts to a Ctrl-C at the terminal.
start_daemon() {
    starting=$1
    shift
    setsid "$@" >"$logs/$starting.out" 2>&1 </dev/null &
    write_daemon_file "$starting" "$!"
    # Otherwise the shell reports on standard error that the process was killed.
    disown "$!"
    starting=
}

write_daemon_file() {
    printf '%s %s\n' "$2" "$(start_time_of "$2")" >"$daemons/$1.pid"
}

# Prints when process $1 started, in ticks since the start of the system. Fails if it has ended, also if it is a zombie.
# The process id and this time identify one process for ever: the system uses the id alone again later.
start_time_of() {
    local status
    read -r status 2>/dev/null <"/proc/$1/stat" || return 1
    # The name before the last parenthesis may contain spaces.
    local -a fields
    read -ra fields <<<"${status##*) }"
    [[ ${fields[0]} != Z && ${fields[0]} != X ]] && printf '%s\n' "${fields[19]}"
}

is_alive() {
    local pid began
    [[ -r $daemons/$1.pid ]] && read -r pid began <"$daemons/$1.pid" || return 1
    [[ -n $began && $(start_time_of "$pid") == "$began" ]]
}

# end_daemon NAME SIGNAL: returns when the daemon has ended; after four seconds it is killed.
end_daemon() {
    local name=$1 signal=$2 pid attempt
    for ((attempt = 0; attempt < 3000; attempt++)); do
        is_alive "$name" || break
        read -r pid _ <"$daemons/$name.pid"
        if ((attempt == 0)); then
            kill -s "$signal" "$pid" 2>/dev/null || true
        elif ((attempt == 200)); then
            kill -s KILL "$pid" 2>/dev/null || true
        fi
        sleep 0.02
    done
    ! is_alive "$name" || fail "$name (process $pid) does not end"
    rm -f -- "$daemons/$name.pid"
}

# end_daemon_group NAME SIGNAL: also for child processes that the daemon does not end itself.
end_daemon_group() {
    local pid
    is_alive "$1" || return 0
    read -r pid _ <"$daemons/$1.pid"
    end_daemon "$1" "$2"
    kill -s KILL -- "-$pid" 2>/dev/null || true
}

# wait_for NAME SECONDS COMMAND...: until COMMAND succeeds; fails if the daemon has ended or the time is over.
wait_for() {
    local name=$1 deadline=$((SECONDS + $2))
    shift 2
    until "$@" >>"$logs/$name.wait" 2>&1; do
        is_alive "$name" || return 1
        ((SECONDS < deadline)) || return 1
        sleep 0.05
    done
    is_alive "$name"
}

# listens_on NAME PORT: checks the owner of the socket, because another process may have taken the port.
listens_on() {
    local pid socket
    read -r pid _ <"$daemons/$1.pid"
    socket=$(awk -v port="$(printf ':%04X' "$2")" '$4 == "0A" && index($2, port) { print $10 }' /proc/net/tcp)
    [[ -n $socket ]] && find "/proc/$pid/fd" -lname "socket:\\[$socket\\]" 2>/dev/null | grep -q .
}

on_exit() {
    local status=$?
    trap '' HUP INT TERM
    # A signal may come between the start of a daemon and the record of its process id.
    if [[ -n $starting && -n ${!:-} ]]; then
        write_daemon_file "$starting" "$!"
    fi
    if [[ -n $running ]]; then
        kill "$running" 2>/dev/null || true
        wait "$running" || true
    fi
    end_all
    exit "$status"
}

# If the start ends early, all daemons that it has started are stopped.
end_all_on_exit() {
    running=
    starting=
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
    trap on_exit EXIT
}

leave_running() {
    trap - EXIT
}

require_programs() {
    local program
    for program in "$@"; do
        command -v "$program" >/dev/null || fail "$program is not installed: run scripts/packages.sh test"
    done
}

# start_or_fail NAME TEXT: calls start_all and write_env of the caller; again, on other ports, if TEXT in the logs shows
# that another process has taken a port.
start_or_fail() {
    local attempt
    ! is_alive "$1" || fail "$1 runs in $workdir already: stop it first"
    mkdir -p -- "$workdir" || fail "cannot make the folder $workdir"
    end_all_on_exit
    for attempt in 1 2 3 4; do
        if start_all; then
            write_env
            leave_running
            return
        fi
        end_all
        grep -qsi -- "$2" "$logs"/* || break
    done
    tail -n 15 "$logs"/* >&2 2>/dev/null || true
    fail "$1 did not start (attempt $attempt)"
}

# Calls start or end_all of the caller.
run_command() {
    case $command in
        start) start ;;
        stop) end_all ;;
        *) fail "$usage" ;;
    esac
}
