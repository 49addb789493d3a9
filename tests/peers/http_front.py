#!/usr/bin/env python3
"""HTTP front for a peer server that cannot take Corvane's request framing.

Corvane sends a zero byte after the body of every request, outside the Content-Length. PHP's
built-in server (`php -S`) parses that byte in the same read as the request, calls it a malformed
second request and closes the connection without answering. A web server in front of PHP (Apache,
nginx) reads exactly Content-Length bytes and never sees it; this front does the same on loopback.

Usage: http_front.py LISTEN_PORT LIFETIME_SECONDS -- COMMAND [ARG...]

Every "{backend_port}" in the command is replaced by a free loopback port; the command must serve
HTTP on 127.0.0.1 there. The front starts it, waits until it accepts connections, then listens on
127.0.0.1:LISTEN_PORT. Per connection it reads one request (headers, then Content-Length bytes of
body; anything after that is dropped), sends it to the backend and relays the backend's answer
byte for byte until the backend closes. On SIGTERM/SIGINT, or after LIFETIME_SECONDS, it stops the
backend and exits.
"""

import ctypes
import os
import signal
import socket
import subprocess
import sys
import threading
import time

MAX_HEADER_BYTES = 64 * 1024
MAX_BODY_BYTES = 16 * 1024 * 1024
IO_TIMEOUT = 30.0
DRAIN_TIMEOUT = 5.0
PR_SET_PDEATHSIG = 1


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def die_with_parent():
    # The backend must not outlive the front, even when the front is killed outright.
    ctypes.CDLL(None, use_errno=True).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def read_request(conn):
    """Returns the request bytes up to the end of its body, or None when it is not usable."""
    data = b""
    while b"\r\n\r\n" not in data:
        if len(data) > MAX_HEADER_BYTES:
            return None
        chunk = conn.recv(4096)
        if not chunk:
            return None
        data += chunk
    head, rest = data.split(b"\r\n\r\n", 1)
    length = 0
    for line in head.split(b"\r\n")[1:]:
        name, _, value = line.partition(b":")
        if name.strip().lower() == b"content-length":
            try:
                length = int(value.strip())
            except ValueError:
                return None
    if length < 0 or length > MAX_BODY_BYTES:
        return None
    while len(rest) < length:
        chunk = conn.recv(min(65536, length - len(rest)))
        if not chunk:
            return None
        rest += chunk
    return head + b"\r\n\r\n" + rest[:length]


def serve_connection(conn, backend_port):
    with conn:
        conn.settimeout(IO_TIMEOUT)
        try:
            request = read_request(conn)
            if request is None:
                return
            with socket.create_connection(("127.0.0.1", backend_port), IO_TIMEOUT) as backend:
                backend.sendall(request)
                while True:
                    chunk = backend.recv(65536)
                    if not chunk:
                        break
                    conn.sendall(chunk)
            drain(conn)
        except OSError:
            pass


def drain(conn):
    """Reads what the client sent beyond the body (the zero byte) before closing.

    Closing a socket with unread bytes makes the kernel reset the connection, and a reset can
    discard the end of a large answer that the client has not read yet. Half-closing first tells
    the client the answer is complete; its own close then ends the read."""
    try:
        conn.shutdown(socket.SHUT_WR)
        conn.settimeout(DRAIN_TIMEOUT)
        while conn.recv(4096):
            pass
    except OSError:
        pass


def wait_for_port(port, process, seconds):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if process.poll() is not None:
            return False
        try:
            socket.create_connection(("127.0.0.1", port), 0.2).close()
            return True
        except OSError:
            time.sleep(0.02)
    return False


def main():
    if len(sys.argv) < 5 or sys.argv[3] != "--":
        sys.exit(__doc__)
    listen_port, lifetime = int(sys.argv[1]), float(sys.argv[2])
    # The free port is released before the backend binds it, so another process may take it in
    # between; a backend that exits at once is started again on a fresh port.
    for _ in range(3):
        backend_port = free_port()
        command = [a.replace("{backend_port}", str(backend_port)) for a in sys.argv[4:]]
        backend = subprocess.Popen(command, stdin=subprocess.DEVNULL, preexec_fn=die_with_parent)
        started = wait_for_port(backend_port, backend, 5.0)
        if started or backend.poll() is None:
            break

    def stop(*_, status=0):
        if backend.poll() is None:
            backend.terminate()
            try:
                backend.wait(2)
            except subprocess.TimeoutExpired:
                backend.kill()
                backend.wait()
        sys.exit(status)

    def watch_backend():
        backend.wait()
        # Without its backend the front would accept connections and answer nothing.
        os.kill(os.getpid(), signal.SIGTERM)

    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)
    signal.signal(signal.SIGALRM, stop)
    signal.alarm(max(1, int(lifetime)))

    if not started:
        print("http_front: backend did not start", file=sys.stderr)
        stop(status=1)
    threading.Thread(target=watch_backend, daemon=True).start()
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(("127.0.0.1", listen_port))
    listener.listen(64)
    while True:
        conn, _ = listener.accept()
        threading.Thread(target=serve_connection, args=(conn, backend_port), daemon=True).start()


if __name__ == "__main__":
    main()
