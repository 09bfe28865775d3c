#!/usr/bin/env python3
"""A gallery for tests: the addresses that the program talks to, kept in memory, on this machine's loopback alone.

Prints the port on its first line and serves until it is ended. /test/... is for the tests, which no gallery has:
/test/hold?seconds=N makes answers of the API wait, /test/log gives what has been asked, as JSON.
"""

import json
import re
import secrets
import threading
import time
import urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer


class Gallery:
    def __init__(self):
        self.lock = threading.Lock()
        self.links = {}  # by device: code, allowed
        self.tokens = {}  # token: account
        self.account = {"email": "lena@mail.example", "handle": None}
        self.shaders = {}  # by id: parts of the upload
        self.log = []
        self.hold = 0.0
        self.begun = 0  # uploads that have come whole


gallery = Gallery()


class Request(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def answer(self, status, body=None, kind="application/json"):
        data = b"" if body is None else body if isinstance(body, bytes) else json.dumps(body).encode()
        with gallery.lock:
            gallery.log.append({"method": self.command, "path": self.path, "status": status})
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)

    def body(self):
        return self.rfile.read(int(self.headers.get("Content-Length", 0)))

    def token(self):
        words = self.headers.get("Authorization", "").split()
        return words[1] if len(words) == 2 and words[0] == "Bearer" and words[1] in gallery.tokens else None

    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        query = dict(urllib.parse.parse_qsl(url.query))
        shader = re.fullmatch(r"/s/([a-z0-9]+)/source\.metal", url.path)
        if url.path == "/test/log":
            with gallery.lock:
                told = {"log": gallery.log, "account": gallery.account, "tokens": len(gallery.tokens), "begun": gallery.begun,
                        "shaders": [{"meta": json.loads(parts["meta"]), "loop": len(parts["loop"]),
                                     "thumb": len(parts["thumb"])} for parts in gallery.shaders.values()]}
            self.answer(200, told)
        elif url.path == "/test/hold":
            gallery.hold = float(query["seconds"])
            self.answer(200)
        elif url.path == "/allow":  # what a person does in the browser
            for link in gallery.links.values():
                link["allowed"] = link["allowed"] or link["code"] == query.get("code")
            self.answer(200, b"Allowed", "text/plain")
        elif shader and shader[1] in gallery.shaders:
            self.answer(200, gallery.shaders[shader[1]]["source"], "text/plain; charset=utf-8")
        elif url.path == "/api/me":
            time.sleep(gallery.hold)
            self.answer(200, gallery.account) if self.token() else self.answer(401, {"error": "Sign in again."})
        else:
            self.answer(404, {"error": "There is nothing here."})

    def do_POST(self):
        body = self.body()
        gallery.begun += self.path == "/api/shaders"
        time.sleep(gallery.hold)
        if self.path == "/api/app/link":
            device, code = secrets.token_hex(16), "HK7Q-M2XD"
            gallery.links[device] = {"code": code, "allowed": False}
            page = f"http://{self.headers['Host']}/allow?code={code}"
            self.answer(200, {"device": device, "code": code, "url": page, "interval": 1, "expires": 600})
        elif self.path == "/api/app/link/poll":
            self.poll(json.loads(body)["device"])
        elif self.path == "/api/account/handle" and self.token():
            gallery.account["handle"] = json.loads(body)["handle"]
            self.answer(200, {"handle": gallery.account["handle"]})
        elif self.path == "/api/auth/signout":
            gallery.tokens.pop(self.token(), None)
            self.answer(204)
        elif self.path == "/api/shaders" and self.token():
            self.share(body)
        else:
            self.answer(401, {"error": "Sign in again."})

    def poll(self, device):
        link = gallery.links.get(device)
        if not link:
            self.answer(410)
        elif not link["allowed"]:
            self.answer(202)
        else:
            del gallery.links[device]
            token = secrets.token_urlsafe(24)
            gallery.tokens[token] = gallery.account
            self.answer(200, {"token": token, **gallery.account})

    def share(self, body):
        if not gallery.account["handle"]:
            self.answer(409, {"error": "Choose a handle first.", "needsHandle": True})
            return
        boundary = self.headers["Content-Type"].partition("boundary=")[2].encode()
        parts = {}
        for part in (b"\r\n" + body).split(b"\r\n--" + boundary)[1:-1]:
            head, _, data = part.partition(b"\r\n\r\n")
            parts[re.search(rb' name="([a-z]+)"', head)[1].decode()] = data
        if sorted(parts) != ["loop", "meta", "source", "thumb"]:
            self.answer(400, {"error": "The upload has not the parts that it should."})
            return
        shader = f"k3v9x{len(gallery.shaders) + 1}"
        gallery.shaders[shader] = parts
        self.answer(201, {"id": shader, "url": f"http://{self.headers['Host']}/s/{shader}"})


if __name__ == "__main__":
    server = ThreadingHTTPServer(("127.0.0.1", 0), Request)
    server.daemon_threads = True
    print(server.server_port, flush=True)
    server.serve_forever()
