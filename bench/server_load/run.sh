#!/usr/bin/env bash
# The server load and bad-input runs, by hand: Corvane's interop server, then PHP's SoapServer on
# the same requests for comparison. Everything stays on 127.0.0.1 and every run is bounded.
#
#   bench/server_load/run.sh [BUILD_DIR] [SECONDS]
#
# BUILD_DIR (default build/release) must hold examples/interop_server/interop_server and
# bench/server_load/server_load. SECONDS (default 30) is the length of each of the four runs:
# Corvane valid, Corvane mixed, PHP valid, PHP mixed. "Mixed" makes every fourth request a bad
# one (see load.cpp). PHP runs under its built-in server with 8 workers, the same 8 as
# cpp-httplib's pool, and straight on its port: the load client sends no trailing zero byte, so
# the peers' HTTP front is not needed.
set -euo pipefail

here=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${1:-$root/build/release}
seconds=${2:-30}
server=$build/examples/interop_server/interop_server
load=$build/bench/server_load/server_load
for program in "$server" "$load"; do
    [ -x "$program" ] || { echo "missing $program: build it first" >&2; exit 2; }
done

pid=
cleanup() { [ -n "$pid" ] && kill "$pid" 2>/dev/null || true; }
trap cleanup EXIT

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

status=0
run() {
    echo "--- $1"
    shift
    "$load" "$@" || status=1
}

echo "=== Corvane interop_server (cpp-httplib $(pkg-config --modversion cpp-httplib))"
out=$(mktemp)
"$server" --port 0 > "$out" &
pid=$!
for _ in $(seq 50); do
    grep -q listening "$out" && break
    sleep 0.1
done
port=$(sed -n 's|.*:\([0-9]*\)/$|\1|p' "$out")
rm -f "$out"
run "valid: echoStructArray of 1 to 1000 items, 8 clients" \
    --port "$port" --seconds "$seconds" --pid "$pid"
run "mixed: every fourth request bad" \
    --port "$port" --seconds "$seconds" --pid "$pid" --bad-every 4 --seed 2
kill -TERM "$pid"
if wait "$pid"; then
    echo "stopped cleanly on SIGTERM"
else
    echo "did not stop cleanly on SIGTERM"
    status=1
fi
pid=

echo "=== PHP $(php -r 'echo PHP_VERSION;') SoapServer, php -S with 8 workers"
port=$(free_port)
PHP_CLI_SERVER_WORKERS=8 CORVANE_PEER_MODE= CORVANE_PEER_PORT=$port \
    php -d display_errors=stderr -S "127.0.0.1:$port" "$root/tests/peers/php/router.php" \
    > /dev/null 2>&1 &
pid=$!
for _ in $(seq 50); do
    curl -sf -o /dev/null "http://127.0.0.1:$port/?wsdl" && break
    sleep 0.1
done
run "valid: echoStructArray of 1 to 1000 items, 8 clients" \
    --port "$port" --seconds "$seconds" --pid "$pid"
run "mixed: every fourth request bad" \
    --port "$port" --seconds "$seconds" --pid "$pid" --bad-every 4 --seed 2
kill -TERM "$pid"
wait "$pid" || true
pid=
exit $status
