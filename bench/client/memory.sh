#!/usr/bin/env bash
# The memory rows of run.sh alone, quicker to repeat: the peak resident memory of echoStructArray
# with 10,000 structs against the replaying server, Corvane in both wire modes and PHP's
# SoapClient, each run RUNS times in turn (default 3), with each run's peak and the median.
#
#   bench/client/memory.sh [BUILD_DIR] [RUNS]
#
# BUILD_DIR (default build/release) must hold bench/client_bench and bench/replay_server.
set -euo pipefail

here=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${1:-$root/build/release}
runs=${2:-3}
for program in client_bench replay_server; do
    [ -x "$build/bench/$program" ] || { echo "missing $build/bench/$program" >&2; exit 2; }
done

work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do "$root/tests/peers/stop" "$pid" 2>/dev/null || true; done
    rm -rf "$work"
}
trap cleanup EXIT
free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# The replaying server asks the PHP server once per kind of call, then answers from memory.
upstream=$(free_port)
pids+=("$("$root/tests/peers/start" php "$upstream")")
port=$(free_port)
"$build/bench/replay_server" replay "$port" "http://127.0.0.1:$upstream/round2_base.inc" 3600 &
pids+=("$!")
for _ in $(seq 50); do
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break
    sleep 0.1
done
endpoint=http://127.0.0.1:$port/round2_base.inc
sed "s|location=\"round2_base.inc\"|location=\"$endpoint\"|" \
    "$root/tests/data/wsdl/round2_base.wsdl" >"$work/replay.wsdl"

peak() {  # COMMAND...: the command's peak resident memory in KiB, through GNU time
    /usr/bin/time -f %M -o "$work/rss" "$@" >/dev/null 2>"$work/err" || {
        tail -1 "$work/err" >&2
        return 1
    }
    tail -n1 "$work/rss"
}
declare -A peaks
for _ in $(seq "$runs"); do
    for client in corvane corvane-std php; do
        case $client in
            php) command=(php "$here/php_client.php" "$work/replay.wsdl" "$endpoint" structs-10000 3) ;;
            *)
                standard=0
                [ $client = corvane-std ] && standard=1
                command=(env "CORVANE_BENCH_WSDL=file://$work/replay.wsdl"
                    "CORVANE_BENCH_STANDARD=$standard" "$build/bench/client_bench"
                    --benchmark_filter='BM_EchoStructArray/10000/' --benchmark_min_time=5)
                ;;
        esac
        peaks[$client]="${peaks[$client]:-} $(peak "${command[@]}")"
    done
done
echo 'peak memory at 10,000 structs, replaying server (MiB; each run, then the median)'
for client in corvane corvane-std php; do
    python3 -c 'import statistics, sys
runs = [int(k) / 1024 for k in sys.argv[2].split()]
print("  %-12s %s   median %.1f" % (sys.argv[1], " ".join("%.1f" % r for r in runs),
      statistics.median(runs)))' "$client" "${peaks[$client]}"
done
