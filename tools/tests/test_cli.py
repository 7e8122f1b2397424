"""The server script's command line: refusals that must happen before anything listens."""

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
