#!/usr/bin/env python3
"""Packs a directory into a gzip-compressed newc cpio archive (an initramfs).

Usage: mkcpio.py DIR OUT

Every entry is owned by root, whatever the build machine's user, because the
guest runs as root and checks file modes only.
"""
import gzip
import os
import stat
import sys


def header(ino, mode, nlink, size, name):
    fields = [ino, mode, 0, 0, nlink, 0, size, 0, 0, 0, 0, len(name) + 1, 0]
    return b"070701" + b"".join(b"%08X" % f for f in fields)


def pad(n):
    return b"\0" * ((4 - n % 4) % 4)


def entry(ino, path, name):
    st = os.lstat(path)
    if stat.S_ISLNK(st.st_mode):
        data = os.readlink(path).encode()
    elif stat.S_ISREG(st.st_mode):
        with open(path, "rb") as f:
            data = f.read()
    else:
        data = b""
    nlink = 2 if stat.S_ISDIR(st.st_mode) else 1
    head = header(ino, st.st_mode, nlink, len(data), name) + name.encode() + b"\0"
    return head + pad(len(head)) + data + pad(len(data))


def main():
    root, out = sys.argv[1], sys.argv[2]
    names = []
    for dirpath, dirnames, filenames in os.walk(root):
        dirnames.sort()
        rel = os.path.relpath(dirpath, root)
        for n in sorted(dirnames + filenames):
            names.append(os.path.normpath(os.path.join(rel, n)))
    with gzip.open(out, "wb", compresslevel=1) as f:
        for ino, name in enumerate(names, start=1):
            f.write(entry(ino, os.path.join(root, name), name))
        trailer = header(0, 0, 1, 0, "TRAILER!!!") + b"TRAILER!!!\0"
        f.write(trailer + pad(len(trailer)))


if __name__ == "__main__":
    main()
