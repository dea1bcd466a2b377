#!/usr/bin/env python3
"""A raw HTTP peer that records what clients send and answers from files.

    recorder.py DIR ANSWER...

Listens on 127.0.0.1 with an ephemeral port, writes the port to DIR/port,
and serves exactly one connection per ANSWER, in order; then it exits.
For connection N it stores the request bytes (the head up to the empty line
and a body of its Content-Length) in DIR/request.N and then:
  - a file path: sends that file's bytes and closes;
  - "cut": closes without answering;
  - "silence": answers nothing and waits (at most 30 s) for the client to go;
  - "tunnel:FILE": answers FILE (a CONNECT answer), then records the next
    request on the same connection as DIR/request.N.tunnel and answers it
    with the next ANSWER (which then counts as used).
Each wait is bounded, so a client that never comes cannot hold it forever.
"""
import socket
import sys

WAIT = 30


def read_request(conn):
    data = b""
    while b"\r\n\r\n" not in data:
        piece = conn.recv(65536)
        if not piece:
            return data
        data += piece
    head, _, body = data.partition(b"\r\n\r\n")
    length = 0
    for line in head.split(b"\r\n")[1:]:
        name, _, value = line.partition(b":")
        if name.strip().lower() == b"content-length":
            length = int(value.strip())
    while len(body) < length:
        piece = conn.recv(65536)
        if not piece:
            break
        body += piece
    return head + b"\r\n\r\n" + body


def answer(conn, what):
    if what == "cut":
        return
    if what == "silence":
        conn.settimeout(WAIT)
        try:
            while conn.recv(65536):
                pass
        except OSError:
            pass
        return
    with open(what, "rb") as f:
        conn.sendall(f.read())


def main():
    folder, answers = sys.argv[1], sys.argv[2:]
    server = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    server.bind(("127.0.0.1", 0))
    server.listen(8)
    server.settimeout(WAIT)
    with open(folder + "/port.tmp", "w") as f:
        f.write(str(server.getsockname()[1]))
    import os
    os.rename(folder + "/port.tmp", folder + "/port")
    n = 0
    while answers:
        n += 1
        what = answers.pop(0)
        try:
            conn, _ = server.accept()
        except OSError:
            return
        with conn:
            conn.settimeout(WAIT)
            with open("%s/request.%d" % (folder, n), "wb") as f:
                f.write(read_request(conn))
            if what.startswith("tunnel:"):
                answer(conn, what[len("tunnel:"):])
                with open("%s/request.%d.tunnel" % (folder, n), "wb") as f:
                    f.write(read_request(conn))
                what = answers.pop(0) if answers else "cut"
            answer(conn, what)
            try:
                conn.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


if __name__ == "__main__":
    main()
