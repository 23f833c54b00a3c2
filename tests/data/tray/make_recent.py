#!/usr/bin/python3
"""Writes a recently-used.xbel with GLib's own writer, the way GTK
applications do, plus the files it points at.

usage: make_recent.py HOME XBEL NOW_EPOCH COUNT
Prints, one per line, the paths Tarnwick's Recent feed must show, newest
first (at most 18), worked out here independently of Tarnwick's code."""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from glib import BookmarkFile, filename_to_uri  # noqa: E402

home, xbel, now, count = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
bookmarks = BookmarkFile()
expected = []  # (minus last use, order, path)
docs = os.path.join(home, "Documents")
for i in range(count):
    kind = i % 10
    # Uses over the last 20 days, one every 57 minutes; sometimes the
    # modified stamp is the later one.
    visited = now - i * 3420 - 17
    modified = visited - 3600 if i % 3 else visited + 120
    name = "file %03d ü#%%.txt" % i if i % 7 == 0 else "file-%03d.txt" % i
    path, mime, wanted = os.path.join(docs, name), "text/plain", True
    if kind == 1:
        path, mime, wanted = os.path.join(docs, "folder-%03d" % i), "inode/directory", False
        os.makedirs(path, exist_ok=True)
    elif kind == 2:  # a launcher outside ~/.local: its type alone rules it out
        path, mime, wanted = os.path.join(docs, "app-%03d.desktop" % i), "application/x-desktop", False
    elif kind == 3:
        path, mime, wanted = os.path.join(home, ".cache/thing-%03d.bin" % i), "application/octet-stream", False
    elif kind == 4:
        bookmarks.add("https://example.org/page-%03d.html" % i, "text/html", min(visited, modified) - 60, visited, modified)
        continue
    elif kind == 5:
        path, wanted = os.path.join(docs, "deleted-%03d.txt" % i), False  # never created: the file is gone
    elif kind == 6:
        path, wanted = os.path.join(home, ".config/app" if i % 4 else ".local/share/app", "settings-%03d.ini" % i), False
    if kind not in (1, 5):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as f:
            f.write(path)
    bookmarks.add(filename_to_uri(path), mime, min(visited, modified) - 60, visited, modified)
    if wanted and now - max(visited, modified) <= 14 * 86400:
        expected.append((-max(visited, modified), i, path))

os.makedirs(os.path.dirname(xbel), exist_ok=True)
bookmarks.to_file(xbel)
for _, _, path in sorted(expected)[:18]:
    print(path)
