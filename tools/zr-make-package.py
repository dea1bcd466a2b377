#!/usr/bin/env python3
"""Builds an update package for the reference update server of ZRUpdate.

A package is a zip archive holding the install script "install-package"
(run by the installer from the unpacked folder) and any payload files.  The
package lands in the server's folder and its manifest entry (product id,
version, URL, size and MD5) is added to ROOT/manifest.json, replacing an
entry of the same product and version.

    zr-make-package.py --root DIR --id 7 --version 2.5.0.0 [--exit 0]
                       [--script FILE] [--payload FILE...] [--bytes N]
                       [--sign-key PRIVATE.pem]
    zr-make-package.py --make-key PRIVATE.pem
    zr-make-package.py --root DIR --id 7 --version 2.5.0.0 --redigest

--bytes N adds a payload of N pseudo-random bytes (stored, not compressed),
for large test packages.

--sign-key signs the package: an Ed25519 signature over the SHA-256 digest
of the package file, in Base64, goes into the manifest entry and from there
into the server's answers.  Homes that hold the public key in
conf/zr-package-key.pem install only packages whose signature verifies.
--make-key writes a new private key to PRIVATE.pem and its public key to
PRIVATE.pub.pem (the file to place in the home).  --redigest takes the size
and MD5 of a package file again after it changed, keeping its signature,
which then no longer matches (to see a changed package refused).

Standard library only, plus the `openssl` command for keys and signatures
(Python's standard library has no Ed25519).
"""

import argparse
import base64
import hashlib
import json
import os
import random
import subprocess
import sys
import tempfile
import zipfile


def md5_of(path):
    digest = hashlib.md5()
    with open(path, "rb") as f:
        for piece in iter(lambda: f.read(1 << 20), b""):
            digest.update(piece)
    return digest.hexdigest().upper()


def sha256_of(path):
    digest = hashlib.sha256()
    with open(path, "rb") as f:
        for piece in iter(lambda: f.read(1 << 20), b""):
            digest.update(piece)
    return digest.digest()


def openssl(*args):
    subprocess.run(["openssl"] + list(args), check=True, stdout=subprocess.DEVNULL)


def make_key(private_path):
    """A new Ed25519 key pair: PRIVATE.pem (kept by whoever signs) and
    PRIVATE.pub.pem (placed in the homes)."""
    public_path = os.path.splitext(private_path)[0] + ".pub.pem"
    old = os.umask(0o077)
    try:
        openssl("genpkey", "-algorithm", "ed25519", "-out", private_path)
    finally:
        os.umask(old)
    openssl("pkey", "-in", private_path, "-pubout", "-out", public_path)
    return public_path


def sign(path, private_key):
    """Base64 Ed25519 signature over the SHA-256 digest of the file."""
    with tempfile.TemporaryDirectory() as scratch:
        digest_file = os.path.join(scratch, "digest")
        signature_file = os.path.join(scratch, "signature")
        with open(digest_file, "wb") as f:
            f.write(sha256_of(path))
        openssl("pkeyutl", "-sign", "-rawin", "-inkey", private_key, "-in", digest_file,
                "-out", signature_file)
        with open(signature_file, "rb") as f:
            return base64.b64encode(f.read()).decode()


def build(args):
    name = args.file or "p%d-%s.zip" % (args.id, args.version)
    path = os.path.join(args.root, name)
    os.makedirs(args.root, exist_ok=True)
    if args.script:
        with open(args.script) as f:
            script = f.read()
    else:
        script = "#!/bin/sh\n# Installs product %d version %s.\nexit %d\n" % (args.id, args.version, args.exit)
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        info = zipfile.ZipInfo("install-package")
        info.external_attr = 0o755 << 16
        z.writestr(info, script)
        for payload in args.payload:
            z.write(payload, os.path.basename(payload))
        if args.bytes:
            rng = random.Random(args.id)
            with z.open(zipfile.ZipInfo("payload.bin"), "w", force_zip64=True) as out:
                left = args.bytes
                while left > 0:
                    n = min(left, 1 << 20)
                    out.write(rng.randbytes(n))
                    left -= n
    return name, path


def load_manifest(path):
    if os.path.exists(path):
        with open(path) as f:
            return json.load(f)
    return {"packages": []}


def save_manifest(path, manifest):
    with open(path + ".tmp", "w") as f:
        json.dump(manifest, f, indent=1)
    os.replace(path + ".tmp", path)


def redigest(args, manifest):
    """Size and MD5 of an existing package taken again; its signature stays."""
    for entry in manifest["packages"]:
        if entry["id"] == args.id and entry["version"] == args.version:
            path = os.path.join(args.root, args.file or os.path.basename(entry["url"]))
            entry["size"] = os.path.getsize(path)
            entry["md5"] = md5_of(path)
            return entry
    sys.exit("no package of product %d version %s in the manifest" % (args.id, args.version))


def main():
    p = argparse.ArgumentParser(description="Build a package and its manifest entry for zr-update-server.py.")
    p.add_argument("--root", help="folder the server serves")
    p.add_argument("--id", type=int, help="product id (1000: the updater itself)")
    p.add_argument("--version", help="version text, e.g. 2.5.0.0")
    p.add_argument("--name", default="", help="product name")
    p.add_argument("--desc", help="product description (default: Product ID)")
    p.add_argument("--file", help="package file name (default: pID-VERSION.zip)")
    p.add_argument("--url", help="URL offered (default: the file name, fetched through /zr-download)")
    p.add_argument("--exit", type=int, default=0, help="exit status of the generated install script")
    p.add_argument("--script", help="use this file as the install script")
    p.add_argument("--payload", action="append", default=[], help="file to add to the package")
    p.add_argument("--bytes", type=int, default=0, help="add a payload of this many random bytes")
    p.add_argument("--sign-key", help="sign the package with this Ed25519 private key (PEM)")
    p.add_argument("--make-key", metavar="PRIVATE.pem", help="write a new key pair and stop")
    p.add_argument("--redigest", action="store_true",
                   help="take size and MD5 of the existing package again, keeping its signature")
    args = p.parse_args()

    if args.make_key:
        print(make_key(args.make_key))
        return
    if args.root is None or args.id is None or args.version is None:
        p.error("--root, --id and --version are required")
    manifest_path = os.path.join(args.root, "manifest.json")
    manifest = load_manifest(manifest_path)
    if args.redigest:
        entry = redigest(args, manifest)
    else:
        name, path = build(args)
        entry = {"id": args.id, "name": args.name, "desc": args.desc or "Product %d" % args.id,
                 "version": args.version, "url": args.url or name, "size": os.path.getsize(path),
                 "md5": md5_of(path), "format": "zip", "installScript": "install-package"}
        if args.sign_key:
            entry["signature"] = sign(path, args.sign_key)
        manifest["packages"] = [e for e in manifest["packages"]
                                if not (e["id"] == args.id and e["version"] == args.version)] + [entry]
    save_manifest(manifest_path, manifest)
    print(json.dumps(entry))


if __name__ == "__main__":
    main()
