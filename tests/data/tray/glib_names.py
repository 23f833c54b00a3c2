#!/usr/bin/python3
"""For each path on standard input, prints GLib's URI for it and the
thumbnail file name GLib-based file managers look for (md5 of the URI)."""
import hashlib
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from glib import filename_to_uri  # noqa: E402

for line in sys.stdin.read().split("\n"):
    if line:
        uri = filename_to_uri(line)
        print(uri + "\t" + hashlib.md5(uri.encode()).hexdigest() + ".png")
