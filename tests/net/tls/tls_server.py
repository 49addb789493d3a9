#!/usr/bin/env python3
"""TLS peer for the transport tests: serves HTTP/1.0 on 127.0.0.1:443 with a certificate made
at start-up. Usage: tls_server.py WORKDIR OPENSSL MODE, MODE being "echo" (answer the request
with its own bytes, then a filler body, then close_notify), "abrupt" (the same answer, then a TCP
close without close_notify), "reset" (read a little, then reset the connection) or "silent"
(accept, and never start the handshake).
Prints "ready" once listening, or "skip: ..." when the port cannot be bound."""
import os
import socket
import ssl
import struct
import subprocess
import sys
import time

workdir, openssl, mode = sys.argv[1], sys.argv[2], sys.argv[3]
cert = os.path.join(workdir, "cert.pem")
key = os.path.join(workdir, "key.pem")
subprocess.run([openssl, "req", "-x509", "-newkey", "ec", "-pkeyopt",
                "ec_paramgen_curve:prime256v1", "-nodes", "-keyout", key, "-out", cert,
                "-subj", "/CN=127.0.0.1", "-days", "1"], check=True, capture_output=True)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(cert, key)

listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
try:
    listener.bind(("127.0.0.1", 443))
except OSError as error:
    print("skip: cannot bind 127.0.0.1:443 (%s)" % error, flush=True)
    sys.exit(0)
listener.listen(1)
listener.settimeout(20)
print("ready", flush=True)

connection, _ = listener.accept()
if mode == "silent":
    time.sleep(20)
    sys.exit(0)
connection.settimeout(20)
peer = context.wrap_socket(connection, server_side=True)
request = bytearray()
while not request.endswith(b"\0"):
    chunk = peer.recv(65536)
    if not chunk:
        break
    request += chunk
    if mode == "reset" and len(request) >= 65536:
        peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        peer.close()
        sys.exit(0)
filler = b"".join(b"%07d\n" % i for i in range(200000))
peer.sendall(b"HTTP/1.0 200 OK\r\nContent-Type: text/xml\r\n\r\n" + bytes(request) + filler)
if mode == "abrupt":
    peer.close()
    sys.exit(0)
# close_notify, then wait for the client's: the client must end on the notification itself.
try:
    peer.unwrap()
except (OSError, ssl.SSLError):
    pass
peer.close()
