#!/usr/bin/python3
"""A local Ondel cloud for the sign-in test, run as stt_server.py is: the account API (the emailed
code is always CODE), shares with links on this server, and, to the session only, the models,
whose seconds of audio count as minutes used. The log gives each request's path and whether it
carried the session; never a token."""
import http.server
import json
import os
import secrets
import sys
import threading

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import stt_server  # noqa: E402

CODE = "424242"
QUOTA_MINUTES = 60

state = {"sessions": {}, "seconds": 0.0, "shares": []}
lock = threading.Lock()


def log(entry: dict):
    with lock, open(sys.argv[1], "a") as f:
        f.write(json.dumps(entry) + "\n")


class Handler(stt_server.Handler):
    def bearer_email(self):
        auth = self.headers.get("Authorization", "")
        token = auth[len("Bearer "):] if auth.startswith("Bearer ") else ""
        with lock:
            return state["sessions"].get(token)

    def refuse(self):
        self.rfile.read(int(self.headers.get("Content-Length", "0")))  # the connection stays usable
        self.answer(401, {"error": {"code": "unauthorized", "message": "Please sign in again."}})

    def body(self) -> dict:
        length = int(self.headers.get("Content-Length", "0"))
        return json.loads(self.rfile.read(length) or b"{}")

    def do_GET(self):
        email = self.bearer_email()
        log({"method": "GET", "path": self.path, "session": email is not None})
        if self.path == "/v1/me" and email is None:
            self.refuse()
        elif self.path == "/v1/me":
            with lock:
                used = state["seconds"] / 60
            self.answer(200, {"userId": "user-1", "email": email, "emailOptIn": False,
                              "usage": {"minutesUsed": used, "quotaMinutes": QUOTA_MINUTES, "resetsAt": 0},
                              "config": {"quotaMinutes": QUOTA_MINUTES, "analyticsEnabled": False,
                                         "analyticsFree": False}})
        else:
            self.answer(404, {"error": {"code": "not_found", "message": "Not found"}})

    def do_POST(self):
        email = self.bearer_email()
        path = self.path
        log({"method": "POST", "path": path, "session": email is not None})
        models = path.endswith("/v1/audio/transcriptions") or path.endswith("/v1/chat/completions")
        if path in ("/v1/auth/request", "/v1/auth/signout"):
            self.body()
            self.answer(200, {})
        elif (path == "/v1/shares" or models) and email is None:
            self.refuse()
        elif path == "/v1/auth/verify":
            request = self.body()
            if request.get("code") != CODE or "@" not in request.get("email", ""):
                self.answer(400, {"error": {"code": "invalid_code", "message": "That code isn't right."}})
                return
            token = "session-" + secrets.token_hex(16)
            with lock:
                state["sessions"][token] = request["email"]
            self.answer(200, {"sessionToken": token, "userId": "user-1", "email": request["email"]})
        elif path == "/v1/shares":
            request = self.body()
            share = "share-%d" % (len(state["shares"]) + 1)
            with lock:
                state["shares"].append(request)
            log({"share": share, "title": request.get("title", ""), "summary": bool(request.get("summary"))})
            host, port = self.server.server_address[:2]
            self.answer(200, {"id": share, "url": "http://%s:%d/s/%s" % (host, port, share)})
        elif models:
            if path.endswith("/v1/audio/transcriptions"):
                self.count_audio()
            super().do_POST()
        else:
            self.answer(404, {"error": {"code": "not_found", "message": "Not found"}})

    def count_audio(self):
        # The upload's WAV length, read from the form's size: near enough for a monthly count.
        length = int(self.headers.get("Content-Length", "0"))
        with lock:
            state["seconds"] += max(0.0, (length - 44) / 2 / 24000)


if __name__ == "__main__":
    stt_server.serve(Handler)
