#!/usr/bin/python3
"""A local OpenAI-compatible model server on 127.0.0.1, on a free port printed first: speech to
text by PocketSphinx, canned chat answers (streamed for questions). Requests are logged, without
the audio, to the file given as the first argument."""
import http.server
import json
import os
import subprocess
import sys
import tempfile
from email.parser import BytesParser
from email.policy import HTTP

MODEL = "/usr/share/pocketsphinx/model/en-us"


def parse_multipart(body: bytes, content_type: str) -> dict:
    form = BytesParser(policy=HTTP).parsebytes(b"Content-Type: " + content_type.encode() + b"\r\n\r\n" + body)
    if not form.is_multipart():
        raise ValueError("no boundary")
    return {part.get_param("name", header="content-disposition"): part.get_payload(decode=True) for part in form.iter_parts()}


def recognise(wav: bytes) -> str:
    with tempfile.TemporaryDirectory() as folder:
        source = os.path.join(folder, "in.wav")
        sixteen = os.path.join(folder, "16k.wav")
        with open(source, "wb") as f:
            f.write(wav)
        subprocess.run(["sox", source, "-r", "16000", "-c", "1", "-b", "16", sixteen], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        result = subprocess.run(
            ["pocketsphinx_continuous", "-infile", sixteen, "-hmm", MODEL + "/en-us",
             "-lm", MODEL + "/en-us.lm.bin", "-dict", MODEL + "/cmudict-en-us.dict"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        return " ".join(result.stdout.decode("utf-8", "replace").split())


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def answer(self, status: int, payload: dict):
        body = json.dumps(payload).encode()
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def chat(self, body: bytes):
        request = json.loads(body or b"{}")
        messages = request.get("messages", [])
        system = next((m.get("content", "") for m in messages if m.get("role") == "system"), "")
        user = messages[-1].get("content", "") if messages else ""
        with open(sys.argv[1], "a") as log:
            log.write(json.dumps({"chat": True, "stream": bool(request.get("stream")), "model": request.get("model")}) + "\n")
        if request.get("stream"):
            words = ["The", " answer", " is", " in", " the", " transcript."]
            self.send_response(200)
            self.send_header("Content-Type", "text/event-stream")
            self.send_header("Connection", "close")
            self.end_headers()
            self.wfile.write(b": keep-alive\n\n")
            for word in words:
                chunk = {"choices": [{"delta": {"content": word}}]}
                self.wfile.write(b"data: " + json.dumps(chunk).encode() + b"\n\n")
                self.wfile.flush()
            self.wfile.write(b"data: [DONE]\n\n")
            self.close_connection = True
            return
        if "meeting title" in system:
            content = "Project Review Planning"
        else:
            first = " ".join(user.split()[:6])
            content = "## Summary\n- The meeting began with: " + first + "\n\n## Action Items\n- [ ] Send the numbers"
        self.answer(200, {"choices": [{"message": {"role": "assistant", "content": content}}]})

    def do_POST(self):
        length = int(self.headers.get("Content-Length", "0"))
        body = self.rfile.read(length)
        if self.path.endswith("/v1/chat/completions"):
            self.chat(body)
            return
        if not self.path.endswith("/v1/audio/transcriptions"):
            self.answer(404, {"error": {"message": "not found"}})
            return
        try:
            fields = parse_multipart(body, self.headers.get("Content-Type", ""))
            wav = fields["file"]
        except (ValueError, KeyError) as error:
            self.answer(400, {"error": {"message": "bad form: %s" % error}})
            return
        duration = max(0.0, (len(wav) - 44) / 2 / 24000)
        text = recognise(wav)
        with open(sys.argv[1], "a") as log:
            log.write(json.dumps({"auth": self.headers.get("Authorization", "") != "",
                                  "recording": self.headers.get("X-Recording-Id", ""),
                                  "fields": sorted(fields), "seconds": duration, "text": text}) + "\n")
        segments = []
        if text:
            segments.append({"id": 0, "start": 0.0, "end": duration, "text": " " + text,
                             "avg_logprob": -0.25, "no_speech_prob": 0.02, "compression_ratio": 1.1})
        self.answer(200, {"task": "transcribe", "language": "english", "duration": duration,
                          "text": text, "segments": segments})


def serve(handler):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    print(server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    serve(Handler)
