#!/usr/bin/env bash
# Every speed and memory goal from one run on this machine: the benchmarks that measure them run
# once each, one after the other, each one's whole output is kept, and the end is one table of
# the figures their own summaries print (goal, Corvane's figure, the peer's, the ratio, the aim,
# met or not). The figures mean something only on a quiet machine: uptime is printed before and
# after.
#
#   bench/goals.sh [--quick] [BUILD_DIR] [SANITIZE_BUILD_DIR]
#
# BUILD_DIR (default build/release) must hold what bench/client/run.sh and
# bench/server_load/run.sh need (see their headers) and bench/deserializer_bench,
# xml_parse_bench, wsdl_bench and xml_hostile_bench; gsoap, libgsoap-dev, php-cli and php-soap
# must be installed. SANITIZE_BUILD_DIR is handed to bench/server_load/run.sh, of which only the
# items the goals need run (1, real clients, and 6, the heap per request). --quick leaves out the
# Google Benchmark tables of the C++ benchmarks, which no goal reads, to check the script
# itself. The outputs go to a new directory under TMPDIR (or GOALS_OUT), printed first. The exit
# status is 1 when a benchmark failed or a figure could not be read, whether or not goals are met.
set -euo pipefail

here=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")" && pwd)
root=$(cd "$here/.." && pwd)
quick=0
if [ "${1:-}" = --quick ]; then
    quick=1
    shift
fi
build=$(readlink -f "${1:-$root/build/release}")
sanitize=$(readlink -f "${2:-$root/build/sanitize}")
out=${GOALS_OUT:-$(mktemp -d "${TMPDIR:-/tmp}/corvane-goals.XXXXXX")}
mkdir -p "$out"
echo "outputs: $out"
echo "before: $(uptime)" | tee "$out/uptime.txt"

status=0
# bench NAME COMMAND...: runs one benchmark, its output (both streams) into NAME.txt.
bench() {
    local name=$1 began=$SECONDS code=0
    shift
    echo "--- $name: $*"
    "$@" >"$out/$name.txt" 2>&1 || code=$?
    echo "    exit $code after $((SECONDS - began)) s"
    [ $code = 0 ] || status=1
}

# Only the tables of Google Benchmark are left out in a quick run; the summaries the goals read
# time themselves.
tables=(--benchmark_color=false)
[ $quick = 1 ] && tables+=(--benchmark_filter=^$)
bench deserializer "$build/bench/deserializer_bench" "${tables[@]}"
# The ratios of this one are of the tables' rates: a quick run keeps the four rows they need.
if [ $quick = 1 ]; then
    bench xml_parse "$build/bench/xml_parse_bench" --benchmark_color=false \
        '--benchmark_filter=^(ReaderEvents|ExpatEvents|ReaderTree|Libxml2Dom)/'
else
    bench xml_parse "$build/bench/xml_parse_bench" --benchmark_color=false
fi
bench wsdl "$build/bench/wsdl_bench" "${tables[@]}"
bench xml_hostile "$build/bench/xml_hostile_bench" "${tables[@]}"
bench client "$here/client/run.sh" "$build"
SERVER_LOAD_ITEMS="1 6" bench server_load "$here/server_load/run.sh" "$build" 30 "$sanitize"
echo "after: $(uptime)" | tee -a "$out/uptime.txt"

/usr/bin/python3 - "$out" <<'EOF' | tee "$out/goals.txt" || status=1
import operator
import os
import re
import sys

out = sys.argv[1]
NUMBER = r"([0-9.]+(?:e[+-]?[0-9]+)?)"


def text(name):
    """A benchmark's output without its colours, which some write even to a file."""
    try:
        with open(os.path.join(out, name + ".txt")) as f:
            return re.sub(r"\x1b\[[0-9;]*m", "", f.read())
    except OSError:
        return ""


def find(name, pattern, flags=re.M):
    match = re.search(pattern.replace("NUMBER", NUMBER), text(name), flags)
    return match.groups() if match else None


rows = []  # goal, Corvane's figure, the peer's, ratio, comparison, aim
missing = []


def row(goal, figures, corvane, peer, ratio, compare, aim):
    """figures: the groups a pattern found, or None; the others pick from them."""
    if figures is None:
        missing.append(goal)
        rows.append((goal, "missing", "missing", None, compare, aim))
        return
    rows.append((goal, corvane(figures), peer(figures), float(ratio(figures)), compare, aim))


# Decoding against PHP's SoapClient, per item and in memory.
for items in ("100", "10000"):
    block = find("deserializer", r"^(echoStructArrayResponse, %s SOAPStruct items.*?)"
                 r"(?=^echoStructArrayResponse|^WMSOAPServerCall|\Z)" % items, re.M | re.S)
    block = block[0] if block else ""
    speed = re.search(r"Corvane: +%s ns per item, peak memory %s MB.*?PHP SoapClient: +%s ns per "
                      r"item, peak memory %s MB.*?Corvane is %s times faster" % ((NUMBER,) * 5),
                      block, re.S)
    memory = re.search(r"Corvane's peak memory is %s times PHP's" % NUMBER, block)
    label = "{:,}".format(int(items))
    g = speed.groups() if speed else None
    row("decode %s items, ns/item, PHP/Corvane" % label, g, lambda g: g[0], lambda g: g[2],
        lambda g: g[4], ">=", 3)
    if items == "10000":
        g = speed.groups() + memory.groups() if speed and memory else None
        row("decode 10,000 items, peak MB, Corvane/PHP", g, lambda g: g[1], lambda g: g[3],
            lambda g: g[5], "<", 1)

# Whole calls against the replaying server.
for case, label in (("string", "echoString"), ("structs-100", "100 structs"),
                    ("structs-10000", "10,000 structs")):
    g = find("client", r"^  replay +%s +Corvane +NUMBER ms +PHP +NUMBER ms +gSOAP +NUMBER ms +"
             r"Corvane/PHP +NUMBERx +Corvane/gSOAP +NUMBERx" % case)
    row("client CPU %s, ms/call, Corvane/gSOAP" % label, g, lambda g: g[0], lambda g: g[2],
        lambda g: g[4], "<=", 1.5)
    row("client CPU %s, ms/call, Corvane/PHP" % label, g, lambda g: g[0], lambda g: g[1],
        lambda g: g[3], "<", 1)
row("client peak RSS 10,000 structs, MiB, Corvane/PHP",
    find("client", r"^  Corvane NUMBER MiB +PHP NUMBER MiB +Corvane/PHP NUMBERx"),
    lambda g: g[0], lambda g: g[1], lambda g: g[2], "<=", 0.5)
rates = find("client", r"^  standard mode NUMBER; NUMBER +default mode NUMBER; NUMBER")
ratio = find("client", r"^  standard / default: NUMBERx calls/s")
row("standard echoString kept, calls/s, std/default",
    rates + ratio if rates and ratio else None, lambda g: g[0], lambda g: g[2], lambda g: g[4],
    ">=", 2)
gsoap = find("client", r"^  gSOAP keep-alive NUMBER; NUMBER")
ratio = find("client", r"^  standard / gSOAP keep-alive: NUMBERx calls/s")
row("standard echoString kept, calls/s, std/gSOAP", rates + gsoap + ratio
    if rates and gsoap and ratio else None, lambda g: g[0], lambda g: g[4], lambda g: g[6],
    ">=", 1)
# The split of the standard mode's CPU per call, where the client benchmark prints it; no aim.
def split(client):
    return find("client", r"^  %s +NUMBER us: user +NUMBER, system +NUMBER" % client)


mine, theirs = split("corvane-std"), split("gsoap-kept")
if mine:
    for index, kind in ((1, "user"), (2, "system")):
        rows.append(("standard echoString kept, %s us/call, std/gSOAP" % kind, mine[index],
                     theirs[index] if theirs else "-",
                     float(mine[index]) / float(theirs[index]) if theirs else None, None, None))

# The server.
for mode in ("default", "standard"):
    row("server 100 structs, calls/s, %s/gSOAP (lowest)" % mode,
        find("server_load", r"^echoStructArray of 100, %s mode / gSOAP server, lowest calls/s "
             r"ratio: NUMBER \(\S+ \S+: NUMBER / NUMBER;" % mode),
        lambda g: g[1], lambda g: g[2], lambda g: g[0], ">=", 2 / 3)
row("server heap per request, B, peak/request (highest)",
    find("server_load", r"^highest peak/req: NUMBER \(\d+ items, \w+ mode: (\d+) B peak, (\d+) B "
         r"request"), lambda g: g[1], lambda g: g[2], lambda g: g[0], "<=", 4)

# XML and WSDL.
row("XML events, MB/s, reader/expat",
    find("xml_parse", r"^ReaderEvents / ExpatEvents: NUMBER \(NUMBER / NUMBER MB/s\)"),
    lambda g: g[1], lambda g: g[2], lambda g: g[0], ">=", 3)
row("XML tree, MB/s, reader/libxml2 DOM",
    find("xml_parse", r"^ReaderTree / Libxml2Dom: NUMBER \(NUMBER / NUMBER MB/s\)"),
    lambda g: g[1], lambda g: g[2], lambda g: g[0], ">=", 3)
document = find("xml_parse", r"^document: NUMBER MiB UTF-8, NUMBER MiB UTF-16")
tree = find("xml_parse", r"^reader tree: NUMBER MiB of arena \(NUMBER x the UTF-16 text\)")
row("XML tree memory, MiB, arena/UTF-16 text", document + tree if document and tree else None,
    lambda g: g[2], lambda g: g[1], lambda g: g[3], "<=", 3)
row("WSDL load, processor ms, PHP/Corvane",
    find("wsdl", r"^median load: Corvane NUMBER ms wall, NUMBER ms processor; PHP SoapClient "
         r"NUMBER ms wall, NUMBER ms processor; PHP/Corvane NUMBER \(wall\), NUMBER "
         r"\(processor\)"), lambda g: g[1], lambda g: g[3], lambda g: g[5], ">=", 5)
hostile = find("xml_hostile", r"^worst ratio for twice the size: parser NUMBER \((.*)\), "
               r"reader NUMBER \((.*)\)$")
# The worst shape's name is in the benchmark's output.
row("hostile XML, time at 2n / at n, reader (worst)", hostile, lambda g: g[2], lambda g: "-",
    lambda g: g[2], "<=", 2.2)
row("hostile XML, time at 2n / at n, exported parser", hostile, lambda g: g[0],
    lambda g: "-", lambda g: g[0], "<=", 2.2)

compare = {">=": operator.ge, "<=": operator.le, "<": operator.lt}
print("%-52s %12s %12s %8s %8s  %s" % ("goal", "Corvane", "peer", "ratio", "aim", "met"))
for goal, corvane, peer, ratio, sign, aim in rows:
    shown = "-" if ratio is None else "%.2f" % ratio
    target = "-" if aim is None else "%s %.2f" % (sign, aim)
    met = "-" if aim is None else "?" if ratio is None else \
        "yes" if compare[sign](ratio, aim) else "no"
    print("%-52s %12s %12s %8s %8s  %s" % (goal, corvane, peer, shown, target, met))
if missing:
    print("not read (see the benchmark's output): " + "; ".join(missing))
    sys.exit(1)
EOF
echo "outputs: $out"
exit $status
