#!/usr/bin/env python3
"""Checks the client benchmark's replay server against an upstream that numbers its answers.

Usage: replay_server_test.py REPLAY_SERVER
"""

import atexit
import http.server
import socket
import subprocess
import sys
import threading
import time

server_program = sys.argv[1]
hits = []


class Upstream(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        hits.append((body, self.headers["SOAPAction"]))
        # A large answer outgrows the socket's buffer, so the server must send it in parts.
        payload = b"x" * (8 << 20) if b"big" in body else b"answer %d" % len(hits)
        self.send_response(500 if b"fault" in body else 200)
        self.send_header("Content-Length", str(len(payload)))
        self.end_headers()
        self.wfile.write(payload)

    def log_message(self, *args):
        pass


socket.setdefaulttimeout(10)
upstream = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Upstream)
threading.Thread(target=upstream.serve_forever, daemon=True).start()
upstream_url = "http://127.0.0.1:%d/round2_base.inc" % upstream.server_address[1]


readers = {}
processes = []
atexit.register(lambda: [process.kill() for process in processes])


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def start(mode, upstream=upstream_url):
    port = free_port()
    process = subprocess.Popen([server_program, mode, str(port), upstream, "60"])
    processes.append(process)
    for _ in range(100):
        try:
            socket.create_connection(("127.0.0.1", port)).close()
            return process, port
        except OSError:
            time.sleep(0.05)
    sys.exit("%s server did not start" % mode)


def request(body, version="1.1", close=False):
    head = b"POST /round2_base.inc HTTP/%s\r\nSOAPAction: \"urn:a\"\r\ncontent-length: %d\r\n"
    return (head % (version.encode(), len(body)) + (b"Connection: close\r\n" if close else b"")
            + b"\r\n" + body)


def read_answer(conn):
    reader = readers.setdefault(conn, conn.makefile("rb"))
    head = b"".join(iter(reader.readline, b"\r\n"))
    length = int(head.split(b"Content-Length: ")[1].split(b"\r\n")[0])
    return head, reader.read(length)


def closed(conn):
    conn.settimeout(5)
    return conn.recv(1) == b""


def check(condition, what):
    if not condition:
        sys.exit("failed: " + what)


# One-shot connections: the first answer of a key is kept. After its answer the server still
# reads (Corvane's zero byte after the body) until the client closes, rather than resetting the
# connection under an answer the client may not have read yet.
process, port = start("replay")
answers = []
for body in (b"<echoString>a</echoString>", b"<echoString>b</echoString>",
             b"<echoStructArray><varString/><varString/></echoStructArray>",
             b"<n:echoItems><n:price>1</n:price></n:echoItems>",
             b"<echoItems><price>1</price><price>2</price></echoItems>"):
    with socket.create_connection(("127.0.0.1", port)) as conn:
        conn.sendall(request(body, "1.0"))
        head, answer = read_answer(conn)
        check(b"Connection: close" in head and head.startswith(b"HTTP/1.1 200 OK"), "one-shot head")
        check(closed(conn), "one-shot close")
        for _ in range(2):  # a reset would fail the second
            conn.sendall(b"\0")
            time.sleep(0.05)
        answers.append(answer)
check(answers == [b"answer 1", b"answer 1", b"answer 2", b"answer 3", b"answer 4"],
      "replayed by key: %r" % answers)
check(hits[0] == (b"<echoString>a</echoString>", '"urn:a"'), "forwarded request %r" % (hits[0],))
process.kill()

# Kept connections: a request in pieces, two in one packet, an HTTP/1.0 one and a close; two
# connections open at once are both served.
hits.clear()
process, port = start("keep")
first, second = (socket.create_connection(("127.0.0.1", port)) for _ in range(2))
whole = request(b"<echoString/>")
first.sendall(whole[:10])
time.sleep(0.05)
first.sendall(whole[10:])
head, answer = read_answer(first)
check(b"Connection" not in head and answer == b"answer 1", "kept answer")
second.sendall(request(b"<echoBase64 big/>") + request(b"<echoString/>"))
check(read_answer(second)[1] == b"x" * (8 << 20), "large answer")
check(read_answer(second)[1] == b"answer 1", "second of two in one packet")
first.sendall(request(b"<echoString/>", close=True))
check(b"Connection: close" in read_answer(first)[0] and closed(first), "close honoured")
second.sendall(request(b"<echoString/>", "1.0"))
check(b"Connection: close" in read_answer(second)[0] and closed(second), "HTTP/1.0 closed")
process.kill()

# Forwarding: every request reaches the upstream, and its status comes back.
hits.clear()
process, port = start("forward")
for expected in (b"answer 1", b"answer 2"):
    with socket.create_connection(("127.0.0.1", port)) as conn:
        conn.sendall(request(b"<echoString/>"))
        check(read_answer(conn)[1] == expected, "forwarded again")
with socket.create_connection(("127.0.0.1", port)) as conn:
    conn.sendall(request(b"<echoString>fault</echoString>"))
    check(read_answer(conn)[0].startswith(b"HTTP/1.1 500 "), "status relayed")
process.kill()

# An upstream that is not there: a gateway error, not a dead server.
process, port = start("replay", "http://127.0.0.1:%d/" % free_port())
for _ in range(2):
    with socket.create_connection(("127.0.0.1", port)) as conn:
        conn.sendall(request(b"<echoString/>"))
        check(read_answer(conn)[0].startswith(b"HTTP/1.1 502 "), "upstream missing")
process.kill()
print("replay server: all checks passed")
