#!/usr/bin/env python3
"""Stand-in for the transcription server in tests.

Answers GET /v1/models on 127.0.0.1 with the model named in SELVAR_ASR_MODEL. A model name
containing "never-ready" never starts listening, like a model that takes too long to load.
"""
import http.server
import json
import os
import signal
import sys


def main() -> None:
    port = int(sys.argv[sys.argv.index("--port") + 1])
    model = os.environ.get("SELVAR_ASR_MODEL", "")
    print(f"stand-in model={model} port={port} cwd={os.getcwd()}", flush=True)
    print("stand-in stderr", file=sys.stderr, flush=True)
    if "never-ready" in model:
        while True:
            signal.pause()

    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self) -> None:
            found = self.path == "/v1/models"
            body = json.dumps({"data": [{"id": model}]}).encode() if found else b"{}"
            self.send_response(200 if found else 404)
            self.send_header("Content-Type", "application/json")
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *args) -> None:
            pass

    http.server.HTTPServer(("127.0.0.1", port), Handler).serve_forever()


if __name__ == "__main__":
    main()
