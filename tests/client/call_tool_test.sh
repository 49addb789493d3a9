#!/usr/bin/env bash
# corvane call against the PHP peer: a result, a fault (exit status 2), failures (exit status 1,
# one line naming the reason) and the envelopes shown on request.
# Usage: call_tool_test.sh CORVANE_TOOL
set -euo pipefail
tool=$1
peers=$(cd "$(dirname "${BASH_SOURCE[0]}")/../peers" && pwd)
work=$(mktemp -d)
pid=
cleanup() {
    [ -n "$pid" ] && "$peers/stop" "$pid"
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# run EXPECTED_STATUS ARGS...: runs the tool, keeps its output in $work/out and $work/err.
run() {
    local expected=$1 status=0
    shift
    "$tool" call "$@" >"$work/out" 2>"$work/err" || status=$?
    [ "$status" -eq "$expected" ] ||
        fail "exit status $status, not $expected, for: $* $(cat "$work/out" "$work/err")"
}

port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
pid=$("$peers/start" php "$port")
wsdl="http://127.0.0.1:$port/round2_base.wsdl"

run 0 "$wsdl" echoString 'inputString="hello"' --show-request --show-response
grep -q '"return": "hello"' "$work/out" || fail "echoString result: $(cat "$work/out")"
grep -q '<m:echoString ' "$work/err" || fail "request not shown"
grep -q 'echoStringResponse' "$work/err" || fail "response not shown"

run 0 "$wsdl" echoStruct 'inputStruct={"varString":"s","varInt":3,"varFloat":0.5}' \
    --service InteropTest --port InteropTestPort --timeout 10000
grep -q '"varInt": 3' "$work/out" || fail "echoStruct result: $(cat "$work/out")"

run 2 "$wsdl" echoString 'inputString="raise-fault"'
grep -q '"string": "Fault raised on request"' "$work/out" || fail "fault: $(cat "$work/out")"
grep -q '"name": "faultDetail"' "$work/out" || fail "fault detail: $(cat "$work/out")"

run 1 "$wsdl" noSuchOperation
grep -q 'no operation named noSuchOperation' "$work/err" || fail "$(cat "$work/err")"
run 1 "$wsdl" echoString 'noSuchPart="x"'
grep -q 'no input part named noSuchPart' "$work/err" || fail "$(cat "$work/err")"
run 1 "$wsdl" echoInteger 'inputInteger="not a number"'

"$peers/stop" "$pid"
pid=
run 1 "$wsdl" echoVoid
[ "$(wc -l <"$work/err")" -eq 1 ] || fail "more than one line: $(cat "$work/err")"
echo "corvane call: all cases passed"
