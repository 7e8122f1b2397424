"""The HTTP contract against a stand-in backend: listing, transcription replies and errors,
and serialised inference with probes still answering. What hostile clients try is in
test_attacks.py."""

import concurrent.futures
import threading

import pytest

from conftest import FakeBackend, wait_until, wav_bytes
from selvar_asr.store import DEFAULT_MODEL_ID

ERROR_KEYS = {"message", "type", "param", "code"}


@pytest.mark.parametrize("installed, mlx, requested, broken, expected", [
    ((DEFAULT_MODEL_ID,), (), None, (), DEFAULT_MODEL_ID),
    ((DEFAULT_MODEL_ID, "org/big"), (), "org/big", (), "org/big"),
    ((DEFAULT_MODEL_ID,), (), "mlx-community/whisper-large-v3-turbo", (), DEFAULT_MODEL_ID),
    (("org/other",), (), "org/big", (), "org/other"),
    ((DEFAULT_MODEL_ID,), ("org/mlx",), "org/mlx", (), DEFAULT_MODEL_ID),  # no MLX here
    ((DEFAULT_MODEL_ID, "org/big"), (), "org/big", ("org/big",), DEFAULT_MODEL_ID),
    ((DEFAULT_MODEL_ID, "org/big"), (), "../org/big", (), DEFAULT_MODEL_ID),
    ((), (), "org/big", (), None),
])
def test_served_model_is_the_one_actually_loaded(serve, installed, mlx, requested, broken,
                                                 expected):
    running = serve(installed=installed, mlx_installed=mlx, requested=requested, broken=broken)
    running.wait_ready()
    assert running.served() == expected
    if expected is None:
        with running.client() as client:
            assert "setup-asr.sh" in client.get("/v1/models").json()["error"]["message"]


def test_loading_answers_503_then_lists_the_warmed_model(serve):
    gate = threading.Event()
    running = serve(load_gate=gate)
    with running.client() as client:
        loading = client.get("/v1/models")
        upload = client.post("/v1/audio/transcriptions", files={"file": ("a.wav", b"x")})
        install = client.get("/v1/install", params={"model": DEFAULT_MODEL_ID})
    assert (loading.status_code, upload.status_code) == (503, 503)
    assert loading.json()["error"]["code"] == "model_not_ready"
    assert install.json()["state"] == "ready"
    gate.set()
    running.wait_ready()
    with running.client() as client:
        assert client.get("/v1/models").json() == {"object": "list", "data": [{
            "id": DEFAULT_MODEL_ID, "object": "model", "created": 0, "owned_by": "selvar",
            "runtime": "ctranslate2"}], "sessions": {
            "path": "/v1/sessions", "version": 1, "sample_rate": 16000, "encoding": "s16le",
            "max_chunk_bytes": 1048576}}
    assert running.backend.warmed == 1


@pytest.mark.parametrize("response_format, media_type, expected", [
    ("json", "application/json", '{"text":"hello from the stand-in"}'),
    ("text", "text/plain", "hello from the stand-in\n"),
    ("srt", "text/plain", "1\n00:00:00,000 --> 00:00:01,250\nhello from\n\n"
                          "2\n00:00:01,250 --> 01:01:01,500\nthe stand-in\n"),
    ("vtt", "text/vtt", "WEBVTT\n\n00:00:00.000 --> 00:00:01.250\nhello from\n\n"
                        "00:00:01.250 --> 01:01:01.500\nthe stand-in\n"),
])
def test_response_formats(serve, response_format, media_type, expected):
    running = serve()
    running.wait_ready()
    reply = running.transcribe(response_format=response_format)
    assert reply.headers["content-type"].startswith(media_type)
    assert (reply.status_code, reply.text) == (200, expected)


def test_verbose_json_carries_language_duration_and_segments(serve):
    running = serve()
    running.wait_ready()
    body = running.transcribe(wav_bytes(2.0), response_format="verbose_json",
                              language="DE").json()
    assert (body["language"], body["duration"], body["text"]) == (
        "de", 2.0, "hello from the stand-in")
    assert [(s["id"], s["start"], s["end"]) for s in body["segments"]] == [
        (0, 0.0, 1.25), (1, 1.25, 3661.5)]


@pytest.mark.parametrize("fields, expected", [
    ({"language": "fr", "prompt": "Selvar, Kubernetes", "temperature": "0.4",
      "model": "whisper-1"}, ("fr", "Selvar, Kubernetes", 0.4)),
    ({"language": "en-US"}, ("en", None, 0.0)),
    ({"language": "fr_FR", "temperature": "1"}, ("fr", None, 1.0)),
    ({"language": "de-Latn-CH", "prompt": ""}, ("de", None, 0.0)),
    ({"language": "auto"}, (None, None, 0.0)),
    ({}, (None, None, 0.0)),
])
def test_fields_reach_the_backend(serve, fields, expected):
    running = serve()
    running.wait_ready()
    assert running.transcribe(**fields).status_code == 200
    options = running.backend.calls[-1][1]
    assert (options.language, options.prompt, options.temperature) == expected


@pytest.mark.parametrize("rate, channels, seconds", [
    (16000, 1, 1.0), (8000, 1, 2.0), (22050, 1, 1.5), (44100, 2, 1.0), (48000, 2, 0.5),
    (16000, 1, 0.0)])
def test_wav_of_any_rate_reaches_the_model_as_16k_mono(serve, rate, channels, seconds):
    running = serve()
    running.wait_ready()
    reply = running.transcribe(wav_bytes(seconds, rate, channels))
    assert reply.status_code == 200
    if seconds == 0:  # nothing to hear: empty text, and the model is not bothered
        assert (reply.json(), running.backend.calls) == ({"text": ""}, [])
    else:
        assert abs(running.backend.calls[-1][0] - seconds * 16000) <= 16


def upload(**extra):
    return {"files": {"file": ("a.wav", wav_bytes(0.2))}, **extra}


@pytest.mark.parametrize("method, path, options, status, param", [
    ("POST", "/v1/audio/transcriptions", {"data": {"model": "whisper-1"}}, 400, "file"),
    ("POST", "/v1/audio/transcriptions", {"data": {"file": "not a file"}}, 400, "file"),
    ("POST", "/v1/audio/transcriptions", {"json": {"file": "x"}}, 400, "file"),
    ("POST", "/v1/audio/transcriptions", upload(data={"response_format": "xml"}), 400,
     "response_format"),
    ("POST", "/v1/audio/transcriptions", upload(data={"temperature": "warm"}), 400,
     "temperature"),
    ("POST", "/v1/audio/transcriptions", upload(data={"temperature": "1.5"}), 400,
     "temperature"),
    ("POST", "/v1/audio/transcriptions", upload(data={"language": "english"}), 400,
     "language"),
    ("POST", "/v1/audio/transcriptions", upload(data={"language": "xx"}), 400, "language"),
    ("POST", "/v1/audio/transcriptions", upload(data={"language": "en/../x"}), 400,
     "language"),
    ("POST", "/v1/audio/transcriptions",
     {"content": b"--x\r\nbroken", "headers": {"content-type": "multipart/form-data"}},
     400, None),
    ("POST", "/v1/audio/transcriptions", {"files": {"file": ("a.wav", b"RIFF\0\0nonsense")}},
     422, "file"),
    ("POST", "/v1/audio/transcriptions", {"files": {"file": ("a.wav", b"")}}, 422, "file"),
    ("GET", "/v1/chat/completions", {}, 404, None),
    ("GET", "/v1/audio/transcriptions", {}, 405, None),
])
def test_bad_requests_get_the_hosted_error_shape(serve, method, path, options, status, param):
    running = serve()
    running.wait_ready()
    with running.client() as client:
        reply = client.request(method, path, **options)
    assert reply.status_code == status
    error = reply.json()["error"]
    assert set(error) == ERROR_KEYS and error["message"] and error["param"] == param
    assert error["type"] == "invalid_request_error"
    assert running.backend.calls == []


def test_failed_inference_is_a_500_and_the_server_carries_on(serve):
    running = serve(backend=FakeBackend(fail=RuntimeError("decoder exploded")))
    running.wait_ready()
    reply = running.transcribe()
    assert (reply.status_code, reply.json()["error"]["code"]) == (500, "inference_failed")
    running.backend.fail = None
    assert running.transcribe().status_code == 200


def test_inference_is_serialised_while_probes_answer(serve):
    gate = threading.Event()
    running = serve(backend=FakeBackend(gate=gate))
    running.wait_ready()
    with concurrent.futures.ThreadPoolExecutor(3) as pool:
        uploads = [pool.submit(running.transcribe) for _ in range(3)]
        assert running.backend.started.acquire(timeout=10)
        with running.client() as client:
            assert client.get("/v1/models").status_code == 200
            assert client.get("/v1/install", params={"model": "a/b"}).json()["state"] == "missing"
        gate.set()
        assert [u.result().status_code for u in uploads] == [200, 200, 200]
    assert running.backend.max_active == 1


def test_too_many_waiting_transcriptions_are_turned_away(serve):
    gate = threading.Event()
    running = serve(backend=FakeBackend(gate=gate), max_waiting=1)
    running.wait_ready()
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        first = pool.submit(running.transcribe)
        assert running.backend.started.acquire(timeout=10)
        second = running.transcribe()
        gate.set()
        assert first.result().status_code == 200
    assert (second.status_code, second.json()["error"]["code"]) == (503, "server_busy")


def test_request_time_bound_stops_a_running_transcription(serve):
    gate = threading.Event()
    running = serve(backend=FakeBackend(gate=gate), request_seconds=0.3)
    running.wait_ready()
    reply = running.transcribe()
    assert (reply.status_code, reply.json()["error"]["code"]) == (504, "timeout")
    wait_until(lambda: running.backend.active == 0)  # the model was released, not leaked
    gate.set()
    assert running.transcribe().status_code == 200


def test_one_log_line_per_request(serve):
    running = serve()
    running.wait_ready()
    running.transcribe(wav_bytes(2.0))
    with running.client() as client:
        client.get("/v1/models", headers={"Origin": "http://x"})
    # Each line is written once its reply is out, so it may trail the reply.
    wait_until(lambda: sum(line.startswith("request ") for line in running.logs) == 2)
    posted, probed = [line for line in running.logs if line.startswith("request ")]
    assert posted.startswith("request method=POST path=/v1/audio/transcriptions status=200 "
                             "audio_seconds=2.000 inference_seconds=0.")
    assert probed.startswith("request method=GET path=/v1/models status=403 "
                             "audio_seconds=- inference_seconds=-")
