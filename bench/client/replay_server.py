#!/usr/bin/env python3
"""A round 2 server that only replays answers, for the client benchmark.

Usage: replay_server.py replay|keep|forward PORT UPSTREAM_URL LIFETIME_SECONDS

replay: each request is keyed by its operation and its number of items; the first request of a
key is forwarded to UPSTREAM_URL (the PHP server) and its answer kept, every later one is
answered from memory, so the clients measure their own work and not the server's.
keep: as replay, but an HTTP/1.1 request without "Connection: close" keeps its connection open
for the next request, as a server with persistent connections does.
forward: every request is forwarded, and the server's answer relayed.

One connection at a time, HTTP/1.0 unless kept: read the headers and Content-Length bytes, answer, then read
what the client still sends before closing (Corvane's zero byte after the body), so that the
close never resets the connection under an answer the client is still reading.
"""

import re
import socket
import sys
import threading
import os
import urllib.request

mode, port, upstream, lifetime = sys.argv[1], int(sys.argv[2]), sys.argv[3], float(sys.argv[4])
answers = {}
OPERATION = re.compile(rb"echo[A-Za-z]+")


def read_request(conn):
    data = b""
    while b"\r\n\r\n" not in data:
        chunk = conn.recv(65536)
        if not chunk:
            return None, None, False
        data += chunk
    head, _, first = data.partition(b"\r\n\r\n")
    length = 0
    action = b""
    lines = head.split(b"\r\n")
    keep = mode == "keep" and lines[0].endswith(b"HTTP/1.1")
    for line in lines[1:]:
        name, _, value = line.partition(b":")
        if name.strip().lower() == b"content-length":
            length = int(value.strip())
        elif name.strip().lower() == b"soapaction":
            action = value.strip()
        elif name.strip().lower() == b"connection" and value.strip().lower() == b"close":
            keep = False
    body = bytearray(first)
    while len(body) < length:
        chunk = conn.recv(1 << 20)
        if not chunk:
            break
        body += chunk
    return bytes(body[:length]), action, keep


def answer_for(body, action, keep):
    found = OPERATION.search(body)
    key = (found.group(0) if found else b"", body.count(b"varString"))
    if mode == "forward" or key not in answers:
        request = urllib.request.Request(upstream, data=body, method="POST", headers={
            "Content-Type": "text/xml; charset=utf-8", "SOAPAction": action.decode()})
        try:
            with urllib.request.urlopen(request) as reply:
                status, payload = reply.status, reply.read()
        except urllib.error.HTTPError as error:
            status, payload = error.code, error.read()
        answers[key] = (status, payload)
    status, payload = answers[key]
    return (b"HTTP/1.1 %d OK\r\nContent-Type: text/xml; charset=utf-8\r\n"
            b"Content-Length: %d\r\n%s\r\n" % (status, len(payload),
                                                b"" if keep else b"Connection: close\r\n")) + payload


def main():
    threading.Timer(lifetime, lambda: os._exit(0)).start()
    server = socket.socket()
    server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    server.bind(("127.0.0.1", port))
    server.listen(64)
    while True:
        conn, _ = server.accept()
        with conn:
            conn.settimeout(30)
            keep = True
            while keep:
                try:
                    body, action, keep = read_request(conn)
                except OSError:  # a kept connection left idle, or reset
                    body = None
                if body is None:
                    break
                conn.sendall(answer_for(body, action, keep))
            if body is None:
                continue
            conn.shutdown(socket.SHUT_WR)
            try:
                while conn.recv(65536):
                    pass
            except OSError:
                pass


if __name__ == "__main__":
    main()
