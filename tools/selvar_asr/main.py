"""Command line of the transcription server."""

import argparse
import os
import signal
import socket
import sys
from pathlib import Path

from . import backends, connections, log
from .app import MAX_UPLOAD_BYTES, REQUEST_SECONDS, create_app
from .engine import Engine
from .installer import DEFAULT_HUB, Installer
from .store import ModelStore

_LOOPBACK = {"127.0.0.1": socket.AF_INET, "localhost": socket.AF_INET, "::1": socket.AF_INET6}


def default_models_dir() -> Path:
    if os.environ.get("SELVAR_ASR_HOME"):
        return Path(os.environ["SELVAR_ASR_HOME"]) / "models"
    if sys.prefix != sys.base_prefix:  # the interpreter of the server's own environment
        return Path(sys.prefix) / "models"
    return Path.home() / ".local/share/selvar/asr/models"


def parse(argv: list[str] | None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="asr-server.py", description="Local OpenAI-compatible transcription server.")
    parser.add_argument("--port", type=int, default=8020)
    parser.add_argument("--host", default="127.0.0.1", help="a loopback address")
    parser.add_argument("--model", default=os.environ.get("SELVAR_ASR_MODEL") or None,
                        help="model to serve when installed (default: $SELVAR_ASR_MODEL)")
    parser.add_argument("--models-dir", type=Path, default=None)
    parser.add_argument("--hub", default=os.environ.get("SELVAR_ASR_HUB", DEFAULT_HUB),
                        help="model hub that /v1/install downloads from")
    parser.add_argument("--max-upload-mb", type=float, default=MAX_UPLOAD_BYTES / 2**20)
    parser.add_argument("--request-timeout", type=float, default=REQUEST_SECONDS)
    args = parser.parse_args(argv)
    if args.host not in _LOOPBACK:
        parser.error("--host must be a loopback address (127.0.0.1, ::1 or localhost)")
    if not 0 < args.port < 65536:
        parser.error("--port must be from 1 to 65535")
    return args


def listen(host: str, port: int) -> socket.socket:
    family = _LOOPBACK[host]
    # Naming the protocol matters: asyncio turns Nagle's algorithm off only on connections
    # whose socket says it is TCP, and with it on, a reply written as headers then body waits
    # for the client's delayed acknowledgement (about 40 ms on Linux) before its body leaves.
    sock = socket.socket(family, socket.SOCK_STREAM, socket.IPPROTO_TCP)
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    sock.bind(("127.0.0.1" if host == "localhost" else host, port))
    sock.listen(64)
    sock.set_inheritable(True)
    return sock


def main(argv: list[str] | None = None) -> int:
    import uvicorn

    args = parse(argv)
    connections.route_library_logs()
    store = ModelStore(args.models_dir or default_models_dir())
    runtimes = backends.available_runtimes()
    engine = Engine(store, args.model, runtimes)
    installer = Installer(store, runtimes, args.hub, on_installed=engine.model_installed)
    try:
        sock = listen(args.host, args.port)
    except OSError as error:
        log.write(f"cannot listen on {args.host}:{args.port}: {error.strerror or error}")
        return 1
    app = create_app(engine, installer, port=args.port,
                     max_upload=int(args.max_upload_mb * 2**20),
                     request_seconds=args.request_timeout)
    config = connections.config(app, log_level="warning", access_log=False, lifespan="on",
                                timeout_graceful_shutdown=5)
    log.write(f"asr server listening: http://{args.host}:{args.port} models={store.root} "
              f"runtimes={','.join(sorted(runtimes)) or 'none'} pid={os.getpid()}")
    # uvicorn shuts down on SIGTERM (how the app stops the server) and then raises the signal
    # again with the handler that was there before it; with the default one the process would
    # die before it could say it stopped.
    signal.signal(signal.SIGTERM, _exit_quietly)
    try:
        uvicorn.Server(config).run(sockets=[sock])
    except SystemExit:
        pass
    log.write("asr server stopped")
    return 0


def _exit_quietly(signum, frame) -> None:
    raise SystemExit(0)
