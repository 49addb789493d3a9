#!/usr/bin/env python3
"""TLS terminator for end-to-end tests: TLS on 127.0.0.1:PORT, plain TCP to 127.0.0.1:TARGET.

Usage: tls_forwarder.py --port PORT --target TARGET [--cert CERT --key KEY] [--lifetime SECONDS]

CERT and KEY are PEM files. When both are given and exist they are used; when given and missing,
a self-signed certificate for 127.0.0.1 is generated there with the openssl command (so a test can
trust it); when omitted, one is generated in a temporary directory that is removed at exit.

Each connection is relayed until the target closes; the client then gets a TLS close_notify before
the TCP close. That order matters: a client that retries SSL_read while the error is
SSL_ERROR_SYSCALL would spin forever on a bare TCP close.
"""

import argparse
import os
import select
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading

IO_TIMEOUT = 30.0
SHUTDOWN_TIMEOUT = 2.0


def make_certificate(cert, key):
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "7",
         "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
         "-keyout", key, "-out", cert],
        check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL)


def close_tls(client):
    try:
        client.settimeout(SHUTDOWN_TIMEOUT)
        client.unwrap()
    except (OSError, ValueError):
        pass
    client.close()


def relay(client, target):
    """Copies both ways until the target closes or nothing moves for IO_TIMEOUT seconds."""
    client_open = True
    while True:
        # Bytes already decrypted inside the TLS object do not show up in select().
        ready = [client] if client_open and client.pending() else []
        if not ready:
            watched = [target] + ([client] if client_open else [])
            ready, _, _ = select.select(watched, [], [], IO_TIMEOUT)
            if not ready:
                return
        if target in ready:
            data = target.recv(65536)
            if not data:
                return
            client.sendall(data)
        if client_open and client in ready:
            try:
                data = client.recv(65536)
            except ssl.SSLError:
                data = b""
            if data:
                target.sendall(data)
            else:
                client_open = False
                target.shutdown(socket.SHUT_WR)


def serve_connection(raw, context, target_port):
    try:
        raw.settimeout(IO_TIMEOUT)
        client = context.wrap_socket(raw, server_side=True)
    except (OSError, ssl.SSLError):
        raw.close()
        return
    try:
        with socket.create_connection(("127.0.0.1", target_port), IO_TIMEOUT) as target:
            relay(client, target)
    except OSError:
        pass
    close_tls(client)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--port", type=int, default=443)
    parser.add_argument("--target", type=int, required=True)
    parser.add_argument("--cert")
    parser.add_argument("--key")
    parser.add_argument("--lifetime", type=int, default=900)
    args = parser.parse_args()
    if (args.cert is None) != (args.key is None):
        parser.error("--cert and --key go together")

    temp_dir = None
    if args.cert is None:
        temp_dir = tempfile.mkdtemp(prefix="corvane-tls-")
        args.cert = os.path.join(temp_dir, "cert.pem")
        args.key = os.path.join(temp_dir, "key.pem")
    if not (os.path.exists(args.cert) and os.path.exists(args.key)):
        make_certificate(args.cert, args.key)

    def stop(*_):
        if temp_dir:
            shutil.rmtree(temp_dir, ignore_errors=True)
        sys.exit(0)

    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)
    signal.signal(signal.SIGALRM, stop)
    signal.alarm(max(1, args.lifetime))

    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(args.cert, args.key)
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(("127.0.0.1", args.port))
    listener.listen(64)
    while True:
        raw, _ = listener.accept()
        threading.Thread(target=serve_connection, args=(raw, context, args.target),
                         daemon=True).start()


if __name__ == "__main__":
    main()
