#!/usr/bin/env python3
"""Makes a file tree from a list of paths, one a line, under ROOT: a path that is the parent of
another becomes a folder, every other path an empty file. The files are hard links to a pool of
1,024 files whose modification times spread over a year, so that recency ordering has work to do;
a new inode costs far more than a name on some file systems, and a million of them would make the
tree slow to set up.

    bench/make-tree.py PATHS ROOT
"""
import os
import sys

paths_file, root = sys.argv[1], sys.argv[2]
with open(paths_file, encoding="utf-8", errors="surrogateescape") as lines:
    paths = [line.rstrip("\n") for line in lines if line.strip()]
folders = set()
for path in paths:
    parent = os.path.dirname(path)
    while parent not in ("", "/") and parent not in folders:
        folders.add(parent)
        parent = os.path.dirname(parent)
os.makedirs(root, exist_ok=True)
for folder in sorted(folders):
    os.makedirs(root + folder, exist_ok=True)

pool = root + ".inodes"
os.makedirs(pool, exist_ok=True)
year = 365 * 24 * 3600
base = 1_700_000_000
sources = []
for number in range(1024):
    source = f"{pool}/{number}"
    if not os.path.exists(source):
        open(source, "x").close()
    moment = base + (number * 7919) % year
    os.utime(source, (moment, moment))
    sources.append(source)
for number, path in enumerate(paths):
    if path in folders:
        continue
    try:
        os.link(sources[(number * 31) % len(sources)], root + path)
    except (FileExistsError, IsADirectoryError, NotADirectoryError):
        continue
