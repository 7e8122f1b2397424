"""What a hostile or broken client tries against the server, kept as a standing suite: web
pages (Host, Origin), oversized and trickled uploads, uploads that name other files, audio
that decodes into gigabytes, clients that leave their jobs behind, idle sockets, and model
hubs that lie."""

import concurrent.futures
import io
import json
import logging
import re
import socket
import struct
import threading
import time
import tracemalloc
import zlib
from pathlib import Path

import av
import numpy as np
import pytest

from conftest import FakeBackend, wait_until, wav_bytes
from selvar_asr import app as app_module
from selvar_asr import audio, connections
from test_install import CT2, REPOS, finished, hub, left_behind, post_install  # noqa: F401

ROOT = Path(__file__).resolve().parents[2]


def raw_post(port: int, framing: str, body_chunks=(), close_after_send=False) -> bytes:
    """Posts by hand (to declare lengths httpx would correct) and reads the reply, tolerating
    the server hanging up on a body it refused to read."""
    with socket.create_connection(("127.0.0.1", port), timeout=10) as sock:
        sock.sendall(f"POST /v1/audio/transcriptions HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\n"
                     "Content-Type: multipart/form-data; boundary=b\r\nConnection: close\r\n"
                     f"{framing}\r\n\r\n".encode())
        try:
            for chunk in body_chunks:
                sock.sendall(chunk)
        except OSError:
            pass
        if close_after_send:
            return b""
        reply = b""
        try:
            while data := sock.recv(65536):
                reply += data
        except ConnectionResetError:
            pass
        return reply


def multipart(data: bytes, filename: str = "a.wav") -> bytes:
    return (b'--b\r\nContent-Disposition: form-data; name="file"; filename="'
            + filename.encode() + b'"\r\n\r\n' + data + b"\r\n--b--\r\n")


def post_and_leave(port: int, data: bytes) -> None:
    body = multipart(data)
    raw_post(port, f"Content-Length: {len(body)}", [body], close_after_send=True)


def requests_logged(running, status: str) -> int:
    return sum(f" status={status} " in line for line in running.logs
               if line.startswith("request "))


# Web pages and upload size.

@pytest.mark.parametrize("headers, allowed", [
    ({}, True), ({"Host": "localhost:{port}"}, True), ({"Host": "LOCALHOST:{port}"}, True),
    ({"Host": "[::1]:{port}"}, True), ({"Host": "evil.example:{port}"}, False),
    ({"Host": "localhost.evil.example:{port}"}, False), ({"Host": "127.0.0.1:1"}, False),
    ({"Host": "127.0.0.1"}, False), ({"Origin": "http://localhost:{port}"}, False),
    ({"Origin": "null"}, False),
])
def test_only_loopback_hosts_and_no_browser_origins(serve, headers, allowed):
    running = serve()
    running.wait_ready()
    headers = {k: v.format(port=running.port) for k, v in headers.items()}
    with running.client() as client:
        replies = [client.get("/v1/models", headers=headers),
                   client.post("/v1/audio/transcriptions", headers=headers,
                               files={"file": ("a.wav", wav_bytes(0.2))}),
                   client.options("/v1/audio/transcriptions", headers=headers)]
    expected = 200 if allowed else 403
    assert [r.status_code for r in replies[:2]] == [expected, expected]
    assert not [h for r in replies for h in r.headers if h.startswith("access-control-")]
    assert len(running.backend.calls) == (1 if allowed else 0)




@pytest.mark.parametrize("streamed", [False, True])
def test_oversize_uploads_are_refused(serve, streamed):
    running = serve(max_upload=64 * 1024)
    running.wait_ready()
    if streamed:  # no declared length: cut off while reading
        part = (b'--b\r\nContent-Disposition: form-data; name="file"; filename="a.wav"\r\n\r\n'
                + wav_bytes(4.0))
        chunks = [b"%x\r\n%s\r\n" % (len(part[i:i + 8192]), part[i:i + 8192])
                  for i in range(0, len(part), 8192)] + [b"0\r\n\r\n"]
        reply = raw_post(running.port, "Transfer-Encoding: chunked", chunks)
    else:  # refused on the declared length alone, before any of the body is read
        reply = raw_post(running.port, f"Content-Length: {64 * 1024 + 1}")
    assert reply.startswith(b"HTTP/1.1 413") and b'"code":"upload_too_large"' in reply
    assert running.backend.calls == []
    exact = wav_bytes(1.0)
    assert serve(max_upload=len(exact) + 400).transcribe(exact).status_code == 200


# Uploads that are not audio containers, and what they might name.


class Listener:
    """A loopback port that notes whether anything connected to it."""

    def __init__(self):
        self.sock = socket.socket()
        self.sock.bind(("127.0.0.1", 0))
        self.sock.listen(8)
        self.sock.settimeout(0.2)
        self.url = f"http://127.0.0.1:{self.sock.getsockname()[1]}"

    def contacted(self) -> bool:
        try:
            self.sock.accept()[0].close()
            return True
        except OSError:
            return False


def png() -> bytes:
    def chunk(kind: bytes, data: bytes) -> bytes:
        return (struct.pack(">I", len(data)) + kind + data
                + struct.pack(">I", zlib.crc32(kind + data)))
    header = struct.pack(">IIBBBBB", 1, 1, 8, 0, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
            + chunk(b"IDAT", zlib.compress(b"\0\0")) + chunk(b"IEND", b""))


def bmp() -> bytes:
    pixels = b"\0\0\0\0"
    return (b"BM" + struct.pack("<IHHI", 54 + len(pixels), 0, 0, 54)
            + struct.pack("<IiiHHIIiiII", 40, 1, 1, 1, 24, 0, len(pixels), 0, 0, 0, 0) + pixels)


REFUSED = {
    "concat, relative": "ffconcat version 1.0\nfile victim.wav\n",
    "concat, file url": "ffconcat version 1.0\nfile 'file:{victim}'\n",
    "concat, http url": "ffconcat version 1.0\nfile '{url}/a.wav'\n",
    "hls, file url": "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\nfile://{victim}\n"
                     "#EXT-X-ENDLIST\n",
    "hls, http url": "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\n{url}/a.wav\n"
                     "#EXT-X-ENDLIST\n",
    "hls, master": "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n{url}/list.m3u8\n",
    "dash": '<?xml version="1.0"?><MPD xmlns="urn:mpeg:dash:schema:mpd:2011" '
            'type="static" mediaPresentationDuration="PT1S"><Period><AdaptationSet>'
            '<Representation id="a" bandwidth="1" mimeType="audio/wav"><BaseURL>{url}/a.wav'
            '</BaseURL></Representation></AdaptationSet></Period></MPD>',
    "srt subtitles": "1\n00:00:00,000 --> 00:00:01,000\nhello\n\n",
    "webvtt subtitles": "WEBVTT\n\n00:00.000 --> 00:01.000\nhello\n",
    "ass subtitles": "[Script Info]\nScriptType: v4.00+\n\n[Events]\nFormat: Layer, Start, "
                     "End, Style, Text\nDialogue: 0,0:00:00.00,0:00:01.00,Default,hello\n",
    "png image": png,
    "bmp image": bmp,
    "jpeg image": lambda: b"\xff\xd8\xff\xe0\x00\x10JFIF\x00\x01\x01\x00\x00\x01\x00\x01"
                          b"\x00\x00\xff\xd9",
}


@pytest.mark.parametrize("kind", REFUSED)
def test_only_audio_containers_are_opened(serve, tmp_path, monkeypatch, kind):
    victim = tmp_path / "victim.wav"
    victim.write_bytes(wav_bytes(1.0))
    monkeypatch.chdir(tmp_path)  # where a relative name would be looked up
    listener = Listener()
    upload = REFUSED[kind]
    upload = upload() if callable(upload) else upload.format(victim=victim,
                                                             url=listener.url).encode()
    running = serve()
    running.wait_ready()
    reply = running.transcribe(upload)
    assert reply.status_code == 422, reply.text
    assert reply.json()["error"]["code"] == "invalid_audio"
    assert running.backend.calls == []
    assert not listener.contacted()


def encoded(container: str, codec: str, rate: int = 16000) -> bytes:
    out = io.BytesIO()
    with av.open(out, "w", format=container) as target:
        stream = target.add_stream(codec, rate=rate, layout="mono")
        tone = (np.sin(np.arange(rate) * 0.1) * 8000).astype(np.int16).reshape(1, -1)
        frame = av.AudioFrame.from_ndarray(tone, format="s16", layout="mono")
        frame.sample_rate = rate
        for resampled in av.AudioResampler(format=stream.format.name, layout="mono",
                                           rate=rate).resample(frame):
            for packet in stream.encode(resampled):
                target.mux(packet)
        for packet in stream.encode(None):
            target.mux(packet)
    return out.getvalue()


@pytest.mark.parametrize("container, codec", [
    ("flac", "flac"), ("mp3", "libmp3lame"), ("ogg", "libvorbis"), ("ogg", "libopus"),
    ("ipod", "aac"), ("mp4", "aac"), ("adts", "aac"), ("webm", "libopus"), ("aiff", "pcm_s16be"),
    ("caf", "pcm_s16le"), ("w64", "pcm_s16le")])
def test_audio_containers_in_common_use_are_accepted(container, codec):
    try:
        data = encoded(container, codec, 48000 if codec == "libopus" else 16000)
    except (av.FFmpegError, ValueError) as error:
        pytest.skip(f"this FFmpeg cannot write {container}/{codec}: {error}")
    assert abs(audio.decode(data).size - 16000) < 2000


# Audio that decodes into far more than it weighs.


def wav_claiming(rate: int, samples: int) -> bytes:
    data = b"\1\0" * samples
    return (b"RIFF" + struct.pack("<I", 36 + len(data)) + b"WAVEfmt "
            + struct.pack("<IHHIIHH", 16, 1, 1, rate, rate * 2, 2, 16)
            + b"data" + struct.pack("<I", len(data)) + data)


@pytest.mark.parametrize("upload, header_tells, error", [
    (wav_claiming(1, 7000), True, audio.AudioError),  # 1 Hz: 14 KB would decode to 433 MB
    (wav_claiming(8000, 8000 * 40), True, audio.AudioTooLong),
    (wav_claiming(8000, 8000 * 40), False, audio.AudioTooLong),  # a stream without length
])
def test_decoding_is_bounded_before_and_while_it_runs(monkeypatch, upload, header_tells,
                                                      error):
    monkeypatch.setattr(audio, "MAX_SECONDS", 30)
    if not header_tells:
        monkeypatch.setattr(audio, "_check_declared", lambda container, stream: None)
    tracemalloc.start()
    try:
        with pytest.raises(error):
            audio.decode(upload)
        peak = tracemalloc.get_traced_memory()[1]
    finally:
        tracemalloc.stop()
    assert peak < 8 * 2**20


def test_a_full_queue_turns_uploads_away_before_decoding_them(serve, monkeypatch):
    decoded = []
    real_decode = audio.decode
    monkeypatch.setattr(audio, "decode", lambda data: decoded.append(1) or real_decode(data))
    gate = threading.Event()
    running = serve(backend=FakeBackend(gate=gate), max_waiting=1)
    running.wait_ready()
    first = threading.Thread(target=running.transcribe)
    first.start()
    assert running.backend.started.acquire(timeout=10)
    reply = running.transcribe(wav_claiming(1, 7000))
    gate.set()
    first.join(10)
    assert (reply.status_code, reply.json()["error"]["code"]) == (503, "server_busy")
    assert decoded == [1]  # only the first upload


# Clients that leave.


def test_jobs_of_departed_clients_are_dropped_and_logged_as_such(serve):
    gate = threading.Event()
    running = serve(backend=FakeBackend(gate=gate))
    running.wait_ready()
    holder = threading.Thread(target=running.transcribe)
    holder.start()
    assert running.backend.started.acquire(timeout=10)
    for _ in range(7):
        post_and_leave(running.port, wav_bytes(1.0))
    wait_until(lambda: requests_logged(running, "departed") == 7)
    gate.set()
    holder.join(10)
    assert running.transcribe().status_code == 200
    assert len(running.backend.calls) == 2  # the holder and the fresh one
    # A request's line is written after its reply has gone, so the count may trail the reply.
    wait_until(lambda: requests_logged(running, "200") == 2)
    assert not [line for line in running.logs if "internal error" in line]


def test_a_running_job_stops_when_its_client_leaves(serve):
    gate = threading.Event()
    running = serve(backend=FakeBackend(gate=gate))
    running.wait_ready()
    body = multipart(wav_bytes(1.0))
    with socket.create_connection(("127.0.0.1", running.port)) as sock:
        sock.sendall(f"POST /v1/audio/transcriptions HTTP/1.1\r\nHost: 127.0.0.1:"
                     f"{running.port}\r\nContent-Type: multipart/form-data; boundary=b\r\n"
                     f"Content-Length: {len(body)}\r\n\r\n".encode() + body)
        assert running.backend.started.acquire(timeout=10)
    wait_until(lambda: running.backend.active == 0)  # stopped with the gate still closed
    wait_until(lambda: requests_logged(running, "departed") == 1)


def test_a_client_leaving_mid_upload_is_no_server_error(serve):
    running = serve()
    running.wait_ready()
    body = multipart(wav_bytes(1.0))
    raw_post(running.port, f"Content-Length: {len(body)}", [body[:len(body) // 2]],
             close_after_send=True)
    wait_until(lambda: requests_logged(running, "departed") == 1)
    assert not [line for line in running.logs if "internal error" in line or "500" in line]


def test_server_gives_up_when_the_app_does():
    header = (ROOT / "src/servers/TranscriptionClient.h").read_text()
    app_limit = float(re.search(r"kDictationTimeout = ([\d.]+)", header).group(1))
    assert app_module.REQUEST_SECONDS == app_limit


# Slow and idle clients.


def closed_by_server(sock: socket.socket, within: float, trickle: bytes = b"") -> bool:
    """Whether the server hangs up within the time, while the client sends one byte of
    trickle every 50 ms."""
    sock.settimeout(0.05)
    deadline = time.monotonic() + within
    for byte in trickle or b"\0" * 10_000:
        if time.monotonic() > deadline:
            return False
        try:
            if trickle:
                sock.sendall(bytes([byte]))
            data = sock.recv(65536)
            if data == b"" or data.startswith(b"HTTP/1.1 408"):
                return True
        except socket.timeout:
            continue
        except OSError:
            return True
    return False


def test_trickled_headers_and_idle_sockets_are_closed(serve):
    running = serve(header_seconds=0.5)
    running.wait_ready()
    idle = [socket.create_connection(("127.0.0.1", running.port)) for _ in range(50)]
    trickler = socket.create_connection(("127.0.0.1", running.port))
    headers = (f"POST /v1/audio/transcriptions HTTP/1.1\r\nHost: 127.0.0.1:{running.port}"
               "\r\nX-Padding: " + "x" * 400).encode()
    assert closed_by_server(trickler, 3.0, trickle=headers)
    assert all(closed_by_server(sock, 3.0) for sock in idle)
    for sock in idle + [trickler]:
        sock.close()
    with running.client() as client:  # a kept-alive client gets the same bound between
        assert client.get("/v1/models").status_code == 200  # requests, and is served again
        time.sleep(0.8)
        assert client.get("/v1/models").status_code == 200


@pytest.mark.parametrize("trickled", [True, False])
def test_a_stalled_or_trickled_upload_is_cut_off(serve, trickled):
    running = serve(body_idle_seconds=0.3, body_seconds=1.0)
    running.wait_ready()
    with socket.create_connection(("127.0.0.1", running.port)) as sock:
        sock.sendall(f"POST /v1/audio/transcriptions HTTP/1.1\r\nHost: 127.0.0.1:"
                     f"{running.port}\r\nContent-Type: multipart/form-data; boundary=b\r\n"
                     f"Content-Length: 100000\r\n\r\n".encode())
        assert closed_by_server(sock, 3.0, trickle=multipart(b"x" * 1000) if trickled else b"")
    wait_until(lambda: requests_logged(running, "408") == 1)


# Other bad input and the server's own log.


def test_deeply_nested_json_is_a_bad_request(serve):
    running = serve()
    with running.client() as client:
        reply = client.post("/v1/install", content="[" * 100_000 + "]" * 100_000)
    assert (reply.status_code, reply.json()["error"]["param"]) == (400, "model")


def test_http_library_lines_reach_the_log_timestamped_one_line_each(capsys):
    root = logging.getLogger()
    saved = root.handlers[:], root.level
    try:
        connections.route_library_logs()
        try:
            raise RuntimeError("boom\nsecond line")
        except RuntimeError:
            logging.getLogger("uvicorn.error").exception("Exception in ASGI application")
        logging.getLogger("uvicorn.error").warning("Invalid HTTP request received.")
    finally:
        root.handlers, root.level = saved
    lines = capsys.readouterr().out.splitlines()
    stamp = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ uvicorn\.error: "
    assert len(lines) == 2
    assert re.fullmatch(stamp + r"Exception in ASGI application: RuntimeError\(.*\)", lines[0])
    assert re.fullmatch(stamp + "Invalid HTTP request received.", lines[1])


# Model hubs that lie, and too many installs.


def test_installs_run_a_few_at_a_time(serve, hub, monkeypatch):
    for name in ("org/b", "org/c"):
        monkeypatch.setitem(REPOS, name, CT2)
    release = hub.pause["model.bin"] = threading.Event()
    running = serve(hub=hub.url, install_options={"max_running": 1})
    assert post_install(running, "org/ct2")["state"] == "downloading"
    assert hub.paused.wait(10)
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        others = list(pool.map(lambda n: post_install(running, n), ["org/b", "org/c"] * 4))
    assert all(o["state"] == "failed" and "already running" in o["error"] for o in others)
    assert sum(t.name == "install" for t in threading.enumerate()) == 1
    release.set()
    assert finished(running, "org/ct2")["state"] == "ready"
    assert post_install(running, "org/b")["state"] == "downloading"  # room again
    assert finished(running, "org/b")["state"] == "ready"


@pytest.mark.parametrize("fault, error", [
    ("oversend", "arrived longer"), ("wrong_hash", "does not match"),
    ("no_hashes", "does not load")])
def test_lying_hubs_leave_nothing_installed(serve, hub, fault, error):
    if fault == "oversend":  # 5 MB more than listed
        hub.oversend["model.bin"] = b"\0" * (5 << 20)
    elif fault == "wrong_hash":
        hub.wrong_hash.add("model.bin")
    else:  # no hash to check, and a model.bin that is no model
        hub.hashes = False
    running = serve(hub=hub.url)
    post_install(running, "org/ct2")
    state = finished(running, "org/ct2")
    assert state["state"] == "failed" and error in state["error"], state
    assert state["bytes"] <= state["total"] + 1
    assert left_behind(running, "org/ct2") == []


def test_without_hashes_a_model_that_loads_is_installed(serve, hub):
    hub.hashes = False
    loaded = []
    running = serve(hub=hub.url, install_options={
        "check": lambda model_id, folder, runtime: loaded.append((model_id, runtime))})
    post_install(running, "org/ct2")
    assert finished(running, "org/ct2")["state"] == "ready"
    assert loaded == [("org/ct2", "ctranslate2")]
