"""Shared fixtures: a stand-in Whisper backend and a real HTTP server on a free loopback port,
running the server's app in a thread with everything under the test's temporary folder."""

import io
import math
import socket
import sys
import threading
import time
import wave
from pathlib import Path

import httpx
import pytest
import uvicorn

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))

from selvar_asr import connections  # noqa: E402
from selvar_asr.app import create_app  # noqa: E402
from selvar_asr.backends import Segment, Stopped, Transcript  # noqa: E402
from selvar_asr.engine import Engine  # noqa: E402
from selvar_asr.installer import Installer  # noqa: E402
from selvar_asr.store import CTRANSLATE2, DEFAULT_MODEL_ID, MLX, ModelStore  # noqa: E402

SUMMARY: list[str] = []  # measured figures, printed at the end of the run


def pytest_terminal_summary(terminalreporter):
    for line in SUMMARY:
        terminalreporter.write_line(line)


def wait_until(predicate, timeout: float = 10.0) -> None:
    deadline = time.monotonic() + timeout
    while not predicate():
        assert time.monotonic() < deadline, "condition not reached in time"
        time.sleep(0.01)


def wav_bytes(seconds: float, rate: int = 16000, channels: int = 1) -> bytes:
    tone = (int(8000 * math.sin(2 * math.pi * 440 * i / rate)) for i in range(int(seconds * rate)))
    out = io.BytesIO()
    with wave.open(out, "wb") as w:
        w.setnchannels(channels)
        w.setsampwidth(2)
        w.setframerate(rate)
        w.writeframes(b"".join(v.to_bytes(2, "little", signed=True) * channels for v in tone))
    return out.getvalue()


class FakeBackend:
    """Answers with a fixed two-segment transcript; can be held on a gate or made to fail, and
    records its calls and how many ever overlapped."""

    runtime = CTRANSLATE2
    languages = frozenset({"en", "de", "fr"})

    def __init__(self, gate: threading.Event | None = None, fail: Exception | None = None):
        self.gate, self.fail = gate, fail
        self.calls, self.warmed, self.active, self.max_active = [], 0, 0, 0
        self.started = threading.Semaphore(0)

    def warm_up(self) -> None:
        self.warmed += 1

    def transcribe(self, audio, options, stop) -> Transcript:
        self.active += 1  # calls are serialised by the engine, or max_active tells
        self.max_active = max(self.max_active, self.active)
        self.calls.append((audio.size, options))
        self.started.release()
        try:
            while self.gate is not None and not self.gate.wait(0.01):
                if stop.is_set():
                    raise Stopped()
            if self.fail is not None:
                raise self.fail
            return Transcript("hello from the stand-in", options.language or "en",
                              audio.size / 16000, [Segment(0.0, 1.25, "hello from"),
                                                   Segment(1.25, 3661.5, "the stand-in")])
        finally:
            self.active -= 1


class Running:
    def __init__(self, port, engine, backend, store, logs):
        self.port, self.engine, self.backend, self.store, self.logs = (
            port, engine, backend, store, logs)
        self.url = f"http://127.0.0.1:{port}"

    def client(self) -> httpx.Client:
        return httpx.Client(base_url=self.url, timeout=10)

    def wait_ready(self) -> None:
        wait_until(lambda: self.engine.state != "loading")

    def transcribe(self, data: bytes | None = None, **fields) -> httpx.Response:
        files = {"file": ("audio.wav", wav_bytes(1.0) if data is None else data, "audio/wav")}
        with self.client() as client:
            return client.post("/v1/audio/transcriptions", files=files, data=fields)

    def install_state(self, model_id: str) -> dict:
        with self.client() as client:
            return client.get("/v1/install", params={"model": model_id}).json()

    def served(self) -> str | None:
        with self.client() as client:
            reply = client.get("/v1/models")
        return reply.json()["data"][0]["id"] if reply.status_code == 200 else None


def make_model(models: Path, model_id: str, runtime: str = CTRANSLATE2) -> None:
    folder = models / model_id.replace("/", "--")
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "config.json").write_text("{}")
    (folder / ("model.bin" if runtime == CTRANSLATE2 else "weights.npz")).write_bytes(b"w")


@pytest.fixture
def serve(tmp_path):
    """Starts a server; keyword arguments choose what is installed and how it behaves."""
    stops = []

    def start(installed=(DEFAULT_MODEL_ID,), mlx_installed=(), requested=None, backend=None,
              load_gate=None, broken=(), hub="http://127.0.0.1:9", max_waiting=8,
              header_seconds=10.0, install_options=None, **app_options) -> Running:
        models = tmp_path / "models"
        for model_id in installed:
            make_model(models, model_id)
        for model_id in mlx_installed:
            make_model(models, model_id, MLX)
        backend = backend or FakeBackend()

        def loader(model_id, folder, runtime):
            if load_gate is not None:
                load_gate.wait(10)
            if model_id in broken:
                raise RuntimeError("corrupt model file")
            return backend

        sock = socket.socket()
        sock.bind(("127.0.0.1", 0))
        port, logs, store = sock.getsockname()[1], [], ModelStore(models)
        engine = Engine(store, requested, {CTRANSLATE2}, loader=loader, logger=logs.append,
                        max_waiting=max_waiting)
        installer = Installer(store, {CTRANSLATE2}, hub, on_installed=engine.model_installed,
                              logger=logs.append, retry_delay=0, timeout=5,
                              **(install_options or {}))
        app = create_app(engine, installer, port=port, logger=logs.append, **app_options)
        server = uvicorn.Server(connections.config(app, lifespan="on",
                                                   header_seconds=header_seconds))
        thread = threading.Thread(target=server.run, kwargs={"sockets": [sock]}, daemon=True)
        thread.start()
        stops.append((server, thread, [load_gate, backend.gate]))
        wait_until(lambda: server.started)
        return Running(port, engine, backend, store, logs)

    yield start
    for server, thread, gates in stops:
        for gate in filter(None, gates):
            gate.set()
        server.should_exit = True
        thread.join(10)
