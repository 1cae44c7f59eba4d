#!/usr/bin/python3
"""Stands in for the web server, the gateway and the phone behind the logging page.

It keeps what is changed in memory, and can be slow, refuse and vanish, as POST /standin says. For
tests of the page alone, and for trying it: standin.py [PORT].
SPDX-License-Identifier: MIT"""
import io
import json
import pathlib
import queue
import sys
import tarfile
import threading
import time
import urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from standinphone import LEVELS, Phone, Refusal, Stream, own_file

PAGES = pathlib.Path(__file__).resolve().parents[2] / "web" / "pages" / "logging"
TYPES = {".html": "text/html; charset=utf-8", ".css": "text/css", ".js": "text/javascript",
         ".svg": "image/svg+xml"}
POLICY = ("default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
          "img-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'")


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    @property
    def phone(self):
        return self.server.phone

    def answer(self, status, body, kind="application/json", headers=()):
        data = body if isinstance(body, bytes) else json.dumps(body).encode()
        self.send_response(status)
        for name, value in [("Content-Type", kind), ("Content-Length", str(len(data))),
                            ("Cache-Control", "no-store"), ("Content-Security-Policy", POLICY),
                            ("X-Content-Type-Options", "nosniff"), *headers]:
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(data)

    def handle_one(self, method):
        url = urllib.parse.urlsplit(self.path)
        query = dict(urllib.parse.parse_qsl(url.query))
        if url.path == "/standin":
            return self.control()
        if self.phone.gone:
            self.close_connection = True
            return None
        if url.path == "/all_logs.tar.gz" and self.phone.archive:
            return self.answer(200, self.phone.archive, "application/gzip")
        if not url.path.startswith("/logging/api/"):
            return self.page(url.path)
        name = urllib.parse.unquote(url.path.removeprefix("/logging/api/"))
        try:
            if name == "events":
                return self.events(query)
            if not self.phone.present:
                raise Refusal(503, "The service is not on the bus.")
            body = self.body() if method == "post" else query
            if name.startswith("logs/"):
                return self.answer(200, self.get_log(name.removeprefix("logs/"), query))
            action = getattr(self, f"{method}_{name}", None)
            if action is None:
                raise Refusal(404, "There is no such resource.")
            return self.answer(200, action(body))
        except Refusal as refusal:
            return self.answer(refusal.status, refusal.body)

    def do_GET(self):
        self.handle_one("get")

    def do_POST(self):
        self.handle_one("post")

    def body(self):
        text = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        if self.headers.get("X-Logging-Page") != "1":
            raise Refusal(403, "The request does not come from the page.")
        if self.headers.get("Content-Type") != "application/json":
            raise Refusal(415, "The body has to be application/json.")
        time.sleep(self.phone.slow)
        if self.phone.gone:
            raise ConnectionAbortedError
        return json.loads(text)

    def page(self, path):
        file = PAGES / (path.removeprefix("/logging/") or "index.html")
        if not path.startswith("/logging/") or file.parent != PAGES or not file.is_file():
            return self.answer(404, b"There is nothing.", "text/plain")
        data = file.read_bytes()
        if file.name == "index.html" and self.phone.present:
            with self.phone.lock:
                first = json.dumps(self.phone.activities()).replace("<", "\\u003c")
            data = data.replace(b'id="first">', b'id="first">' + first.encode())
        return self.answer(200, data, TYPES[file.suffix])

    def control(self):
        self.server.control(json.loads(self.rfile.read(int(self.headers["Content-Length"]))))
        self.answer(200, {})

    def get_activities(self, _):
        with self.phone.lock:
            return self.phone.activities()

    def post_levels(self, body):
        wishes = ({name: body["all"] for name in self.phone.levels} if "all" in body
                  else body["levels"])
        with self.phone.lock:
            for name, level in wishes.items():
                if level not in LEVELS:
                    raise Refusal(422, f"There is no level {level}.", "level")
                self.phone.set_level(self.phone.known(name), level)
            return self.after([name for name, level in wishes.items()
                               if self.phone.levels[name] != level])

    def after(self, unchanged):
        return {"ok": not unchanged, "activities": self.phone.activities()["activities"],
                "unchanged": unchanged} | (
                    {"problem": "Not every level was set."} if unchanged else {})

    def post_destinations(self, body):
        to = body["to"]
        phone = self.phone
        with phone.lock:
            names = list(phone.levels) if body["activity"] == "all" else [
                phone.known(body["activity"])]
            if phone.fail:
                raise Refusal(422, phone.fail, "name" if "name" in body else "address")
            bare = body.get("name", "").removesuffix(".log")
            for name in [] if phone.refuse else names:
                phone.places[name] = {
                    "ram": lambda: ("file", f"/var/log/{bare}.log"),
                    "flash": lambda: ("file", f"/log/flash/{bare}.log"),
                    "usertty": lambda: ("usertty", body["name"]),
                    "console": lambda: ("file", "/dev/console"),
                    "udp": lambda: ("udp", f"IP :{body['address']} port({body['port']})"),
                    "tcp": lambda: ("tcp", f"IP :{body['address']} port({body['port']})"),
                    "own": lambda name=name: ("file", own_file(name))}[to]()
            phone.tell_all()
            refused = names if phone.refuse else []
            return {"ok": not refused, "activities": phone.activities()["activities"],
                    "text": f"[REDIRECT] Activity : {names[0]} redirect to : {to}OK",
                    "refused": refused, "lost": phone.lost} | (
                        {"problem": "syslog-ng refused it."} if refused else {})

    def deletable(self):
        files = [{"path": path, "size": self.phone.size(path)} for path in self.phone.files]
        return {"ram": [file for file in files if file["path"].startswith("/var/log/")],
                "flash": [file for file in files if file["path"].startswith("/log/flash/")]}

    def get_logs(self, _):
        with self.phone.lock:
            return self.deletable()

    def post_logs(self, body):
        with self.phone.lock:
            found = self.deletable()
            flash = body["delete"] != "ram"
            removed = found["ram"] + (found["flash"] if flash else [])
            for file in removed:
                self.phone.files.pop(file["path"])
                self.phone.extra.pop(file["path"], None)
            self.phone.tell_all()
            where = "/var/log/ and /log/flash/ directories." if flash else "/var/log/ directory."
            return {"ok": True, "text": f"All logs files removed in {where}", "removed": removed}

    def newest(self, activity, count, grep):
        support, place = self.phone.places[activity]
        if support != "file":
            return {"place": f"{support} {place}", "lines": []}
        stream = Stream({"grep": grep})
        lines = [line for line in self.phone.files.get(place, []) if stream.wants(line)]
        part = {"searched": self.phone.searched} if self.phone.searched else {}
        return {"file": place, "lines": lines[-count:] if count else []} | part

    def get_log(self, activity, query):
        with self.phone.lock:
            return {"activity": self.phone.known(activity)} | self.newest(
                activity, int(query.get("lines", 100)), query.get("grep", ""))

    def get_defence(self, query):
        with self.phone.lock:
            lines = self.phone.files["/log/Defence.log"]
            return {"count": len(lines), "lines": lines[-int(query.get("lines", 20)):]}

    def post_defence(self, body):
        with self.phone.lock:
            lines = self.phone.files["/log/Defence.log"]
            before = len(lines)
            count = min(body["remove"], before)
            del lines[before - count:]
            self.phone.tell_all()
            return {"ok": True, "text": f"[DEFENCE] delete {count} lines OK", "before": before,
                    "after": len(lines), "notice": False}

    def get_archive(self, _):
        return {"size": 123_456}

    def post_archive(self, _):
        if self.phone.fail:
            return {"ok": False, "text": "Error on exit", "problem": self.phone.fail}
        packed = io.BytesIO()
        with self.phone.lock, tarfile.open(fileobj=packed, mode="w:gz") as archive:
            for path, lines in self.phone.files.items():
                text = "".join(line + "\n" for line in lines).encode()
                entry = tarfile.TarInfo(path.lstrip("/"))
                entry.size = len(text)
                archive.addfile(entry, io.BytesIO(text))
        self.phone.archive = packed.getvalue()
        return {"ok": True, "text": "Generate logs successfully", "url": "/all_logs.tar.gz",
                "size": len(self.phone.archive), "files": len(self.phone.files),
                "tries": 2 if self.phone.grown else 1}

    def post_traces(self, body):
        phone = self.phone
        with phone.lock:
            name = phone.known(body["activity"])
            if body.get("stop"):
                if name not in phone.traces:
                    raise Refusal(409, "There is no trace of it.")
                return {"ok": True, "level": phone.end_trace(name)["former"]}
            if name in phone.traces:
                raise Refusal(409, f"{name} is being traced already.")
            phone.traces[name] = {
                "level": body["level"], "former": phone.levels[name], "user": "www-data",
                "until": self.phone.service()["now"] + body["seconds"] * 1000, "own": True}
            phone.set_level(name, body["level"])
            return {"ok": True, "former": phone.traces[name]["former"],
                    "until": phone.traces[name]["until"]}

    def events(self, query):
        if self.phone.full:
            raise Refusal(503, "Too many pages are open on this phone.")
        stream = Stream(query)
        with self.phone.lock:
            self.phone.streams.append(stream)
            stream.put(("service", self.phone.service()))
            if self.phone.present:
                stream.put(("activities", self.phone.activities()))
            if stream.log:
                log = self.newest(self.phone.known(stream.log), stream.lines, stream.grep)
                if self.phone.plain:
                    del log["lines"]
                stream.put(("log", log))
        self.send_response(200)
        self.send_header("Content-Type", "text/event-stream")
        self.send_header("Cache-Control", "no-store")
        self.end_headers()
        self.close_connection = True
        try:
            while True:
                try:
                    event, data = stream.get(timeout=10)
                except queue.Empty:
                    event, data = "beat", {}
                if event is None:
                    return
                self.wfile.write(f"event: {event}\ndata: {json.dumps(data)}\n\n".encode())
                self.wfile.flush()
        except OSError:
            pass  # the page has gone
        finally:
            with self.phone.lock:
                self.phone.streams.remove(stream)


class Server(ThreadingHTTPServer):
    daemon_threads = True

    def __init__(self, port):
        super().__init__(("127.0.0.1", port), Handler)
        self.phone = Phone()

    def handle_error(self, *_):
        pass  # a browser that goes away in the middle

    def control(self, order):
        """Makes happen what is not done with the page."""
        phone = self.phone
        with phone.lock:
            for name in order.keys() & vars(phone).keys():
                setattr(phone, name, order[name])
            if "present" in order:
                phone.tell("service", phone.service())
            if order.get("gone") or order.get("full"):
                phone.tell(None, None)
            if "level" in order:
                phone.set_level(*order["level"])
            for name, line in order.get("lines", []):
                phone.log(name, line)
            if "file" in order:
                phone.files.setdefault(order["file"][0], [])
                phone.extra[order["file"][0]] = order["file"][1]
            if "activity" in order:
                name, destination = order["activity"]
                phone.levels.setdefault(name, "err")
                phone.places[name] = ("file", destination)
                phone.files.setdefault(destination, [])
            if "trace_over" in order:
                phone.end_trace(order["trace_over"])
            phone.tell_all()


def serve(port=0):
    """Serves in a thread of its own; answers the server, whose port is server_port."""
    server = Server(port)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


if __name__ == "__main__":
    SERVER = serve(int(sys.argv[1]) if len(sys.argv) > 1 else 0)
    print(f"http://127.0.0.1:{SERVER.server_port}/logging/", flush=True)
    threading.Event().wait()
