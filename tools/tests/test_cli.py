"""The server script's command line: refusals that must happen before anything listens."""

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
