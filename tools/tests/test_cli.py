"""The server script's command line: refusals that must happen before anything listens."""

import asyncio
import re
import signal
import socket
import subprocess
import sys
from pathlib import Path

import pytest

SCRIPT = Path(__file__).resolve().parents[1] / "asr-server.py"


def run(*args: str, tmp_path: Path) -> subprocess.CompletedProcess:
    return subprocess.run([sys.executable, str(SCRIPT), "--models-dir", str(tmp_path), *args],
                          capture_output=True, text=True, timeout=60)


@pytest.mark.parametrize("args", [("--host", "0.0.0.0"), ("--host", "192.168.1.2"),
                                  ("--port", "0"), ("--port", "70000")])
def test_refuses_anything_but_a_loopback_port(tmp_path, args):
    result = run(*args, tmp_path=tmp_path)
    assert result.returncode == 2
    assert "--host" in result.stderr or "--port" in result.stderr


def test_port_in_use_is_a_clear_error(tmp_path):
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        taken.listen(1)
        result = run("--port", str(taken.getsockname()[1]), tmp_path=tmp_path)
    assert result.returncode == 1
    assert "cannot listen on 127.0.0.1" in result.stdout


def test_stops_with_a_line_on_sigterm_and_every_line_is_timestamped(tmp_path):
    port = free_port()
    process = subprocess.Popen([sys.executable, str(SCRIPT), "--models-dir", str(tmp_path),
                                "--port", str(port)], stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True)
    try:
        assert "asr server listening" in process.stdout.readline()
        with socket.create_connection(("127.0.0.1", port), timeout=10) as sock:
            sock.sendall(b"NOT HTTP AT ALL\r\n\r\n")  # the HTTP library logs a warning
            sock.recv(4096)
        process.send_signal(signal.SIGTERM)
        output, _ = process.communicate(timeout=30)
    finally:
        process.kill()
    lines = output.splitlines()
    assert process.returncode == 0
    assert lines[-1].endswith(" asr server stopped")
    assert any("Invalid HTTP request" in line for line in lines)
    assert all(re.match(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ ", line) for line in lines), lines


def free_port() -> int:
    with socket.socket() as sock:
        sock.bind(("127.0.0.1", 0))
        return sock.getsockname()[1]


@pytest.mark.parametrize("host", ["127.0.0.1", "::1"])
def test_replies_do_not_wait_for_the_clients_acknowledgement(host):
    """A JSON reply leaves as headers then body; with Nagle's algorithm on the accepted
    connection, the body waited out the client's delayed ACK, 40 ms on every session's end."""
    from selvar_asr.main import listen

    try:
        sock = listen(host, free_port())
    except OSError as error:
        pytest.skip(f"no {host} here: {error}")

    async def accepted_nodelay() -> int:
        loop = asyncio.get_running_loop()
        seen = loop.create_future()

        class Accept(asyncio.Protocol):
            def connection_made(self, transport) -> None:
                raw = transport.get_extra_info("socket")
                seen.set_result(raw.getsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY))

        server = await loop.create_server(Accept, sock=sock)
        async with server:
            _, writer = await asyncio.open_connection(*sock.getsockname()[:2])
            value = await asyncio.wait_for(seen, 10)
            writer.close()
            return value

    assert asyncio.run(accepted_nodelay()) != 0
