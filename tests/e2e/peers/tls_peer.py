#!/usr/bin/env python3
"""A TLS peer for the HTTPS client tests.

    tls_peer.py DIR CERT KEY [CLIENT_CA]

Listens on 127.0.0.1 with an ephemeral port, writes the port to DIR/port and
serves at most 20 connections, one at a time, by the path of the request:
  /echo   answers 200 with the request head as the body, then ends with the
          TLS close notice;
  /cut    answers 200 "cut" and closes the connection without the notice;
  /stall  answers the head, then the first bytes of a TLS record whose rest
          never comes, and waits for the client to go.
With CLIENT_CA it asks for a client certificate issued by that CA and
answers "client=" and the certificate's common name. Each handshake adds a
line to DIR/names: the server name the client sent, or "-" for none.
Each wait is bounded (30 s), so a client that never comes cannot hold it.
"""
import os
import socket
import ssl
import sys

from recorder import read_request

WAIT = 30


def serve(conn, client_ca):
    head = read_request(conn)
    path = head.split(b" ")[1] if head.count(b" ") >= 2 else b""
    answer = b"HTTP/1.0 200 OK\r\n\r\n"
    if client_ca:
        subject = dict(item[0] for item in conn.getpeercert()["subject"])
        conn.sendall(answer + b"client=" + subject["commonName"].encode())
        conn.unwrap()
    elif path.endswith(b"/stall"):
        conn.sendall(answer)
        # An application-data record announcing 256 bytes, of which 16 come.
        os.write(conn.fileno(), b"\x17\x03\x03\x01\x00" + b"x" * 16)
        socket.socket.recv(conn, 1)  # until the client goes (or the wait ends)
    elif path.endswith(b"/cut"):
        conn.sendall(answer + b"cut")
    else:
        conn.sendall(answer + head)
        conn.unwrap()


def main():
    out_dir, cert, key = sys.argv[1:4]
    client_ca = sys.argv[4] if len(sys.argv) > 4 else None
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    if client_ca:
        context.verify_mode = ssl.CERT_REQUIRED
        context.load_verify_locations(client_ca)
    names_file = os.path.join(out_dir, "names")

    def record_name(_conn, name, _context):
        with open(names_file, "a") as f:
            f.write((name or "-") + "\n")

    context.sni_callback = record_name
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    listener.listen(8)
    listener.settimeout(WAIT)
    with open(os.path.join(out_dir, "port.tmp"), "w") as f:
        f.write(str(listener.getsockname()[1]))
    os.rename(os.path.join(out_dir, "port.tmp"), os.path.join(out_dir, "port"))
    for _ in range(20):
        try:
            raw, _ = listener.accept()
        except socket.timeout:
            return
        raw.settimeout(WAIT)
        try:
            with context.wrap_socket(raw, server_side=True) as conn:
                serve(conn, client_ca)
        except (OSError, ssl.SSLError, KeyError, IndexError):
            pass
        finally:
            raw.close()


if __name__ == "__main__":
    main()
