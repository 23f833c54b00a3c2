"""GLib's own C functions, reached with ctypes: the bookmark writer that GTK
applications use for recently-used.xbel, and GLib's file-name-to-URI
escaping. (PyGObject on Debian 12 cannot construct a BookmarkFile.)"""
import ctypes
import ctypes.util

_glib = ctypes.CDLL(ctypes.util.find_library("glib-2.0") or "libglib-2.0.so.0")
_p = ctypes.c_void_p
_s = ctypes.c_char_p

_glib.g_bookmark_file_new.restype = _p
_glib.g_bookmark_file_set_mime_type.argtypes = [_p, _s, _s]
_glib.g_bookmark_file_add_application.argtypes = [_p, _s, _s, _s]
_glib.g_date_time_new_from_unix_utc.restype = _p
_glib.g_date_time_new_from_unix_utc.argtypes = [ctypes.c_int64]
_glib.g_date_time_unref.argtypes = [_p]
for _f in ("added", "visited", "modified"):
    getattr(_glib, "g_bookmark_file_set_%s_date_time" % _f).argtypes = [_p, _s, _p]
_glib.g_bookmark_file_to_file.argtypes = [_p, _s, ctypes.POINTER(_p)]
_glib.g_bookmark_file_to_file.restype = ctypes.c_int
_glib.g_bookmark_file_free.argtypes = [_p]
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

    def set_mime_type(self, uri, mime):
        _glib.g_bookmark_file_set_mime_type(self._b, uri.encode(), mime.encode())

    def add_application(self, uri, name, exec_):
        _glib.g_bookmark_file_add_application(self._b, uri.encode(), name.encode(), exec_.encode())

    def _set(self, which, uri, seconds):
        dt = _glib.g_date_time_new_from_unix_utc(seconds)
        getattr(_glib, "g_bookmark_file_set_%s_date_time" % which)(self._b, uri.encode(), dt)
        _glib.g_date_time_unref(dt)

    def set_added(self, uri, seconds):
        self._set("added", uri, seconds)

    def set_visited(self, uri, seconds):
        self._set("visited", uri, seconds)

    def set_modified(self, uri, seconds):
        self._set("modified", uri, seconds)

    def to_file(self, path):
        if not _glib.g_bookmark_file_to_file(self._b, path.encode(), None):
            raise OSError("GLib could not write " + path)
