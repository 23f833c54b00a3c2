#!/usr/bin/python3
"""GLib's own C functions, reached with ctypes: the bookmark writer GTK
applications use for recently-used.xbel, and GLib's file-name-to-URI
escaping. (PyGObject on Debian 12 cannot construct a BookmarkFile.)

Run as a program: for each path on standard input, prints GLib's URI for it
and the thumbnail file name GLib-based file managers look for (md5 of it)."""
import ctypes
import ctypes.util
import hashlib
import sys

_glib = ctypes.CDLL(ctypes.util.find_library("glib-2.0") or "libglib-2.0.so.0")
_p, _s = ctypes.c_void_p, ctypes.c_char_p
_glib.g_bookmark_file_new.restype = _p
_glib.g_bookmark_file_set_mime_type.argtypes = [_p, _s, _s]
_glib.g_bookmark_file_add_application.argtypes = [_p, _s, _s, _s]
_glib.g_date_time_new_from_unix_utc.restype = _p
_glib.g_date_time_new_from_unix_utc.argtypes = [ctypes.c_int64]
_glib.g_date_time_unref.argtypes = [_p]
for _f in ("added", "visited", "modified"):
    getattr(_glib, "g_bookmark_file_set_%s_date_time" % _f).argtypes = [_p, _s, _p]
_glib.g_bookmark_file_to_file.argtypes = [_p, _s, ctypes.POINTER(_p)]
_glib.g_filename_to_uri.argtypes = [_s, _s, ctypes.POINTER(_p)]
_glib.g_filename_to_uri.restype = _p
_glib.g_free.argtypes = [_p]


def filename_to_uri(path):
    raw = _glib.g_filename_to_uri(path.encode(), None, None)
    try:
        return ctypes.string_at(raw).decode()
    finally:
        _glib.g_free(raw)


class BookmarkFile:
    def __init__(self):
        self._b = _glib.g_bookmark_file_new()

    def add(self, uri, mime, added, visited, modified):
        _glib.g_bookmark_file_set_mime_type(self._b, uri.encode(), mime.encode())
        _glib.g_bookmark_file_add_application(self._b, uri.encode(), b"tarnwick-test", b"true %u")
        # Modified last: GLib moves that stamp on every other change.
        for which, seconds in (("added", added), ("visited", visited), ("modified", modified)):
            dt = _glib.g_date_time_new_from_unix_utc(seconds)
            getattr(_glib, "g_bookmark_file_set_%s_date_time" % which)(self._b, uri.encode(), dt)
            _glib.g_date_time_unref(dt)

    def to_file(self, path):
        if not _glib.g_bookmark_file_to_file(self._b, path.encode(), None):
            raise OSError("GLib could not write " + path)


if __name__ == "__main__":
    for line in sys.stdin.read().split("\n"):
        if line:
            uri = filename_to_uri(line)
            print(uri + "\t" + hashlib.md5(uri.encode()).hexdigest() + ".png")
