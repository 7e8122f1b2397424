#!/usr/bin/env python3
"""Latency of the local transcription server against calling its backend directly.

Run with the server's environment (after ./tools/setup-asr.sh):
    ~/.local/share/selvar/asr/bin/python bench/asr_server_bench.py [--runs 5] [--language en]

For each clip (speech made with espeak-ng), it alternates a direct in-process transcription
(decode + model, as the server does it) with the same file posted to a freshly started
server, and reports both latencies, the server's overhead per request against the target
(5 % or 50 ms, whichever is larger) and the real-time factor of the default model here.
"""

import argparse
import re
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import httpx

TOOLS = Path(__file__).resolve().parents[1] / "tools"
sys.path.insert(0, str(TOOLS))

from selvar_asr import audio  # noqa: E402
from selvar_asr.backends import FasterWhisperBackend, Options  # noqa: E402
from selvar_asr.main import default_models_dir  # noqa: E402
from selvar_asr.store import DEFAULT_MODEL_ID, ModelStore  # noqa: E402

CLIPS = {
    "short": "Please send the quarterly report to the finance team by Friday.",
    "long": "I would like to schedule a meeting for tomorrow afternoon. The weather today is "
            "sunny with a light breeze from the west. Remember to buy milk, eggs and bread on "
            "the way home. We should review the budget before the end of the month.",
}
_LOG = re.compile(r"path=/v1/audio/transcriptions status=200 \S+ "
                  r"inference_seconds=([\d.]+) total_seconds=([\d.]+)")


def speak(text: str, path: Path) -> bytes:
    subprocess.run(["espeak-ng", "-v", "en-us", "-s", "150", "-w", str(path), text], check=True)
    return path.read_bytes()


def free_port() -> int:
    with socket.socket() as sock:
        sock.bind(("127.0.0.1", 0))
        return sock.getsockname()[1]


class Server:
    def __init__(self, models: Path) -> None:
        self.port = free_port()
        self.lines: list[str] = []
        self.process = subprocess.Popen(
            [sys.executable, str(TOOLS / "asr-server.py"), "--port", str(self.port),
             "--models-dir", str(models)],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        threading.Thread(target=self._collect, daemon=True).start()
        self.client = httpx.Client(base_url=f"http://127.0.0.1:{self.port}", timeout=300)
        began = time.monotonic()
        while not self._ready():
            if self.process.poll() is not None or time.monotonic() - began > 300:
                raise SystemExit("the server did not start:\n" + "\n".join(self.lines))
            time.sleep(0.2)
        self.load_seconds = time.monotonic() - began

    def _collect(self) -> None:
        for line in self.process.stdout:
            self.lines.append(line.rstrip())

    def _ready(self) -> bool:
        try:
            return self.client.get("/v1/models").status_code == 200
        except httpx.HTTPError:
            return False

    def transcribe(self, data: bytes, language: str) -> float:
        began = time.perf_counter()
        reply = self.client.post("/v1/audio/transcriptions",
                                 files={"file": ("audio.wav", data, "audio/wav")},
                                 data={"language": language} if language else {})
        elapsed = time.perf_counter() - began
        reply.raise_for_status()
        return elapsed

    def logged(self) -> list[tuple[float, float]]:
        """(inference, total) seconds of each transcription, as the server logged them."""
        time.sleep(0.2)  # the request line trails the reply
        return [(float(m[1]), float(m[2])) for m in map(_LOG.search, self.lines) if m]

    def stop(self) -> None:
        self.client.close()
        self.process.terminate()
        self.process.wait(timeout=30)


def direct(backend, data: bytes, language: str) -> tuple[float, float]:
    """Seconds for decode plus inference, and for the decode alone."""
    began = time.perf_counter()
    samples = audio.decode(data)
    decoded = time.perf_counter()
    backend.transcribe(samples, Options(language=language or None), threading.Event())
    return time.perf_counter() - began, decoded - began


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--models-dir", type=Path, default=default_models_dir())
    parser.add_argument("--language", default="en",
                        help="language sent with each clip; empty for automatic detection")
    args = parser.parse_args()
    store = ModelStore(args.models_dir)
    if store.format_of(DEFAULT_MODEL_ID) is None:
        raise SystemExit(f"no default model in {args.models_dir}; run ./tools/setup-asr.sh")

    backend = FasterWhisperBackend(store.folder(DEFAULT_MODEL_ID))
    backend.warm_up()
    server = Server(args.models_dir)
    print(f"server ready after {server.load_seconds:.1f}s (load and warm-up)")
    try:
        with tempfile.TemporaryDirectory() as scratch:
            for name, text in CLIPS.items():
                data = speak(text, Path(scratch) / f"{name}.wav")
                report(name, data, backend, server, args.runs, args.language)
    finally:
        server.stop()
    return 0


def report(name: str, data: bytes, backend, server: Server, runs: int,
           language: str) -> None:
    seconds = audio.decode(data).size / audio.SAMPLE_RATE
    before = len(server.logged())
    direct_runs, server_times = [], []
    for _ in range(runs):  # alternated, so both see the same machine load
        direct_runs.append(direct(backend, data, language))
        server_times.append(server.transcribe(data, language))
    logged = server.logged()[before:]
    direct_times = [total for total, _ in direct_runs]
    d, s = statistics.median(direct_times), statistics.median(server_times)
    decode = statistics.median(decoded for _, decoded in direct_runs)
    # What the server adds to the same work, per request: its wall time outside inference
    # (upload, multipart, queueing, reply) less the decode that the direct path does too.
    # Unlike a difference of medians it does not drown in the run-to-run spread of inference.
    added = statistics.median(w - inference for w, (inference, _) in zip(server_times, logged))
    overhead = added - decode
    target = max(0.05 * d, 0.050)
    print(f"{name}: audio {seconds:.2f}s, language {language or 'automatic'}, {runs} runs")
    print(f"  direct   median {d * 1000:8.1f} ms  min {min(direct_times) * 1000:8.1f} ms "
          f"(decode {decode * 1000:.1f} ms)")
    print(f"  server   median {s * 1000:8.1f} ms  min {min(server_times) * 1000:8.1f} ms "
          f"(first request {server_times[0] * 1000:.1f} ms)")
    print(f"  overhead {overhead * 1000:8.1f} ms per request = {overhead / d:.1%} of direct; "
          f"target under {target * 1000:.0f} ms: {'met' if overhead < target else 'NOT met'}")
    print(f"  difference of medians {(s - d) * 1000:+.1f} ms, of minimums "
          f"{(min(server_times) - min(direct_times)) * 1000:+.1f} ms (inference spread "
          f"{(max(direct_times) - min(direct_times)) * 1000:.0f} ms)")
    print(f"  real-time factor of the default model: {d / seconds:.3f} (median), "
          f"{min(direct_times) / seconds:.3f} (best)")


if __name__ == "__main__":
    sys.exit(main())
