"""The HTTP interface: model listing, transcription and model installs."""

import asyncio
import contextlib
import json
import re
import threading
import time

from starlette.applications import Starlette
from starlette.datastructures import UploadFile
from starlette.exceptions import HTTPException
from starlette.requests import ClientDisconnect, Request
from starlette.responses import JSONResponse, Response
from starlette.routing import Route
from starlette.types import ASGIApp

from . import audio, backends, formats, log
from .engine import LOADING, READY, Busy, Engine
from .errors import ApiError, error_response, response_for
from .guard import RequestGuard, RequestLog
from .installer import Installer
from .sessions import ADVERTISED, IDLE_SECONDS, Sessions
from .store import valid_id

MAX_UPLOAD_BYTES = 25 * 1024 * 1024
# The app gives up on a transcription after 60 seconds; work past that is for nobody.
REQUEST_SECONDS = 60.0
_LOCALE = re.compile(r"[A-Za-z]{2,3}([-_][A-Za-z0-9]{1,8})*")


def create_app(engine: Engine, installer: Installer, *, port: int,
               max_upload: int = MAX_UPLOAD_BYTES, request_seconds: float = REQUEST_SECONDS,
               body_idle_seconds: float = 10.0, body_seconds: float = 30.0,
               logger: log.Logger = log.write,
               session_idle_seconds: float = IDLE_SECONDS) -> ASGIApp:
    sessions = Sessions(engine, logger, idle_seconds=session_idle_seconds)
    offered = sessions.offered()

    async def models(request: Request) -> Response:
        return _models(engine, ADVERTISED if offered else None)

    # Decoded audio is the largest allocation a request makes: one decode at a time, held by
    # the decoding thread itself so a request that gives up cannot let the next one overlap.
    decoding = threading.Lock()

    async def transcriptions(request: Request) -> Response:
        try:
            async with asyncio.timeout(request_seconds):
                return await _transcribe(request, engine, decoding, logger)
        except TimeoutError:
            return error_response(504, f"the transcription took longer than "
                                  f"{request_seconds:g} seconds", code="timeout")

    async def install(request: Request) -> Response:
        model_id = await _install_target(request)
        status = (installer.status(model_id) if request.method == "GET"
                  else installer.start(model_id))
        return JSONResponse(status.as_json())

    async def departed(request: Request, error: Exception) -> Response:
        return _departed(request)

    async def internal_error(request: Request, error: Exception) -> Response:
        logger(f"internal error: {error!r}")
        return error_response(500, "internal server error")

    @contextlib.asynccontextmanager
    async def lifespan(app: Starlette):
        engine.start()
        yield
        sessions.close_all()
        engine.shutdown()

    app = Starlette(
        routes=[Route("/v1/models", models, methods=["GET"]),
                Route("/v1/audio/transcriptions", transcriptions, methods=["POST"]),
                Route("/v1/install", install, methods=["GET", "POST"]),
                *(sessions.routes() if offered else [])],
        exception_handlers={ApiError: _api_error, HTTPException: _http_error,
                            ClientDisconnect: departed, Exception: internal_error},
        lifespan=lifespan)
    guard = RequestGuard(app, port, max_upload, body_idle_seconds=body_idle_seconds,
                         body_seconds=body_seconds)
    return RequestLog(guard, logger)


def _models(engine: Engine, sessions: dict | None) -> Response:
    served = engine.served
    if served is None:
        message = ("the model is loading" if engine.state == LOADING else engine.problem)
        return error_response(503, message, code="model_not_ready")
    body = {"object": "list", "data": [{
        "id": served.model_id, "object": "model", "created": 0, "owned_by": "selvar",
        "runtime": served.backend.runtime}]}
    if sessions:  # transcription while recording: clients that know it stream into one
        body["sessions"] = sessions
    return JSONResponse(body)


async def _transcribe(request: Request, engine: Engine, decoding: threading.Lock,
                      logger: log.Logger) -> Response:
    if engine.state != READY or engine.served is None:
        raise ApiError(503, engine.problem or "the model is loading", code="model_not_ready")
    async with request.form(max_files=1, max_fields=16, max_part_size=64 * 1024) as form:
        upload = form.get("file")
        if not isinstance(upload, UploadFile):
            raise ApiError(400, "the request needs an audio file in the multipart field "
                           "'file'", param="file")
        response_format = _text(form, "response_format") or "json"
        if response_format not in formats.FORMATS:
            raise ApiError(400, "response_format must be one of "
                           f"{', '.join(formats.FORMATS)}", param="response_format")
        options = _options(form, engine)
        data = await upload.read()
    try:
        with engine.slot():
            transcript = await _unless_departed(
                request, _decode_and_infer(request, engine, decoding, data, options, logger))
    except Busy as error:
        raise _busy() from error
    if transcript is None:
        return _departed(request)
    return formats.render(transcript, response_format)


async def _decode_and_infer(request: Request, engine: Engine, decoding: threading.Lock,
                            data: bytes, options: backends.Options, logger: log.Logger):
    samples = await _decode(data, decoding)
    request.state.audio_seconds = samples.size / audio.SAMPLE_RATE
    if samples.size == 0:
        return backends.Transcript("", options.language or "", 0.0)
    return await _infer(engine, samples, options, request, logger)


async def _unless_departed(request: Request, work):
    """The work's result, or None once the client has hung up: its job is then dropped from
    the queue or stopped, since nobody will read the answer."""
    task = asyncio.ensure_future(work)
    watcher = asyncio.ensure_future(_departure(request))
    try:
        await asyncio.wait({task, watcher}, return_when=asyncio.FIRST_COMPLETED)
    finally:
        watcher.cancel()
        if not task.done():
            task.cancel()
            with contextlib.suppress(asyncio.CancelledError, Exception):
                await task
    if task.cancelled():
        return None
    return task.result()


async def _departure(request: Request) -> None:
    # The body has been read, so the only message left is the server noting the client
    # closed the connection (extra bytes a client sends after its body are ignored).
    while (await request.receive())["type"] != "http.disconnect":
        pass


def _departed(request: Request) -> Response:
    request.state.departed = True
    # Nobody receives this; the server drops replies to closed connections.
    return Response(status_code=499)


def _options(form, engine: Engine) -> backends.Options:
    language = _language(_text(form, "language") or "")
    languages = engine.served.backend.languages if engine.served else None
    if language and languages is not None and language not in languages:
        raise ApiError(400, f"unsupported language: {language}", param="language")
    temperature = _text(form, "temperature") or "0"
    try:
        value = float(temperature)
    except ValueError:
        value = -1.0
    if not 0.0 <= value <= 1.0:
        raise ApiError(400, "temperature must be a number from 0 to 1", param="temperature")
    return backends.Options(language, _text(form, "prompt") or None, value)


def _language(value: str) -> str | None:
    """The Whisper language code of an ISO 639 code or a locale identifier ("en", "en-US",
    "pt_BR", "zh-Hans-CN"); none for an empty value or "auto"."""
    value = value.strip()
    if not value or value.lower() == "auto":
        return None
    if not _LOCALE.fullmatch(value):
        raise ApiError(400, f"language must be a language code such as en: {value[:40]}",
                       param="language")
    return re.split(r"[-_]", value, maxsplit=1)[0].lower()


async def _decode(data: bytes, decoding: threading.Lock):
    def one_at_a_time():
        with decoding:
            return audio.decode(data)

    try:
        return await asyncio.to_thread(one_at_a_time)
    except audio.AudioTooLong as error:
        raise ApiError(400, str(error), param="file") from error
    except audio.AudioError as error:
        raise ApiError(422, str(error), param="file", code="invalid_audio") from error


async def _infer(engine: Engine, samples, options: backends.Options, request: Request,
                 logger: log.Logger):
    began = time.monotonic()
    try:
        transcript, seconds = await engine.transcribe(samples, options, reserved=True)
    except backends.Stopped:
        raise TimeoutError() from None
    except Exception as error:
        logger(f"inference failed: {error!r}")
        request.state.inference_seconds = time.monotonic() - began
        raise ApiError(500, f"the transcription failed ({error})",
                       code="inference_failed") from error
    request.state.inference_seconds = seconds
    return transcript


async def _install_target(request: Request) -> str:
    if request.method == "GET":
        model_id = request.query_params.get("model")
    else:
        try:
            body = json.loads(await request.body())
        except (ValueError, UnicodeDecodeError, RecursionError):
            raise ApiError(400, "the body must be a JSON object", param="model") from None
        model_id = body.get("model") if isinstance(body, dict) else None
    if not valid_id(model_id):
        raise ApiError(400, "model must be a model id such as owner/name", param="model")
    return model_id


def _busy() -> ApiError:
    return ApiError(503, "too many transcriptions are waiting; try again shortly",
                    code="server_busy")


def _text(form, name: str) -> str | None:
    value = form.get(name)
    return value if isinstance(value, str) else None


async def _api_error(request: Request, error: Exception) -> Response:
    return response_for(error)


async def _http_error(request: Request, error: Exception) -> Response:
    status = error.status_code
    message = {404: "no such endpoint", 405: "method not allowed here",
               413: "the upload is larger than the server accepts"}.get(status, error.detail)
    return error_response(status, message)
