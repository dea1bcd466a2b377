#!/usr/bin/env python3
"""Reference update server of ZRUpdate, for trying an update and for tests.

Serves, from a folder of packages and a small JSON manifest (see
zr-make-package.py; a package signed there carries its signature in the
answer's DownloadInfo):

  POST /zr-update, /zr-self-update   update answers built from the manifest
                                     and the posted inventory (codes 200, 201,
                                     or 210/211 redirects on request)
  GET  /zr-sessionid                 a fresh session id
  GET  /zr-download?path=P           package P of the folder, with Range
  GET  /any/other/path               the same, for full package URLs
  GET  /control?act=ping             a short answer
  GET  /zr-upload-config, POST /zr-upload-request, /zr-upload-send,
       /zr-upload-report             upload service; every body received is
                                     kept in --upload-dir with its headers

Options make it misbehave on purpose (fixed answer code, HTTP status,
redirect chains, ignored or shifted ranges, wrong digests and lengths, cut
downloads) so that tests can check how the client copes.  It listens on
127.0.0.1; with --port 0 the kernel picks the port, which is written to
--port-file once the server is ready.

Standard library only.
"""

import argparse
import itertools
import json
import os
import shlex
import ssl
import sys
import threading
import xml.etree.ElementTree as ET
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import parse_qs, unquote, urlsplit
from xml.sax.saxutils import quoteattr

UPLOAD_PATHS = ("/zr-upload-config", "/zr-upload-request", "/zr-upload-send", "/zr-upload-report")


def version_key(text):
    """Numeric versions compare part by part; other texts only by equality."""
    parts = text.split(".")
    if all(p.isdigit() for p in parts):
        return tuple(int(p) for p in parts)
    return None


def installed_versions(inventory):
    """Product id -> version text of every InstalledProduct of a request."""
    versions = {}
    dependency = None
    for product in inventory.iter("InstalledProduct"):
        info = product.find("ProductInfo")
        if info is None:
            continue
        pid = int(info.get("id", "-1"))
        if info.get("dependency") == "true":
            dependency = pid
        numeric = product.find("ZRVersionInfo")
        if numeric is not None:
            versions[pid] = ".".join(numeric.get(k, "0") for k in ("major", "minor", "patchLevel", "buildNum"))
        else:
            ext = product.find("ExtVersionInfo")
            versions[pid] = ext.get("version", "") if ext is not None else ""
    return versions, dependency


def is_newer(offered, installed):
    a, b = version_key(offered), version_key(installed)
    if a is not None and b is not None:
        return a > b
    return offered != installed


def attrs(**values):
    return "".join(" %s=%s" % (k, quoteattr(str(v))) for k, v in values.items())


def package_xml(entry, md5, size):
    version = entry["version"]
    numbers = version.split(".")
    if version_key(version) is not None and len(numbers) == 4:
        ver = "<ZRVersionInfo%s/>" % attrs(major=numbers[0], minor=numbers[1], patchLevel=numbers[2],
                                            buildNum=numbers[3], status="", desc="")
    else:
        ver = "<ExtVersionInfo%s/>" % attrs(version=version, status="", desc="")
    return ("<PackageInfo>"
            "<ProductInfo%s/>" % attrs(id=entry["id"], name=entry.get("name", ""), desc=entry.get("desc", ""))
            + "<PlatformInfo%s/>" % attrs(arch="", os="Linux", vendor="", version="")
            + ver
            + "<DownloadInfo%s%s/>" % (attrs(url=entry["url"], md5=md5, size=size, time=entry.get("time", ""), result=0),
                                       attrs(signature=entry["signature"]) if "signature" in entry else "")
            + "<RunInfo%s/>" % attrs(format=entry.get("format", "zip"),
                                     installScript=entry.get("installScript", "install-package"), result=0)
            + "</PackageInfo>")


class Behaviour:
    """What the server does, from the command line and the options file,
    plus the counters that make the first N answers differ from later ones."""

    def __init__(self, parser, argv, args):
        self.parser = parser
        self.argv = argv
        self.args = args
        self.extra = None
        self.lock = threading.Lock()
        self.redirects = 0
        self.cuts = 0
        self.uploads = itertools.count(1)
        self.sessions = itertools.count(1)
        self.issued = set()

    def refresh(self):
        """Options added by the options file, read again before every request
        so that a test can change the behaviour without a restart; writing the
        file starts the counters afresh."""
        if not self.args.options_file:
            return
        try:
            with open(self.args.options_file) as f:
                extra = (os.fstat(f.fileno()).st_mtime_ns, f.read())
        except FileNotFoundError:
            extra = (0, "")
        with self.lock:
            if extra == self.extra:
                return
            self.extra = extra
            try:
                self.args = self.parser.parse_args(self.argv + shlex.split(extra[1]))
            except SystemExit:
                return
            self.args.manifest = self.args.manifest or os.path.join(self.args.root, "manifest.json")
            self.redirects = 0
            self.cuts = 0

    def next_redirect(self):
        with self.lock:
            if self.args.redirect_count >= 0 and self.redirects >= self.args.redirect_count:
                return False
            self.redirects += 1
            return True

    def next_cut(self):
        with self.lock:
            if self.args.cut_after < 0 or self.cuts >= self.args.cut_times:
                return False
            self.cuts += 1
            return True


class Handler(BaseHTTPRequestHandler):
    server_version = "ZRUpdateReference/1.0"
    protocol_version = "HTTP/1.0"

    # --- plumbing -----------------------------------------------------

    @property
    def behaviour(self):
        return self.server.behaviour

    @property
    def opts(self):
        return self.server.behaviour.args

    def log_message(self, fmt, *args):
        if self.opts.verbose:
            sys.stderr.write("%s\n" % (fmt % args))

    def record(self, body=b""):
        if not self.opts.request_log:
            return
        line = {"method": self.command, "path": self.target(), "headers": dict(self.headers.items()),
                "body_length": len(body)}
        with self.behaviour.lock, open(self.opts.request_log, "a") as log:
            log.write(json.dumps(line) + "\n")

    def target(self):
        """The request path; clients speaking to a proxy send absolute URLs."""
        parts = urlsplit(self.path)
        return parts.path + ("?" + parts.query if parts.query else "")

    def read_body(self):
        length = int(self.headers.get("Content-Length") or 0)
        return self.rfile.read(length) if length > 0 else b""

    def answer(self, status, body=b"", headers=()):
        self.send_response(status)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    # --- dispatch -----------------------------------------------------

    def do_POST(self):
        self.behaviour.refresh()
        body = self.read_body()
        self.record(body)
        path = urlsplit(self.path).path
        if path in ("/zr-update", "/zr-self-update"):
            self.update(body, self_update=(path == "/zr-self-update"))
        elif path in UPLOAD_PATHS:
            self.upload(path, body)
        else:
            self.answer(404, b"not found\n")

    def do_GET(self):
        self.behaviour.refresh()
        self.record()
        parts = urlsplit(self.path)
        query = parse_qs(parts.query)
        if parts.path == "/zr-sessionid":
            self.session_id()
        elif parts.path == "/zr-download":
            self.download(query.get("path", [""])[0])
        elif parts.path == "/control" and query.get("act") == ["ping"]:
            self.answer(200, b"pong\n")
        elif parts.path == "/zr-upload-config":
            self.upload(parts.path, b"")
        else:
            self.download(unquote(parts.path))

    # --- update exchange ------------------------------------------------

    def update(self, body, self_update):
        opts = self.opts
        if opts.status != 200:
            self.answer(opts.status, b"refused\n")
            return
        root = "ZRSelfUpdateResponse" if self_update else "ZRUpdateResponse"
        if opts.redirect_code and self.behaviour.next_redirect():
            hosts = opts.redirect_hosts or ["127.0.0.1:%d" % self.server.server_address[1]]
            servers = "".join("<Server%s/>" % attrs(host=h) for h in hosts)
            self.answer_document(root, opts.redirect_code, "<ServerList>%s</ServerList>" % servers)
            return
        if opts.code is not None and opts.code != 201:
            self.answer_document(root, opts.code, "")
            return
        try:
            request = ET.fromstring(body)
        except ET.ParseError:
            self.answer_document(root, 500, "")
            return
        versions, dependency = installed_versions(request)
        packages = []
        for entry in load_manifest(opts.manifest):
            pid = int(entry["id"])
            if self_update != (pid == 1000) or pid not in versions:
                continue
            if dependency is not None and pid != dependency:
                continue
            if is_newer(entry["version"], versions[pid]):
                md5 = "0" * 32 if opts.wrong_md5 else entry["md5"]
                packages.append(package_xml(entry, md5, int(entry["size"]) + opts.size_delta))
        if not packages:
            self.answer_document(root, 200, "")
            return
        self.answer_document(root, 201, "<PackageInfoList>%s</PackageInfoList>" % "".join(packages))

    def answer_document(self, root, code, inner):
        text = '<?xml version="1.0" encoding="UTF-8"?>\n<%s><Result code="%d" status="%s"/>%s</%s>\n' % (
            root, code, "ok", inner, root)
        self.answer(200, text.encode(), [("Content-Type", "text/xml")])

    def session_id(self):
        if self.opts.empty_session:
            self.answer(200, b"")
            return
        sid = "S%06d" % next(self.behaviour.sessions)
        self.behaviour.issued.add(sid)
        self.answer(200, sid.encode())

    # --- downloads --------------------------------------------------------

    def download(self, relative):
        opts = self.opts
        if opts.download_status != 200:
            self.answer(opts.download_status, b"refused\n")
            return
        if opts.require_session and self.headers.get("X-ZR-Update-SessionID") not in self.behaviour.issued:
            self.answer(403, b"no session\n")
            return
        path = os.path.realpath(os.path.join(opts.root, relative.lstrip("/")))
        if not path.startswith(os.path.realpath(opts.root) + os.sep) or not os.path.isfile(path):
            self.answer(404, b"not found\n")
            return
        size = os.path.getsize(path)
        start = range_start(self.headers.get("Range"), size)
        if start is not None and not opts.ignore_range:
            begin = min(start + opts.range_shift, size)
            self.send_response(206)
            self.send_header("Content-Range", "bytes %d-%d/%d" % (begin, size - 1, size))
            self.send_file(path, begin, size)
        else:
            self.send_response(200)
            self.send_file(path, 0, size)

    def send_file(self, path, begin, size):
        opts = self.opts
        length = size - begin
        self.send_header("Content-Length", str(length + opts.length_delta))
        self.end_headers()
        limit = length
        if self.behaviour.next_cut():
            limit = min(length, opts.cut_after)
        with open(path, "rb") as f:
            f.seek(begin)
            sent = 0
            while sent < limit:
                piece = f.read(min(65536, limit - sent))
                if not piece:
                    break
                self.wfile.write(piece)
                sent += len(piece)
        if limit == length and opts.extra_bytes:
            self.wfile.write(b"X" * opts.extra_bytes)
        self.wfile.flush()
        self.close_connection = True

    # --- upload service -------------------------------------------------

    def upload(self, path, body):
        opts = self.opts
        if opts.upload_dir:
            os.makedirs(opts.upload_dir, exist_ok=True)
            stem = os.path.join(opts.upload_dir, "%03d%s" % (next(self.behaviour.uploads), path.replace("/", "-")))
            with open(stem + ".body", "wb") as f:
                f.write(body)
            with open(stem + ".headers", "w") as f:
                json.dump(dict(self.headers.items()), f, indent=1)
        if opts.upload_status != 200:
            self.answer(opts.upload_status, b"refused\n")
        elif path in ("/zr-upload-config", "/zr-upload-request"):
            self.answer(200, opts.upload_answer.encode())
        else:
            self.answer(200, b"")


def range_start(header, size):
    """The first byte of an open range "bytes=N-" within the file, or None."""
    if not header or not header.startswith("bytes=") or not header.endswith("-"):
        return None
    text = header[len("bytes="):-1]
    if not text.isdigit() or int(text) >= size:
        return None
    return int(text)


def load_manifest(path):
    with open(path) as f:
        return json.load(f).get("packages", [])


def main():
    p = argparse.ArgumentParser(description="Reference update server of ZRUpdate (for trying and testing).")
    p.add_argument("--root", required=True, help="folder of the packages")
    p.add_argument("--manifest", help="JSON manifest (default: ROOT/manifest.json)")
    p.add_argument("--port", type=int, default=0, help="port on 127.0.0.1 (0: any free port)")
    p.add_argument("--port-file", help="write the port here once listening")
    p.add_argument("--tls-cert", help="serve HTTPS with this PEM certificate")
    p.add_argument("--tls-key", help="private key of --tls-cert")
    p.add_argument("--request-log", help="append one JSON line per request")
    p.add_argument("--options-file", help="more options, read again before every request")
    p.add_argument("--verbose", action="store_true")
    bad = p.add_argument_group("misbehaviour for tests")
    bad.add_argument("--status", type=int, default=200, help="HTTP status of every update answer")
    bad.add_argument("--code", type=int, help="fixed result code of the update answer")
    bad.add_argument("--redirect-code", type=int, choices=(210, 211), help="answer updates with this redirect")
    bad.add_argument("--redirect-count", type=int, default=-1, help="number of redirects (-1: endless)")
    bad.add_argument("--redirect-hosts", type=lambda s: s.split(","), help="hosts of the redirect (default: itself)")
    bad.add_argument("--wrong-md5", action="store_true", help="offer a digest that does not match")
    bad.add_argument("--size-delta", type=int, default=0, help="add this to the offered package size")
    bad.add_argument("--length-delta", type=int, default=0, help="add this to the download's Content-Length")
    bad.add_argument("--extra-bytes", type=int, default=0, help="send this much more than Content-Length")
    bad.add_argument("--ignore-range", action="store_true", help="answer Range requests with the whole file")
    bad.add_argument("--range-shift", type=int, default=0, help="start 206 answers this far from the asked byte")
    bad.add_argument("--cut-after", type=int, default=-1, help="close downloads after this many body bytes")
    bad.add_argument("--cut-times", type=int, default=1, help="number of downloads cut")
    bad.add_argument("--download-status", type=int, default=200, help="HTTP status of every download")
    bad.add_argument("--empty-session", action="store_true", help="answer session requests without a body")
    bad.add_argument("--require-session", action="store_true", help="refuse downloads without an issued id")
    up = p.add_argument_group("upload service")
    up.add_argument("--upload-dir", help="keep every upload body and its headers here")
    up.add_argument("--upload-status", type=int, default=200)
    up.add_argument("--upload-answer", default="<UploadConfig/>\n", help="body of config and request answers")
    argv = sys.argv[1:]
    args = p.parse_args(argv)
    args.manifest = args.manifest or os.path.join(args.root, "manifest.json")

    server = ThreadingHTTPServer(("127.0.0.1", args.port), Handler)
    server.daemon_threads = True
    server.behaviour = Behaviour(p, argv, args)
    if args.tls_cert:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(args.tls_cert, args.tls_key)
        server.socket = context.wrap_socket(server.socket, server_side=True)
    port = server.server_address[1]
    if args.port_file:
        tmp = args.port_file + ".tmp"
        with open(tmp, "w") as f:
            f.write("%d\n" % port)
        os.replace(tmp, args.port_file)
    print("listening on 127.0.0.1:%d" % port, flush=True)
    try:
        server.serve_forever()
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
