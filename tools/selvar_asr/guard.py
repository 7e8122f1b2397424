"""Outer ASGI layers: the request guard (loopback only, bounded bodies) and the one-line
request log."""

import asyncio
import time

from starlette.datastructures import Headers
from starlette.types import ASGIApp, Message, Receive, Scope, Send

from . import log
from .errors import ApiError, error_response, response_for


class RequestGuard:
    """Refuses requests a web page could make: a Host other than this server's loopback
    address (DNS rebinding) or any Origin header (a browser's cross-site request). Bounds the
    request body, by its declared length before reading and by counting while reading, and
    in time: a client that stalls or trickles its body does not hold a connection."""

    def __init__(self, app: ASGIApp, port: int, max_body: int, body_idle_seconds: float = 10.0,
                 body_seconds: float = 30.0) -> None:
        self.app = app
        self.hosts = {f"127.0.0.1:{port}", f"localhost:{port}", f"[::1]:{port}"}
        self.max_body = max_body
        self.body_idle_seconds = body_idle_seconds
        self.body_seconds = body_seconds

    async def __call__(self, scope: Scope, receive: Receive, send: Send) -> None:
        if scope["type"] == "http":
            headers = Headers(scope=scope)
            if headers.get("host", "").lower() not in self.hosts:
                await error_response(403, "this server only answers requests addressed to "
                                     "its loopback address", code="host_not_allowed")(
                    scope, receive, send)
                return
            if "origin" in headers:
                await error_response(403, "requests from web pages are not accepted",
                                     code="origin_not_allowed")(scope, receive, send)
                return
            if _declared_length(headers) > self.max_body:
                await response_for(self._too_large())(scope, receive, send)
                return
            receive = self._counting(receive)
        await self.app(scope, receive, send)

    def _too_large(self) -> ApiError:
        megabytes = f"{self.max_body / (1024 * 1024):g}"
        return ApiError(413, f"the upload is larger than {megabytes} MB", param="file",
                        code="upload_too_large")

    def _counting(self, receive: Receive) -> Receive:
        seen = 0
        complete = False
        deadline = time.monotonic() + self.body_seconds

        async def counted() -> Message:
            nonlocal seen, complete
            if complete:  # later reads only wait for the client to leave
                return await receive()
            wait = min(self.body_idle_seconds, deadline - time.monotonic())
            try:
                async with asyncio.timeout(max(wait, 0.0)):
                    message = await receive()
            except TimeoutError:
                raise ApiError(408, "the upload did not arrive in time",
                               code="upload_timeout") from None
            complete = not message.get("more_body", False)
            seen += len(message.get("body", b""))
            if seen > self.max_body:
                # Raised inside the handler's body read, so the app answers with its error
                # shape; the unread rest of the body makes the server close the connection.
                raise self._too_large()
            return message

        return counted


class RequestLog:
    """Writes one line per request with its status and, for transcriptions, the seconds of
    audio and of inference that the handler left in the request state. A request the handler
    marked as counted in a session's summary gets no line of its own when it succeeds."""

    def __init__(self, app: ASGIApp, logger: log.Logger = log.write) -> None:
        self.app = app
        self.log = logger

    async def __call__(self, scope: Scope, receive: Receive, send: Send) -> None:
        if scope["type"] != "http":
            await self.app(scope, receive, send)
            return
        began = time.monotonic()
        status: int | str = 500
        state = scope.setdefault("state", {})

        async def send_and_note(message: Message) -> None:
            nonlocal status
            if message["type"] == "http.response.start":
                status = message["status"]
            await send(message)

        try:
            await self.app(scope, receive, send_and_note)
        finally:
            if state.get("departed"):
                status = "departed"
            if not (state.get("in_session_summary") and _succeeded(status)):
                self.log(f"request method={scope['method']} path={scope['path']} "
                         f"status={status} "
                         f"audio_seconds={_seconds(state.get('audio_seconds'))} "
                         f"inference_seconds={_seconds(state.get('inference_seconds'))} "
                         f"total_seconds={time.monotonic() - began:.3f}")


def _declared_length(headers: Headers) -> int:
    try:
        return int(headers.get("content-length", "0"))
    except ValueError:
        return 0


def _succeeded(status: int | str) -> bool:
    return isinstance(status, int) and 200 <= status < 300


def _seconds(value: float | None) -> str:
    return "-" if value is None else f"{value:.3f}"
