#!/usr/bin/env python3
"""Starts the interop server on a free loopback port, runs one client against it, stops it.

Usage: serve_and_call.py SERVER WSDL_DIR [SERVER_OPTIONS...] -- CLIENT ARGS...

Every argument of the client may contain {url}, replaced by the server's base URL
(http://127.0.0.1:PORT/). The exit status is the client's; the server must also stop cleanly on
SIGTERM (status 0) within two seconds, or the run fails.
"""
import subprocess
import sys
import threading


def start(server_bin, wsdl_dir, *options):
    """Starts the server on a free port; returns the process and its base URL, or None."""
    server = subprocess.Popen([server_bin, "--port", "0", "--wsdl", wsdl_dir, *options],
                              stdout=subprocess.PIPE, text=True)
    # The first line names the port; a server that never prints it is killed by the timer.
    timer = threading.Timer(10, server.kill)
    timer.start()
    line = server.stdout.readline()
    timer.cancel()
    if not line.startswith("listening on "):
        server.kill()
        server.wait()
        print("server did not start", file=sys.stderr)
        return None
    return server, line.split()[2]


def main():
    if "--" not in sys.argv or sys.argv.index("--") < 3:
        print(__doc__, file=sys.stderr)
        return 2
    split = sys.argv.index("--")
    client = sys.argv[split + 1:]
    started = start(sys.argv[1], sys.argv[2], *sys.argv[3:split])
    if started is None:
        return 1
    server, url = started
    try:
        status = subprocess.run([arg.replace("{url}", url) for arg in client],
                                timeout=120).returncode
    finally:
        server.terminate()
        try:
            stopped = server.wait(timeout=2)
        except subprocess.TimeoutExpired:
            server.kill()
            server.wait()
            stopped = None
    if stopped != 0:
        print(f"server did not stop cleanly on SIGTERM (status {stopped})", file=sys.stderr)
        return 1
    return status


if __name__ == "__main__":
    sys.exit(main())
