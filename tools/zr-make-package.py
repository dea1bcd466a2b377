#!/usr/bin/env python3
"""Builds an update package for the reference update server of ZRUpdate.

A package is a zip archive holding the install script "install-package"
(run by the installer from the unpacked folder) and any payload files.  The
package lands in the server's folder and its manifest entry (product id,
version, URL, size and MD5) is added to ROOT/manifest.json, replacing an
entry of the same product and version.

    zr-make-package.py --root DIR --id 7 --version 2.5.0.0 [--exit 0]
                       [--script FILE] [--payload FILE...] [--bytes N]

--bytes N adds a payload of N pseudo-random bytes (stored, not compressed),
for large test packages.  Standard library only.
"""

import argparse
import hashlib
import json
import os
import random
import zipfile


def md5_of(path):
    digest = hashlib.md5()
    with open(path, "rb") as f:
        for piece in iter(lambda: f.read(1 << 20), b""):
            digest.update(piece)
    return digest.hexdigest().upper()


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


def main():
    p = argparse.ArgumentParser(description="Build a package and its manifest entry for zr-update-server.py.")
    p.add_argument("--root", required=True, help="folder the server serves")
    p.add_argument("--id", type=int, required=True, help="product id (1000: the updater itself)")
    p.add_argument("--version", required=True, help="version text, e.g. 2.5.0.0")
    p.add_argument("--name", default="", help="product name")
    p.add_argument("--desc", help="product description (default: Product ID)")
    p.add_argument("--file", help="package file name (default: pID-VERSION.zip)")
    p.add_argument("--url", help="URL offered (default: the file name, fetched through /zr-download)")
    p.add_argument("--exit", type=int, default=0, help="exit status of the generated install script")
    p.add_argument("--script", help="use this file as the install script")
    p.add_argument("--payload", action="append", default=[], help="file to add to the package")
    p.add_argument("--bytes", type=int, default=0, help="add a payload of this many random bytes")
    args = p.parse_args()

    name, path = build(args)
    entry = {"id": args.id, "name": args.name, "desc": args.desc or "Product %d" % args.id,
             "version": args.version, "url": args.url or name, "size": os.path.getsize(path),
             "md5": md5_of(path), "format": "zip", "installScript": "install-package"}
    manifest_path = os.path.join(args.root, "manifest.json")
    manifest = {"packages": []}
    if os.path.exists(manifest_path):
        with open(manifest_path) as f:
            manifest = json.load(f)
    manifest["packages"] = [e for e in manifest["packages"]
                            if not (e["id"] == args.id and e["version"] == args.version)] + [entry]
    with open(manifest_path + ".tmp", "w") as f:
        json.dump(manifest, f, indent=1)
    os.replace(manifest_path + ".tmp", manifest_path)
    print(json.dumps(entry))


if __name__ == "__main__":
    main()
