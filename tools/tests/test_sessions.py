"""Transcription while recording against a stand-in backend: pieces cut at pauses and
transcribed in the background with the text before them as the prompt, the tail at the end,
cancel, a client that vanishes, chunks out of order or too large, a forgotten session, the
loopback guard, and where the cutter puts its cuts."""

import threading

import numpy as np
import pytest

from conftest import FakeBackend, wait_until
from selvar_asr.pieces import find_cut

RATE = 16000


def tone(seconds: float) -> np.ndarray:
    t = np.arange(int(seconds * RATE)) / RATE
    # Speech-like: a tone whose loudness wobbles, never near silence.
    return (0.3 * np.sin(2 * np.pi * 220 * t) * (0.6 + 0.4 * np.sin(2 * np.pi * 3 * t)))


def quiet(seconds: float) -> np.ndarray:
    return np.random.default_rng(1).standard_normal(int(seconds * RATE)) * 0.001


def pcm(samples: np.ndarray) -> bytes:
    return (np.clip(samples, -1, 1) * 32767).astype("<i2").tobytes()


def chunks(samples: np.ndarray, seconds: float = 0.1):
    data, step = pcm(samples), int(seconds * RATE) * 2
    return [data[i:i + step] for i in range(0, len(data), step)]


class Client:
    def __init__(self, running, **body):
        self.http = running.client()
        reply = self.http.post("/v1/sessions", json=body)
        assert reply.status_code == 201, reply.text
        self.id, self.sent = reply.json()["id"], 0

    def send(self, samples: np.ndarray) -> None:
        for chunk in chunks(samples):
            assert self.put(self.sent, chunk).status_code == 204
            self.sent += 1

    def put(self, number: int, data: bytes):
        return self.http.put(f"/v1/sessions/{self.id}/audio/{number}", content=data)

    def finish(self):
        return self.http.post(f"/v1/sessions/{self.id}/finish")


@pytest.mark.parametrize("layout, cut_at", [
    ([tone(2.0)], None),                                 # too short to cut
    ([tone(4.0), quiet(0.2), tone(1.0)], None),          # a breath, not a pause
    ([tone(1.0), quiet(0.5), tone(3.0)], None),          # a pause, but too early
    ([tone(4.0), quiet(0.5), tone(1.0)], (4.0, 4.3)),    # inside the pause
    ([tone(4.0), quiet(0.4)], (4.0, 4.3)),               # a pause still going on
    ([tone(21.0)], (10.5, 21.0)),                        # never pauses: quietest point
])
def test_cuts_fall_in_pauses_or_at_the_quietest_point(layout, cut_at):
    at = find_cut(np.concatenate(layout).astype(np.float32))
    if cut_at is None:
        assert at is None
    else:
        assert cut_at[0] * RATE <= at <= cut_at[1] * RATE


def test_pieces_are_transcribed_while_speaking_and_the_tail_at_the_end(serve):
    running = serve()
    running.wait_ready()
    session = Client(running, language="en-US", prompt="Selvar")
    session.send(np.concatenate([tone(4.0), quiet(0.5), tone(4.0), quiet(0.5)]))
    # Both pieces are done before the release: only the tail remains for it.
    wait_until(lambda: len(running.backend.calls) == 2)
    session.send(tone(1.5))
    reply = session.finish()
    assert reply.status_code == 200
    assert reply.json() == {"text": " ".join(["hello from the stand-in"] * 3)}
    calls = running.backend.calls
    assert [options.prompt for _, options in calls] == [
        "Selvar", "Selvar hello from the stand-in",
        "Selvar hello from the stand-in hello from the stand-in"]
    assert {options.language for _, options in calls} == {"en"}
    # Every sample reached exactly one piece.
    assert sum(size for size, _ in calls) == int(10.5 * RATE)
    assert 4.0 * RATE < calls[0][0] < 4.5 * RATE
    assert session.finish().status_code == 404  # a finished session is gone


def test_a_session_without_pauses_is_one_piece_at_the_end(serve):
    running = serve()
    running.wait_ready()
    session = Client(running)
    session.send(tone(2.0))
    assert session.finish().json() == {"text": "hello from the stand-in"}
    assert [size for size, _ in running.backend.calls] == [2 * RATE]
    empty = Client(running)
    assert empty.finish().json() == {"text": ""}


@pytest.mark.parametrize("number, data, status, code", [
    (0, b"\0\0", 204, None),                          # a retried chunk: taken once
    (2, b"\0\0", 409, "chunk_out_of_order"),
    (1, b"\0\0\0", 400, "invalid_audio"),
    (1, b"\0" * (1024 * 1024 + 2), 413, "chunk_too_large"),
])
def test_chunks_out_of_order_or_too_large_are_refused(serve, number, data, status, code):
    running = serve()
    running.wait_ready()
    session = Client(running)
    session.send(tone(0.1))
    reply = session.put(number, data)
    assert reply.status_code == status
    if code:
        assert reply.json()["error"]["code"] == code
    # The session survives a refused chunk, and a duplicate adds nothing.
    assert session.put(1, pcm(tone(0.1))).status_code == 204
    assert session.finish().status_code == 200
    assert [size for size, _ in running.backend.calls] == [int(0.2 * RATE)]


def test_cancel_stops_the_running_piece_and_ends_the_session(serve):
    running = serve(backend=FakeBackend(gate=threading.Event()))
    running.wait_ready()
    session = Client(running)
    session.send(np.concatenate([tone(4.0), quiet(0.5), tone(0.5)]))
    assert running.backend.started.acquire(timeout=10)
    assert session.http.delete(f"/v1/sessions/{session.id}").status_code == 204
    wait_until(lambda: running.backend.active == 0)  # stopped without its gate opening
    assert session.put(session.sent, pcm(tone(0.1))).status_code == 404
    assert session.finish().json()["error"]["code"] == "session_not_found"
    assert any("status=cancelled" in line for line in running.logs)


def test_a_vanished_client_is_forgotten_and_its_work_dropped(serve):
    running = serve(backend=FakeBackend(gate=threading.Event()), session_idle_seconds=0.3)
    running.wait_ready()
    gone = Client(running)
    gone.send(np.concatenate([tone(4.0), quiet(0.5), tone(0.5)]))
    assert running.backend.started.acquire(timeout=10)
    # Nothing more comes from that client; the next session opened sweeps it away.
    def another_session_opens():
        other = Client(running)
        other.http.delete(f"/v1/sessions/{other.id}")
        return running.backend.active == 0

    wait_until(another_session_opens)
    assert gone.finish().status_code == 404
    assert any("status=idle" in line for line in running.logs)


@pytest.mark.parametrize("layout, calls", [
    ([tone(4.0), quiet(0.5), tone(0.5)], 1),  # a piece fails: the tail is not tried
    ([tone(2.0)], 1),                          # only the tail, and it fails
])
def test_failures_reach_the_finish_so_the_client_can_fall_back(serve, layout, calls):
    running = serve(backend=FakeBackend(fail=RuntimeError("out of memory")))
    running.wait_ready()
    session = Client(running)
    session.send(np.concatenate(layout))
    reply = session.finish()
    assert reply.status_code == 500
    assert reply.json()["error"]["code"] == "inference_failed"
    assert len(running.backend.calls) == calls


def request_lines(running) -> list[str]:
    return [line.split(" audio_seconds=")[0] for line in running.logs
            if line.startswith("request ")]


@pytest.mark.parametrize("ending, status", [
    ("finish", "finished"),
    ("delete", "cancelled"),
])
def test_a_sessions_chunks_are_logged_as_one_line_when_it_ends(serve, ending, status):
    running = serve()
    running.wait_ready()
    session = Client(running)
    session.send(np.concatenate([tone(4.0), quiet(0.5), tone(1.0)]))  # 55 chunks
    wait_until(lambda: len(running.backend.calls) == 1)
    assert session.put(session.sent + 1, b"\0\0").status_code == 409  # a gap keeps its line
    if ending == "finish":
        assert session.finish().status_code == 200
        end = f"request method=POST path=/v1/sessions/{session.id}/finish status=200"
    else:
        assert session.http.delete(f"/v1/sessions/{session.id}").status_code == 204
        end = f"request method=DELETE path=/v1/sessions/{session.id} status=204"
    # Each line is written once its reply is out, so the last may trail the reply.
    wait_until(lambda: len(request_lines(running)) == 3)
    assert request_lines(running) == [
        "request method=POST path=/v1/sessions status=201",
        f"request method=PUT path=/v1/sessions/{session.id}/audio/56 status=409", end]
    pieces = 2 if ending == "finish" else 1  # a cancelled session leaves its tail alone
    assert [line for line in running.logs if line.startswith("session ended:")] == [
        f"session ended: id={session.id[:8]} status={status} chunks=55 audio_seconds=5.50 "
        f"pieces={pieces}"]


@pytest.mark.parametrize("headers, body, status", [
    ({"Host": "evil.example:8020"}, {}, 403),
    ({"Origin": "http://evil.example"}, {}, 403),
    ({}, {"language": "x y"}, 400),
    ({}, [1], 400),
])
def test_opening_a_session_goes_through_the_guard_and_checks_its_fields(serve, headers, body,
                                                                       status):
    running = serve()
    running.wait_ready()
    with running.client() as client:
        assert client.post("/v1/sessions", json=body, headers=headers).status_code == status


def test_open_sessions_are_bounded(serve):
    running = serve()
    running.wait_ready()
    for _ in range(4):
        Client(running)
    with running.client() as client:
        reply = client.post("/v1/sessions")
    assert (reply.status_code, reply.json()["error"]["code"]) == (503, "server_busy")
