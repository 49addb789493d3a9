#!/usr/bin/env python3
"""The interop server's connection handling, with raw sockets.

Usage: limits.py SERVER WSDL_DIR CHECK   (CHECK: keepalive, slow, refuse, disconnect, shutdown)

Nothing here asserts a speed that a loaded machine could miss: only what the server's settings
make certain, with wide margins. Every check ends with SIGTERM and needs exit status 0, which under
AddressSanitizer also means no leak report.
"""
import os
import random
import signal
import socket
import sys
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from serve_and_call import start  # noqa: E402

PATH = "/round2_base.inc"


def envelope(method, params):
    return ('<?xml version="1.0" encoding="UTF-8"?><SOAP-ENV:Envelope '
            'xmlns:SOAP-ENV="http://schemas.xmlsoap.org/soap/envelope/" '
            'xmlns:xsd="http://www.w3.org/2001/XMLSchema" '
            'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
            'xmlns:SOAP-ENC="http://schemas.xmlsoap.org/soap/encoding/" '
            'xmlns:s="http://soapinterop.org/xsd"><SOAP-ENV:Body>'
            f'<m:{method} xmlns:m="http://soapinterop.org/">{params}</m:{method}>'
            '</SOAP-ENV:Body></SOAP-ENV:Envelope>').encode()


def echo_string(text):
    return envelope("echoString", f'<inputString xsi:type="xsd:string">{text}</inputString>')


def struct_array(n):
    items = "".join('<item xsi:type="s:SOAPStruct"><varString xsi:type="xsd:string">s</varString>'
                    f'<varInt xsi:type="xsd:int">{i}</varInt>'
                    '<varFloat xsi:type="xsd:float">0.5</varFloat></item>' for i in range(n))
    return envelope("echoStructArray", '<inputStructArray xsi:type="SOAP-ENC:Array" '
                    f'SOAP-ENC:arrayType="s:SOAPStruct[{n}]">{items}</inputStructArray>')


def request(body, close=False):
    return (f"POST {PATH} HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: text/xml; charset=utf-8\r\n"
            f'SOAPAction: "http://"\r\nContent-Length: {len(body)}\r\n'
            f"{'Connection: close' + chr(13) + chr(10) if close else ''}\r\n").encode() + body


def read_answer(sock):
    """One HTTP answer: (status, headers as a lower-cased dict, body), or None at a close."""
    data = b""
    while b"\r\n\r\n" not in data:
        chunk = sock.recv(65536)
        if not chunk:
            return None
        data += chunk
    head, body = data.split(b"\r\n\r\n", 1)
    lines = head.decode("latin-1").split("\r\n")
    headers = {k.strip().lower(): v.strip() for k, v in (h.split(":", 1) for h in lines[1:])}
    length = int(headers.get("content-length", "0"))
    while len(body) < length:
        chunk = sock.recv(65536)
        if not chunk:
            return None
        body += chunk
    return int(lines[0].split()[1]), headers, body


class Server:
    def __init__(self, binary, wsdl, *options):
        started = start(binary, wsdl, *options)
        if started is None:
            sys.exit(1)
        self.process, url = started
        self.port = int(url.rstrip("/").rsplit(":", 1)[1])

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), timeout=30)

    def call(self, sock, text="x"):
        sock.sendall(request(echo_string(text)))
        answer = read_answer(sock)
        assert answer and answer[0] == 200 and f">{text}<".encode() in answer[2], answer
        return answer

    def stop(self, within=10):
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(timeout=within)
        assert status == 0, f"server exited with {status}"


def keepalive(server):
    # Nagle's algorithm would hold each answer's body ~40 ms for the client's delayed
    # acknowledgement; new connections are not affected, so they are the yardstick.
    with server.connect() as sock:
        server.call(sock)
        began = time.monotonic()
        for i in range(50):
            status, headers, _ = server.call(sock, f"k{i}")
            assert headers.get("connection", "").lower() != "close", headers
        kept = time.monotonic() - began
    began = time.monotonic()
    for i in range(50):
        with server.connect() as sock:
            server.call(sock, f"n{i}")
    fresh = time.monotonic() - began
    print(f"50 calls: {kept:.3f} s kept alive, {fresh:.3f} s on new connections")
    assert kept < fresh + 50 * 0.020, "kept-alive calls stall"


def slow(server):
    # Each slow client sends its request line and headers one byte every 0.4 s; the header
    # time-out (2 s) must close every one long before the whole head (about 120 bytes) is in.
    head = request(echo_string("slow"))[:120]
    socks = [server.connect() for _ in range(30)]
    closed = {}
    began = time.monotonic()
    for sent in range(len(head)):
        for sock in socks:
            if sock not in closed:
                try:
                    sock.sendall(head[sent:sent + 1])
                except OSError:
                    closed[sock] = time.monotonic() - began
        with server.connect() as normal:  # a normal client is served meanwhile
            server.call(normal, f"normal{sent}")
        for sock in socks:
            if sock not in closed:
                sock.setblocking(False)
                try:
                    if sock.recv(1) == b"":
                        closed[sock] = time.monotonic() - began
                except BlockingIOError:
                    pass
                except OSError:
                    closed[sock] = time.monotonic() - began
                sock.setblocking(True)
        if len(closed) == len(socks) or time.monotonic() - began > 20:
            break
        time.sleep(0.4)
    for sock in socks:
        sock.close()
    print(f"{len(closed)} of {len(socks)} slow connections closed, the last after "
          f"{max(closed.values(), default=0):.1f} s")
    assert len(closed) == len(socks), "a slow connection outlived the header time-out"
    assert max(closed.values()) < 15


def refuse(server):
    # --max-connections 2: two silent connections take both places, a third is refused.
    first, second = server.connect(), server.connect()
    with server.connect() as third:
        third.sendall(request(echo_string("over")))
        status, headers, body = read_answer(third)
        assert status == 503 and b"Too many connections." in body, (status, body)
        assert b"SOAP-ENV:Server" in body and headers["connection"].lower() == "close"
    first.close()
    second.close()
    # With --max-requests-per-connection 3, the last request the connection may carry is
    # answered with Connection: close. Its first request waits for a place: the server frees
    # them as it sees the closes, which may take a moment.
    deadline = time.monotonic() + 10
    while True:
        sock = server.connect()
        sock.sendall(request(echo_string("x")))
        status, headers, _ = read_answer(sock)
        if status == 200 or time.monotonic() > deadline:
            break
        sock.close()
        time.sleep(0.1)
    assert status == 200
    with sock:
        for i in range(2):
            status, headers, _ = server.call(sock)
        assert headers.get("connection", "").lower() == "close", headers
        assert sock.recv(1) == b""


def disconnect(server):
    # Clients that go away: a fifth close mid-request or mid-answer (some with a reset).
    rng = random.Random(19)
    big = request(struct_array(300))
    failures = []

    def client(index):
        for n in range(50):
            try:
                with server.connect() as sock:
                    kind = rng.randrange(10)
                    if kind == 0:  # mid-request
                        sock.sendall(big[:rng.randrange(1, len(big))])
                    elif kind == 1:  # mid-answer, by a reset
                        sock.sendall(big)
                        sock.recv(rng.randrange(1, 4096))
                        sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER,
                                        b"\x01\x00\x00\x00\x00\x00\x00\x00")
                    else:
                        for _ in range(2):
                            server.call(sock, f"c{index}-{n}")
            except Exception as error:  # noqa: BLE001
                failures.append(repr(error))

    threads = [threading.Thread(target=client, args=(i,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures, failures[:3]
    with server.connect() as sock:
        server.call(sock, "afterwards")


def shutdown(server):
    # SIGTERM while a request is half sent and another connection is idle: the request is
    # answered (and told the connection closes), the idle connection is closed, the server exits.
    idle = server.connect()
    server.call(idle)
    busy = server.connect()
    whole = request(echo_string("in flight"))
    busy.sendall(whole[:60])
    time.sleep(0.3)
    server.process.send_signal(signal.SIGTERM)
    time.sleep(0.5)
    busy.sendall(whole[60:])
    status, headers, body = read_answer(busy)
    assert status == 200 and b">in flight<" in body and headers["connection"].lower() == "close"
    assert idle.recv(1) == b""
    assert server.process.wait(timeout=10) == 0


CHECKS = {
    "keepalive": (keepalive, []),
    "slow": (slow, ["--header-timeout", "2"]),
    "refuse": (refuse, ["--max-connections", "2", "--idle-timeout", "30",
                        "--max-requests-per-connection", "3"]),
    "disconnect": (disconnect, []),
    "shutdown": (shutdown, ["--idle-timeout", "30"]),
}


def main():
    if len(sys.argv) != 4 or sys.argv[3] not in CHECKS:
        print(__doc__, file=sys.stderr)
        return 2
    check, options = CHECKS[sys.argv[3]]
    server = Server(sys.argv[1], sys.argv[2], *options)
    try:
        check(server)
        if server.process.poll() is None:
            server.stop()
    finally:
        if server.process.poll() is None:
            server.process.kill()
            server.process.wait()
    return 0


if __name__ == "__main__":
    sys.exit(main())
