#!/usr/bin/python3
"""A LocalSend receiver for tests, from the protocol's public description:
it announces itself on the multicast group, answers announcements, and
takes uploads over HTTPS with the given certificate.

usage: localsend_receiver.py PORT CERT KEY OUTDIR MODE [ANNOUNCED_CERT]
MODE: accept | reject | vanish (dies in the middle of the first upload) |
flood (answers prepare-upload with 8 MiB)
ANNOUNCED_CERT: announce this certificate's fingerprint instead of CERT's.
Prints "ready" once it listens."""
import hashlib
import http.server
import json
import os
import socket
import ssl
import struct
import sys
import threading
import urllib.parse

port, cert, key, outdir, mode = sys.argv[1:6]
port = int(port)
announced = sys.argv[6] if len(sys.argv) > 6 else cert
GROUP = "224.0.0.167"


with open(announced) as f:
    FINGERPRINT = hashlib.sha256(ssl.PEM_cert_to_DER_cert(f.read())).hexdigest().upper()
sessions = {}


class Handler(http.server.BaseHTTPRequestHandler):
    def log_message(self, *args):
        pass

    def reply(self, status, body=None):
        data = json.dumps(body).encode() if body is not None else b""
        self.send_response(status)
        self.send_header("Content-Length", str(len(data)))
        if body is not None:
            self.send_header("Content-Type", "application/json")
        self.end_headers()
        self.wfile.write(data)

    def do_POST(self):
        url = urllib.parse.urlparse(self.path)
        query = dict(urllib.parse.parse_qsl(url.query))
        length = int(self.headers.get("Content-Length", "0"))
        if url.path == "/api/localsend/v2/prepare-upload":
            request = json.loads(self.rfile.read(length))
            if mode == "reject":
                return self.reply(403)
            if mode == "flood":
                return self.reply(200, {"sessionId": "s1", "padding": "x" * (8 << 20)})
            sessions.update({"tok-" + fid: meta["fileName"] for fid, meta in request["files"].items()})
            return self.reply(200, {"sessionId": "s1", "files": {fid: "tok-" + fid for fid in request["files"]}})
        if url.path == "/api/localsend/v2/upload":
            name = sessions.get(query.get("token"))
            if query.get("sessionId") != "s1" or name is None or query.get("token") != "tok-" + query.get("fileId"):
                return self.reply(403)
            if mode == "vanish":
                self.rfile.read(min(length, 65536))
                os._exit(0)
            data = self.rfile.read(length)
            with open(os.path.join(outdir, name), "wb") as f:
                f.write(data)
            return self.reply(200)
        if url.path == "/api/localsend/v2/cancel":
            return self.reply(200)
        return self.reply(404)


server = http.server.ThreadingHTTPServer(("0.0.0.0", 0), Handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(cert, key)
server.socket = context.wrap_socket(server.socket, server_side=True)
https_port = server.socket.getsockname()[1]

info = {"alias": "Test Phone", "version": "2.0", "deviceModel": "Test", "deviceType": "mobile",
        "fingerprint": FINGERPRINT, "port": https_port, "protocol": "https", "download": False}

udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM, socket.IPPROTO_UDP)
udp.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
udp.bind(("", port))
udp.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, struct.pack("4sl", socket.inet_aton(GROUP), socket.INADDR_ANY))


def answer_announcements():
    while True:
        data, _ = udp.recvfrom(65536)
        try:
            message = json.loads(data)
        except ValueError:
            continue
        if message.get("announce") and message.get("fingerprint") != FINGERPRINT:
            # The sender runs no server to register with, so the answer goes
            # back over multicast, as the protocol allows.
            udp.sendto(json.dumps(dict(info, announce=False)).encode(), (GROUP, port))


threading.Thread(target=answer_announcements, daemon=True).start()
threading.Thread(target=server.serve_forever, daemon=True).start()
print("ready", flush=True)
sys.stdin.read()  # runs until the test closes our input
