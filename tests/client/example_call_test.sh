#!/usr/bin/env bash
# Runs examples/call against the PHP and the SOAP::Lite peers and checks what it prints.
# Usage: example_call_test.sh EXAMPLE_PROGRAM
set -euo pipefail
example=$1
tests=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do "$tests/peers/stop" "$pid"; done
    rm -rf "$work"
}
trap cleanup EXIT

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

php_port=$(free_port)
pids+=("$("$tests/peers/start" php "$php_port")")
lite_port=$(free_port)
pids+=("$("$tests/peers/start" soaplite "$lite_port")")
# SOAP::Lite serves no WSDL: a copy that names the server's address.
sed "s|location=\"round2_base.inc\"|location=\"http://127.0.0.1:$lite_port/\"|" \
    "$tests/data/wsdl/round2_base.wsdl" >"$work/round2_base.wsdl"

for location in "http://127.0.0.1:$php_port/round2_base.wsdl" "file://$work/round2_base.wsdl"; do
    "$example" "$location" >"$work/out"
    for line in "echoString: Hello" "echoStruct: varInt = 42" "Fault raised on request" \
        "detail varInt = 42"; do
        grep -qF "$line" "$work/out" || { echo "missing \"$line\" for $location:"; cat "$work/out"; exit 1; }
    done
done
echo "examples/call: both peers answered as expected"
