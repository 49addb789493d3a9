#!/usr/bin/env bash
# corvane call --doclit against the PHP document/literal peers (SOAP 1.1 and 1.2): values by the
# schema both ways, and a fault with its typed detail (exit status 2).
# Usage: doclit_call_tool_test.sh CORVANE_TOOL
set -euo pipefail
tool=$1
peers=$(cd "$(dirname "${BASH_SOURCE[0]}")/../peers" && pwd)
out=$(mktemp)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do "$peers/stop" "$pid"; done
    rm -f "$out"
}
trap cleanup EXIT

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

for kind in doclit doclit12; do
    port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
    pids+=("$("$peers/start" "$kind" "$port")")
    wsdl="http://127.0.0.1:$port/?wsdl"

    "$tool" call --doclit "$wsdl" echoItem \
        'item={"@id":"a","name":"pen","count":3,"price":0.1}' >"$out" ||
        fail "$kind echoItem: $(cat "$out")"
    python3 - "$out" <<'PY' || fail "$kind echoItem result: $(cat "$out")"
import json, sys
result = json.load(open(sys.argv[1]))
assert result["return"] == {"@id": "a", "name": "pen", "count": 3, "price": 0.1}, result
PY

    status=0
    "$tool" call --doclit "$wsdl" echoString 'text="raise-fault"' >"$out" || status=$?
    [ "$status" -eq 2 ] || fail "$kind fault: exit status $status: $(cat "$out")"
    grep -q '"code": 42' "$out" || fail "$kind fault detail: $(cat "$out")"
done
