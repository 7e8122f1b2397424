"""How the HTTP server holds connections: a client gets a bounded time to send a request's
headers, on a new connection and between requests on a kept-alive one, so that idle or
trickling sockets cannot pile up. Also sends the HTTP libraries' own log lines through the
server log, timestamped like its own."""

import logging

import h11
import uvicorn
from uvicorn.protocols.http.h11_impl import H11Protocol

from . import log

HEADER_SECONDS = 10.0


def config(app, *, header_seconds: float = HEADER_SECONDS, **options) -> uvicorn.Config:
    protocol = type("HeaderBoundH11Protocol", (_HeaderBound,), {"header_seconds": header_seconds})
    return uvicorn.Config(app, http=protocol, log_config=None, proxy_headers=False,
                          server_header=False, **options)


class _HeaderBound(H11Protocol):
    header_seconds = HEADER_SECONDS

    def connection_made(self, transport) -> None:
        super().connection_made(transport)
        self._arm()

    def data_received(self, data: bytes) -> None:
        super().data_received(data)
        if self.cycle is not self._armed_for:  # a request's headers are complete
            self._disarm()

    def on_response_complete(self) -> None:
        super().on_response_complete()
        if not self.transport.is_closing() and (self.cycle is None
                                                or self.cycle.response_complete):
            self._arm()

    def connection_lost(self, exc) -> None:
        self._disarm()
        super().connection_lost(exc)

    def _arm(self) -> None:
        self._disarm()
        self._armed_for = self.cycle
        self._header_timer = self.loop.call_later(self.header_seconds, self._headers_late)

    def _disarm(self) -> None:
        timer = getattr(self, "_header_timer", None)
        if timer is not None:
            timer.cancel()
        self._header_timer = None
        self._armed_for = self.cycle

    def _headers_late(self) -> None:
        self._header_timer = None
        if not self.transport.is_closing():
            try:
                self.conn.send(h11.ConnectionClosed())
            except h11.LocalProtocolError:
                pass
            self.transport.close()


class _ServerLog(logging.Handler):
    def emit(self, record: logging.LogRecord) -> None:
        message = record.getMessage()
        if record.exc_info and record.exc_info[1] is not None:
            message += f": {record.exc_info[1]!r}"
        log.write(f"{record.name}: {' '.join(message.split())}")


def route_library_logs() -> None:
    """Lines from uvicorn, asyncio and the rest, one line each in the server log's format,
    instead of Python's bare fallback on standard error."""
    root = logging.getLogger()
    root.handlers = [_ServerLog()]
    root.setLevel(logging.WARNING)
    for name in ("uvicorn", "uvicorn.error", "uvicorn.access"):
        logging.getLogger(name).handlers = []
        logging.getLogger(name).propagate = True
