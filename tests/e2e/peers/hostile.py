#!/usr/bin/env python3
"""An HTTP peer that holds its clients as long as it can.

    hostile.py DIR MODE [UPSTREAM_PORT]
    hostile.py DIR tls-MODE CERT KEY

Listens on 127.0.0.1 with an ephemeral port, writes the port to DIR/port and
serves every connection in a thread of its own by MODE:
  - endless-head: a status line, then header lines without end;
  - no-read: never reads the request (its receive buffer kept small);
  - slow-read: reads the request 64 KiB at a time, twenty times a second;
  - trickle-head: reads the request, then sends a head one byte a second;
  - trickle-body: a head at once (Content-Length 100000), then the body one
    byte a second;
  - trickle-download, slow-download: a relay to the server on UPSTREAM_PORT
    that passes every answer on at once except those of "/zr-download",
    which go one byte a second, or 1 KiB every half second.
A MODE prefixed with "tls-" is served over TLS with CERT and KEY.
Every connection ends within WAIT seconds or when the client goes away; the
peer ends when no client came for 4 * WAIT seconds.
"""
import socket
import ssl
import sys
import threading
import time

from recorder import read_request

WAIT = 30
FILLER = b"X-Filler: " + b"f" * 54 + b"\r\n"


def paced(conn, data, piece, pause, until):
    for i in range(0, len(data), piece):
        if time.monotonic() > until:
            return
        conn.sendall(data[i:i + piece])
        time.sleep(pause)


def relay(request, upstream):
    with socket.create_connection(("127.0.0.1", upstream), timeout=WAIT) as up:
        up.sendall(request)
        answer = b""
        while True:
            piece = up.recv(65536)
            if not piece:
                return answer
            answer += piece


def serve(conn, mode, upstream, until):
    if mode == "no-read":
        while time.monotonic() < until:
            time.sleep(0.2)
        return
    if mode == "slow-read":
        while time.monotonic() < until and conn.recv(65536):
            time.sleep(0.05)
        return
    if mode == "endless-head":
        conn.sendall(b"HTTP/1.0 200 OK\r\n")
        while time.monotonic() < until:
            conn.sendall(FILLER * 64)
        return
    request = read_request(conn)
    if mode == "trickle-head":
        paced(conn, b"HTTP/1.0 200 OK\r\nContent-Length: 5\r\n\r\nhello", 1, 1.0, until)
    elif mode == "trickle-body":
        conn.sendall(b"HTTP/1.0 200 OK\r\nContent-Length: 100000\r\n\r\n")
        paced(conn, b"<" * 100000, 1, 1.0, until)
    else:
        answer = relay(request, upstream)
        if b"/zr-download" not in request.split(b"\r\n", 1)[0]:
            conn.sendall(answer)
        elif mode == "trickle-download":
            paced(conn, answer, 1, 1.0, until)
        else:
            paced(conn, answer, 1024, 0.5, until)


def handle(conn, mode, upstream, tls):
    try:
        conn.settimeout(WAIT)
        if tls:
            conn = tls.wrap_socket(conn, server_side=True)
        serve(conn, mode, upstream, time.monotonic() + WAIT)
    except OSError:
        pass  # the client went away
    finally:
        conn.close()


def main():
    folder, mode = sys.argv[1], sys.argv[2]
    upstream, tls = 0, None
    if mode.startswith("tls-"):
        mode = mode[4:]
        tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        tls.load_cert_chain(sys.argv[3], sys.argv[4])
    elif len(sys.argv) > 3:
        upstream = int(sys.argv[3])
    server = socket.socket()
    server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    if mode == "no-read":
        server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    server.bind(("127.0.0.1", 0))
    server.listen(8)
    with open(folder + "/port", "w") as f:
        f.write(str(server.getsockname()[1]))
    server.settimeout(4 * WAIT)  # no client for that long: the test is over
    while True:
        try:
            conn, _ = server.accept()
        except socket.timeout:
            return
        threading.Thread(target=handle, args=(conn, mode, upstream, tls), daemon=True).start()


if __name__ == "__main__":
    main()
