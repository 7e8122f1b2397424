"""Transcription while recording: the client streams 16 kHz audio into a session as the user
speaks; the server cuts it at pauses and transcribes finished pieces in the background, each
with the text before it as the prompt, so that at the end only the tail is left to do.

    POST   /v1/sessions                 {"language", "prompt"} -> 201 {"id", ...}
    PUT    /v1/sessions/{id}/audio/{n}  raw s16le mono 16 kHz; n counts chunks from 0
    POST   /v1/sessions/{id}/finish     -> {"text"} (the whole utterance), ends the session
    DELETE /v1/sessions/{id}            ends it and drops its work

A chunk sent again (same n) is accepted and ignored, so a retried request is harmless; a gap
is refused (409), and the client then falls back to sending the whole file. A session that
hears nothing for IDLE_SECONDS is forgotten and its work dropped: its later requests get 404.

Chunks come four a second while the user speaks, so the request log leaves out the ones taken
and the session's end writes one line for them all; refused or departed chunks keep their own.
"""

import asyncio
import json
import os
import re
import secrets
import time
from dataclasses import dataclass, field
from typing import Callable

import numpy as np
from starlette.requests import Request
from starlette.responses import JSONResponse, Response
from starlette.routing import Route

from . import backends, log, pieces
from .engine import READY, Busy, Engine
from .errors import ApiError

SAMPLE_RATE = 16000
MAX_CHUNK_BYTES = 1024 * 1024
MAX_SESSION_SECONDS = 15 * 60
MAX_SESSIONS = 4
IDLE_SECONDS = 30.0
# Whisper reads at most half its context as prompt; the last words matter most.
PROMPT_CHARS = 600
# Set to any value, the server offers no sessions (for comparing against whole files).
NO_SESSIONS_ENV = "SELVAR_ASR_NO_SESSIONS"
_LOCALE = re.compile(r"[A-Za-z]{2,3}([-_][A-Za-z0-9]{1,8})*")
ADVERTISED = {"path": "/v1/sessions", "version": 1, "sample_rate": SAMPLE_RATE,
              "encoding": "s16le", "max_chunk_bytes": MAX_CHUNK_BYTES}


@dataclass
class Session:
    id: str
    language: str | None
    prompt: str | None
    touched: float
    next_chunk: int = 0
    pending: np.ndarray = field(default_factory=lambda: np.zeros(0, dtype=np.float32))
    received: int = 0
    texts: list[str] = field(default_factory=list)
    work: asyncio.Task | None = None
    failure: ApiError | None = None
    pieces: int = 0

    def context(self) -> str | None:
        spoken = " ".join(self.texts).strip()
        joined = " ".join(p for p in (self.prompt, spoken) if p)
        return joined[-PROMPT_CHARS:] or None

    def text(self) -> str:
        return " ".join(t for t in self.texts if t).strip()


class Sessions:
    def __init__(self, engine: Engine, logger: log.Logger = log.write,
                 clock: Callable[[], float] = time.monotonic,
                 idle_seconds: float = IDLE_SECONDS, max_sessions: int = MAX_SESSIONS) -> None:
        self._engine = engine
        self._log = logger
        self._clock = clock
        self._idle = idle_seconds
        self._max = max_sessions
        self._open: dict[str, Session] = {}

    @staticmethod
    def offered() -> bool:
        return not os.environ.get(NO_SESSIONS_ENV)

    def routes(self) -> list[Route]:
        return [Route("/v1/sessions", self._create, methods=["POST"]),
                Route("/v1/sessions/{id}/audio/{n:int}", self._audio, methods=["PUT"]),
                Route("/v1/sessions/{id}/finish", self._finish, methods=["POST"]),
                Route("/v1/sessions/{id}", self._delete, methods=["DELETE"])]

    def close_all(self) -> None:
        for session in list(self._open.values()):
            self._end(session, "server_stopping")

    # Handlers.

    async def _create(self, request: Request) -> Response:
        self._sweep()
        if self._engine.state != READY:
            raise ApiError(503, self._engine.problem or "the model is loading",
                           code="model_not_ready")
        if len(self._open) >= self._max:
            raise ApiError(503, "too many sessions are open; try again shortly",
                           code="server_busy")
        body = await _json(request)
        language = body.get("language") or None
        prompt = body.get("prompt") or None
        if not isinstance(language, (str, type(None))) or not isinstance(prompt,
                                                                          (str, type(None))):
            raise ApiError(400, "language and prompt must be strings")
        session = Session(secrets.token_hex(16), _language(language), prompt, self._clock())
        self._open[session.id] = session
        self._log(f"session opened: id={session.id[:8]}")
        return JSONResponse({"id": session.id, **ADVERTISED}, status_code=201)

    async def _audio(self, request: Request) -> Response:
        session = self._find(request)
        number = request.path_params["n"]
        data = await _bounded_body(request, MAX_CHUNK_BYTES)
        if number < session.next_chunk:
            return Response(status_code=204)  # a retry of a chunk already taken
        if number > session.next_chunk:
            raise ApiError(409, f"chunk {number} arrived before chunk {session.next_chunk}",
                           code="chunk_out_of_order")
        if len(data) % 2:
            raise ApiError(400, "audio chunks hold whole 16-bit samples", code="invalid_audio")
        if session.received + len(data) > MAX_SESSION_SECONDS * SAMPLE_RATE * 2:
            self._end(session, "too_long")
            raise ApiError(413, f"a session holds at most {MAX_SESSION_SECONDS} seconds",
                           code="session_too_long")
        session.next_chunk += 1
        session.received += len(data)
        session.touched = self._clock()
        samples = np.frombuffer(data, dtype="<i2").astype(np.float32) / 32768.0
        session.pending = np.concatenate([session.pending, samples])
        self._cut(session)
        request.state.in_session_summary = True
        return Response(status_code=204)

    async def _finish(self, request: Request) -> Response:
        session = self._find(request)
        began = time.monotonic()
        status = "failed"
        try:
            await self._rest(session)
            status = "finished"
        finally:
            if self._open.pop(session.id, None) is not None:
                self._summarise(session, status)
        request.state.audio_seconds = session.received / 2 / SAMPLE_RATE
        request.state.inference_seconds = time.monotonic() - began
        return JSONResponse({"text": session.text()})

    async def _rest(self, session: Session) -> None:
        """Waits for the pieces and transcribes the tail; a failure of either reaches the
        client, which then sends the whole file rather than a text with a hole in it."""
        if session.work is not None:
            await session.work
        if session.failure is None and session.pending.size:
            tail, session.pending = session.pending, session.pending[:0]
            session.pieces += 1
            await self._transcribe(session, tail)
        if session.failure:
            raise session.failure

    async def _delete(self, request: Request) -> Response:
        session = self._open.get(request.path_params["id"])
        if session is not None:
            self._end(session, "cancelled")
        return Response(status_code=204)

    # Pieces.

    def _cut(self, session: Session) -> None:
        while (at := pieces.find_cut(session.pending)) is not None:
            piece, session.pending = session.pending[:at], session.pending[at:]
            session.pieces += 1
            session.work = asyncio.ensure_future(self._after(session.work, session, piece))

    async def _after(self, previous: asyncio.Task | None, session: Session,
                     piece: np.ndarray) -> None:
        # Pieces run in order: each one's prompt is the text of all before it.
        if previous is not None:
            await previous
        if session.failure is None:
            await self._transcribe(session, piece)

    async def _transcribe(self, session: Session, samples: np.ndarray) -> None:
        options = backends.Options(session.language, session.context(), 0.0)
        try:
            transcript, _ = await self._engine.transcribe(samples, options)
        except asyncio.CancelledError:
            raise
        except Busy:
            session.failure = ApiError(503, "too many transcriptions are waiting; try again "
                                       "shortly", code="server_busy")
            return
        except Exception as error:
            self._log(f"session inference failed: {error!r}")
            session.failure = ApiError(500, f"the transcription failed ({error})",
                                       code="inference_failed")
            return
        session.texts.append(transcript.text)

    # Bookkeeping.

    def _find(self, request: Request) -> Session:
        self._sweep()
        session = self._open.get(request.path_params["id"])
        if session is None:
            raise ApiError(404, "no such session; it ended or was forgotten",
                           code="session_not_found")
        return session

    def _sweep(self) -> None:
        now = self._clock()
        for session in list(self._open.values()):
            if now - session.touched > self._idle:
                self._end(session, "idle")

    def _end(self, session: Session, status: str) -> None:
        if self._open.pop(session.id, None) is None:
            return
        if session.work is not None and not session.work.done():
            session.work.cancel()
        self._summarise(session, status)

    def _summarise(self, session: Session, status: str) -> None:
        """The one line for all of a session's chunks, written when it ends for any reason."""
        self._log(f"session ended: id={session.id[:8]} status={status} "
                  f"chunks={session.next_chunk} "
                  f"audio_seconds={session.received / 2 / SAMPLE_RATE:.2f} "
                  f"pieces={session.pieces}")


async def _json(request: Request) -> dict:
    raw = await _bounded_body(request, 64 * 1024)
    if not raw.strip():
        return {}
    try:
        body = json.loads(raw)
    except (ValueError, UnicodeDecodeError):
        raise ApiError(400, "the body must be a JSON object") from None
    if not isinstance(body, dict):
        raise ApiError(400, "the body must be a JSON object")
    return body


async def _bounded_body(request: Request, limit: int) -> bytes:
    chunks, size = [], 0
    async for chunk in request.stream():
        size += len(chunk)
        if size > limit:
            raise ApiError(413, f"a chunk may hold at most {limit} bytes",
                           code="chunk_too_large")
        chunks.append(chunk)
    return b"".join(chunks)


def _language(value: str | None) -> str | None:
    if value is None or value.strip().lower() in ("", "auto"):
        return None
    if not _LOCALE.fullmatch(value.strip()):
        raise ApiError(400, f"language must be a language code such as en: {value[:40]}",
                       param="language")
    return re.split(r"[-_]", value.strip(), maxsplit=1)[0].lower()

