#!/usr/bin/env python3
"""A loopback HTTP server that answers every request with canned bytes, for the client tests.

Usage: http_stub.py DIR [LIFETIME_SECONDS]

Listens on 127.0.0.1 on a free port and writes the port number to DIR/port. Answers the n-th
connection (counting from 1) with the bytes of DIR/response-n, or of DIR/response when there is
no such file, and records the request it read (headers, then Content-Length bytes of body, then
whatever else arrived with them) in DIR/request-n. When DIR/close-after holds a number N, only
the first N bytes of the answer are sent before the connection is closed; when DIR/delay holds a
number of seconds, the answer waits that long. Ends on SIGTERM or after LIFETIME_SECONDS (default
60).
"""

import os
import socket
import sys
import threading
import time

MAX_REQUEST_BYTES = 64 * 1024 * 1024


def read_request(conn):
    data = b""
    while b"\r\n\r\n" not in data:
        chunk = conn.recv(65536)
        if not chunk:
            return data
        data += chunk
    head, _, body = data.partition(b"\r\n\r\n")
    length = 0
    for line in head.split(b"\r\n")[1:]:
        name, _, value = line.partition(b":")
        if name.strip().lower() == b"content-length":
            length = int(value.strip() or b"0")
    while len(body) < length and len(data) < MAX_REQUEST_BYTES:
        chunk = conn.recv(65536)
        if not chunk:
            break
        body += chunk
        data += chunk
    return data


def answer(directory, number, conn):
    with conn:
        conn.settimeout(10)
        request = read_request(conn)
        with open(os.path.join(directory, "request-%d" % number), "wb") as out:
            out.write(request)
        path = os.path.join(directory, "response-%d" % number)
        if not os.path.exists(path):
            path = os.path.join(directory, "response")
        with open(path, "rb") as f:
            response = f.read()
        delay_path = os.path.join(directory, "delay")
        if os.path.exists(delay_path):
            with open(delay_path) as f:
                time.sleep(float(f.read()))
        limit_path = os.path.join(directory, "close-after")
        if os.path.exists(limit_path):
            with open(limit_path) as f:
                response = response[: int(f.read())]
        conn.sendall(response)


def main():
    directory = sys.argv[1]
    lifetime = float(sys.argv[2]) if len(sys.argv) > 2 else 60.0
    threading.Timer(lifetime, lambda: os._exit(0)).start()
    server = socket.socket()
    server.bind(("127.0.0.1", 0))
    server.listen(16)
    temp = os.path.join(directory, "port.tmp")
    with open(temp, "w") as f:
        f.write(str(server.getsockname()[1]))
    os.rename(temp, os.path.join(directory, "port"))
    number = 0
    while True:
        conn, _ = server.accept()
        number += 1
        answer(directory, number, conn)


if __name__ == "__main__":
    main()
