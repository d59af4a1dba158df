#!/usr/bin/env python3
"""Makes a file tree from a list of paths, one a line, under ROOT: a path that is the parent of
another becomes a folder, every other path an empty file. Modification times are spread over a
year in a reproducible order, so that recency ordering has work to do.

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
year = 365 * 24 * 3600
base = 1_700_000_000
for number, path in enumerate(paths):
    if path in folders:
        continue
    target = root + path
    try:
        with open(target, "x"):
            pass
    except (FileExistsError, IsADirectoryError, NotADirectoryError):
        continue
    moment = base + (number * 7919) % year
    os.utime(target, (moment, moment))
