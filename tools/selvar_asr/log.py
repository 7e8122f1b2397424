"""One-line log messages on standard output, which the app keeps as its server log."""

import sys
import threading
import time
from typing import Callable

Logger = Callable[[str], None]

_lock = threading.Lock()


def timestamp(now: float | None = None) -> str:
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(now))


def write(message: str) -> None:
    # Request lines come from the event loop, load and install lines from worker threads.
    with _lock:
        sys.stdout.write(f"{timestamp()} {message}\n")
        sys.stdout.flush()
