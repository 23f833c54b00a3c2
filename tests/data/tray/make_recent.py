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
DAY = 86400
WINDOW = 14 * DAY
bookmarks = BookmarkFile()
expected = []  # (last use, order, path)


def add(uri, mime, visited, modified):
    bookmarks.set_mime_type(uri, mime)
    bookmarks.add_application(uri, "tarnwick-test", "true %u")
    bookmarks.set_added(uri, min(visited, modified) - 60)
    bookmarks.set_visited(uri, visited)
    # Last: GLib moves the modified stamp on every other change.
    bookmarks.set_modified(uri, modified)


def touch(path):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as f:
        f.write(path)


docs = os.path.join(home, "Documents")
for i in range(count):
    kind = i % 10
    # Spread uses over the last 20 days, one every 57 minutes.
    visited = now - i * 3420 - 17
    modified = visited - 3600 if i % 3 else visited + 120  # sometimes modified is the later one
    last = max(visited, modified)
    name = "file %03d ü#%%.txt" % i if i % 7 == 0 else "file-%03d.txt" % i
    path = os.path.join(docs, name)
    mime = "text/plain"
    wanted = True
    if kind == 1:
        path = os.path.join(docs, "folder-%03d" % i)
        os.makedirs(path, exist_ok=True)
        mime = "inode/directory"
        wanted = False
    elif kind == 2:
        path = os.path.join(home, ".local/share/applications/app-%03d.desktop" % i)
        mime = "application/x-desktop"
        wanted = False
    elif kind == 3:
        path = os.path.join(home, ".cache/thing-%03d.bin" % i)
        mime = "application/octet-stream"
        wanted = False
    elif kind == 4:
        add("https://example.org/page-%03d.html" % i, "text/html", visited, modified)
        continue
    elif kind == 5:
        path = os.path.join(docs, "deleted-%03d.txt" % i)
        wanted = False  # never created: the file is gone
    elif kind == 6:
        path = os.path.join(home, ".config/app/settings-%03d.ini" % i)
        wanted = False
    if mime != "inode/directory" and kind != 5:
        touch(path)
    add(filename_to_uri(path), mime, visited, modified)
    if wanted and now - last <= WINDOW:
        expected.append((-last, i, path))

os.makedirs(os.path.dirname(xbel), exist_ok=True)
bookmarks.to_file(xbel)
for _, _, path in sorted(expected)[:18]:
    print(path)
