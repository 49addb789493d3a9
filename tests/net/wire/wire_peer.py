#!/usr/bin/env python3
"""Peers of the HTTP/1.1 transport tests, all on 127.0.0.1 with ports the system chooses: an
HTTP/1.1 server, a proxy (absolute URLs and CONNECT), and TLS servers with certificates from a
CA made at start-up (good, self-signed, expired, wrong host, unknown CA, client certificate
required); every server also offers a description of one SOAP service and answers its calls.
Usage: wire_peer.py WORKDIR OPENSSL. Prints one line "ready name=port ..." once
every server listens, then serves until it is terminated."""
import base64
import gzip
import os
import re
import select
import socket
import ssl
import subprocess
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

workdir, openssl = sys.argv[1], sys.argv[2]
calls_wsdl = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "data",
                          "client", "calls.wsdl")


def path(name):
    return os.path.join(workdir, name)


def run(*args):
    subprocess.run([openssl, *args], check=True, capture_output=True)


def make_key_and_request(name, subject):
    run("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
        "-keyout", path(name + ".key"), "-out", path(name + ".csr"), "-subj", subject)


def make_ca(name):
    run("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
        "-keyout", path(name + ".key"), "-out", path(name + ".pem"), "-subj", "/CN=" + name,
        "-days", "2")


def make_cert(name, ca, names, days="2"):
    make_key_and_request(name, "/CN=" + names.split(",")[0].split(":")[1])
    with open(path(name + ".ext"), "w") as ext:
        ext.write("subjectAltName=%s\n" % names)
    run("x509", "-req", "-in", path(name + ".csr"), "-CA", path(ca + ".pem"), "-CAkey",
        path(ca + ".key"), "-days", days, "-extfile", path(name + ".ext"), "-out",
        path(name + ".pem"))


make_ca("ca")
make_ca("otherca")
local = "DNS:localhost,IP:127.0.0.1"
make_cert("good", "ca", local)
make_cert("expired", "ca", local, days="-1")
make_cert("wronghost", "ca", "DNS:elsewhere.example")
make_cert("unknown", "otherca", local)
make_cert("client", "ca", "DNS:client.example")
run("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
    "-keyout", path("self.key"), "-out", path("self.pem"), "-subj", "/CN=localhost",
    "-addext", "subjectAltName=" + local, "-days", "2")

ports = {}
connection_ids = iter(range(1, 1 << 30))
proxy_log = []
lock = threading.Lock()


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def setup(self):
        super().setup()
        with lock:
            self.connection_id = next(connection_ids)

    def answer(self, body, status=200, headers=()):
        self.send_response(status)
        self.send_header("Content-Type", "text/xml; charset=utf-8")
        for name, value in headers:
            self.send_header(name, value)
        if not any(name == "Transfer-Encoding" for name, _ in headers):
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def request_body(self):
        return self.rfile.read(int(self.headers.get("Content-Length", "0")))

    def do_GET(self):
        self.handle_any()

    def do_POST(self):
        self.handle_any()

    def handle_any(self):
        body = self.request_body()
        route, _, query = self.path.partition("?")
        if route == "/echo":
            # The request as it came, so a test can check its exact bytes.
            head = self.requestline + "\r\n" + "".join(
                "%s: %s\r\n" % item for item in self.headers.items())
            self.answer(head.encode("latin-1") + b"\r\n" + body)
        elif route == "/conn":
            sni = getattr(self.connection, "sni", None)
            client = ""
            if isinstance(self.connection, ssl.SSLSocket) and self.connection.getpeercert():
                client = dict(x[0] for x in self.connection.getpeercert()["subject"])["commonName"]
            self.answer(("conn=%d sni=%s client=%s" % (self.connection_id, sni, client)).encode())
        elif route == "/calls.wsdl":
            # The service lives on the server named by the query (this one without a query),
            # under the host name the request used.
            name = query or next(n for n, p in ports.items() if p == self.server.server_port)
            scheme = "http" if name in ("http", "proxy") else "https"
            host = self.headers.get("Host", "localhost").rsplit(":", 1)[0]
            with open(calls_wsdl, "rb") as wsdl:
                text = wsdl.read().replace(b"http://127.0.0.1:PORT/svc", (
                    "%s://%s:%d/soap" % (scheme, host, ports[name])).encode())
            self.answer(text)
        elif route == "/soap":
            # swap: the text of `a` comes back as the return value.
            given = re.search(rb"<a[^>]*>(.*?)</a>", body, re.S)
            self.answer(b'<?xml version="1.0" encoding="UTF-8"?><S:Envelope '
                        b'xmlns:S="http://schemas.xmlsoap.org/soap/envelope/" '
                        b'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
                        b'xmlns:xsd="http://www.w3.org/2001/XMLSchema"><S:Body>'
                        b'<m:swapResponse xmlns:m="urn:calls"><return xsi:type="xsd:string">' +
                        (given.group(1) if given else b"") +
                        b"</return></m:swapResponse></S:Body></S:Envelope>")
        elif route == "/chunked":
            self.send_response(200)
            self.send_header("Transfer-Encoding", "chunked")
            self.end_headers()
            for piece in (b"<a>", b"chunked ", b"x" * 70000, b"</a>"):
                self.wfile.write(b"%x;ext=1\r\n%s\r\n" % (len(piece), piece))
                self.wfile.flush()
            self.wfile.write(b"0\r\nX-Trailer: t\r\n\r\n")
        elif route == "/gzip":
            plain = b"<gz>" + b"compressible " * 1000 + b"</gz>"
            if "gzip" in self.headers.get("Accept-Encoding", ""):
                self.answer(gzip.compress(plain), headers=[("Content-Encoding", "gzip")])
            else:
                self.answer(plain)
        elif route == "/close":
            # No length: the answer ends with the connection.
            self.send_response(200)
            self.send_header("Connection", "close")
            self.end_headers()
            self.wfile.write(b"until close %d" % self.connection_id)
            self.close_connection = True
        elif route == "/http10":
            self.wfile.write(b"HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nold!")
            self.close_connection = True
        elif route == "/stale":
            # Answers as if the connection stayed open, then closes it without a word.
            self.answer(b"stale %d" % self.connection_id)
            self.close_connection = True
        elif route == "/redirect":
            count = int(query or "0")
            if count == 0:
                self.answer(b"arrived " + self.command.encode() + b" " + body)
            else:
                self.answer(b"", 307, [("Location", "/redirect?%d" % (count - 1))])
        elif route == "/to-http":
            self.answer(b"", 302, [("Location", "http://127.0.0.1:%d/conn" % ports["http"])])
        elif route == "/auth":
            wanted = "Basic " + base64.b64encode("user:pässword".encode()).decode()
            if self.headers.get("Authorization") == wanted:
                self.answer(b"welcome")
            else:
                self.answer(b"who?", 401, [("WWW-Authenticate", 'Basic realm="t"')])
        elif route == "/drip":
            self.send_response(200)
            self.send_header("Content-Length", "1000")
            self.end_headers()
            try:
                for _ in range(1000):
                    self.wfile.write(b"x")
                    self.wfile.flush()
                    time.sleep(0.2)
            except OSError:
                pass
            self.close_connection = True
        elif route == "/big":
            kind, _, size = query.partition("-")
            data = b"y" * int(size)
            if kind == "length":
                self.answer(data)
            elif kind == "chunked":
                self.send_response(200)
                self.send_header("Transfer-Encoding", "chunked")
                self.end_headers()
                for start in range(0, len(data), 1000):
                    piece = data[start:start + 1000]
                    self.wfile.write(b"%x\r\n%s\r\n" % (len(piece), piece))
                self.wfile.write(b"0\r\n\r\n")
            elif kind == "gzip":
                self.answer(gzip.compress(data), headers=[("Content-Encoding", "gzip")])
            else:
                self.send_response(200)
                self.end_headers()
                self.wfile.write(data)
                self.close_connection = True
        else:
            self.answer(b"no such route", 404)


class Server(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True


def serve(name, context=None):
    server = Server(("127.0.0.1", 0), Handler)
    if context is not None:
        def remember_sni(sock, server_name, _):
            sock.sni = server_name
        context.sni_callback = remember_sni
        server.socket = context.wrap_socket(server.socket, server_side=True)
    ports[name] = server.server_address[1]
    threading.Thread(target=server.serve_forever, daemon=True).start()


def tls_context(cert, client_ca=None):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(path(cert + ".pem"), path(cert + ".key"))
    if client_ca:
        context.verify_mode = ssl.CERT_REQUIRED
        context.load_verify_locations(path(client_ca + ".pem"))
    return context


def pipe(a, b):
    sockets = [a, b]
    try:
        while True:
            ready, _, _ = select.select(sockets, [], [], 30)
            if not ready:
                return
            for sock in ready:
                data = sock.recv(65536)
                if not data:
                    return
                (b if sock is a else a).sendall(data)
    except OSError:
        pass
    finally:
        a.close()
        b.close()


def proxy_client(client):
    head = b""
    while b"\r\n\r\n" not in head:
        data = client.recv(65536)
        if not data:
            client.close()
            return
        head += data
    first = head.split(b"\r\n", 1)[0].decode()
    method, target, _ = first.split(" ")
    if target == "/log":
        text = "\n".join(proxy_log).encode()
        client.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\nConnection: close\r\n\r\n%s"
                       % (len(text), text))
        client.close()
        return
    with lock:
        proxy_log.append(first)
    if method == "CONNECT":
        host, _, port = target.rpartition(":")
        upstream = socket.create_connection((host, int(port)))
        client.sendall(b"HTTP/1.1 200 Connection established\r\n\r\n")
        rest = head.split(b"\r\n\r\n", 1)[1]
        if rest:
            upstream.sendall(rest)
    else:
        # "http://host:port/path": forward in origin form.
        address = target[len("http://"):]
        hostport, _, rest_path = address.partition("/")
        host, _, port = hostport.partition(":")
        upstream = socket.create_connection((host, int(port or "80")))
        upstream.sendall(head.replace(target.encode(), b"/" + rest_path.encode(), 1))
    pipe(client, upstream)


def serve_proxy():
    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listener.bind(("127.0.0.1", 0))
    listener.listen(16)
    ports["proxy"] = listener.getsockname()[1]

    def loop():
        while True:
            client, _ = listener.accept()
            threading.Thread(target=proxy_client, args=(client,), daemon=True).start()

    threading.Thread(target=loop, daemon=True).start()


serve("http")
serve_proxy()
serve("tls", tls_context("good"))
serve("self", tls_context("self"))
serve("expired", tls_context("expired"))
serve("wronghost", tls_context("wronghost"))
serve("unknown", tls_context("unknown"))
serve("clientauth", tls_context("good", client_ca="ca"))
print("ready " + " ".join("%s=%d" % item for item in sorted(ports.items())), flush=True)
while True:
    time.sleep(3600)
