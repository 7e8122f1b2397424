"""The one loaded model: loads and warms it up in the background, then runs transcriptions
one at a time on a single worker thread so the event loop stays free for probes."""

import asyncio
import contextlib
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass

import numpy as np

from . import backends, log
from .backends import Backend, Loader, Options, Transcript
from .store import ModelStore

LOADING = "loading"
READY = "ready"
UNAVAILABLE = "unavailable"


class Busy(Exception):
    """Too many transcriptions are already waiting for the model."""


@dataclass
class Served:
    model_id: str
    backend: Backend


class Engine:
    def __init__(self, store: ModelStore, requested: str | None, runtimes: set[str],
                 loader: Loader = backends.load, logger: log.Logger = log.write,
                 max_waiting: int = 8) -> None:
        self.store = store
        self.requested = requested
        self.runtimes = runtimes
        self._loader = loader
        self._log = logger
        self._max_waiting = max_waiting
        self._worker = ThreadPoolExecutor(max_workers=1, thread_name_prefix="inference")
        self._lock = threading.Lock()
        self._served: Served | None = None
        self._state = LOADING
        self._problem = ""
        self._waiting = 0
        self._stops: set[threading.Event] = set()

    # State, read by the probe handlers on the event loop.

    @property
    def state(self) -> str:
        return self._state

    @property
    def served(self) -> Served | None:
        return self._served

    @property
    def problem(self) -> str:
        return self._problem

    def start(self) -> None:
        # Loading runs on the inference thread itself: a model built on a thread that then
        # exits runs about half as fast (its runtime's thread pool goes with that thread).
        self._worker.submit(self._load_initial)

    def shutdown(self) -> None:
        # Queued jobs are dropped and the running one stops at its next segment, so quitting
        # never waits for a long transcription nobody will read.
        with self._lock:
            for stop in self._stops:
                stop.set()
        self._worker.shutdown(wait=False, cancel_futures=True)

    def model_installed(self, model_id: str) -> None:
        """Called when an install finishes: serve it if nothing is served yet, or if it is the
        model that was asked for at start."""
        with self._lock:
            current = self._served.model_id if self._served else None
        if current != model_id and (current is None or model_id == self.requested):
            self._worker.submit(self._switch, model_id)

    # Loading.

    def _load_initial(self) -> None:
        model_id = self.store.choose(self.requested, self.runtimes)
        if model_id is None:
            self._set_unavailable("no model is installed; run ./tools/setup-asr.sh once")
            return
        if self.requested and model_id != self.requested:
            self._log(f"requested model not installed: {self.requested}, serving {model_id}")
        if not self._switch(model_id):
            fallback = self.store.choose(None, self.runtimes)
            if fallback is None or fallback == model_id or not self._switch(fallback):
                self._set_unavailable(f"the model {model_id} could not be loaded")

    def _switch(self, model_id: str) -> bool:
        began = time.monotonic()
        try:
            runtime = self.store.format_of(model_id)
            backend = self._loader(model_id, self.store.folder(model_id), runtime)
            # The first inference pays for allocations and kernel selection; pay it now
            # so the first dictation is as fast as the tenth.
            backend.warm_up()
        except Exception as error:  # a broken model must not take the server down
            self._log(f"model load failed: id={model_id} error={error!r}")
            return False
        with self._lock:
            self._served = Served(model_id, backend)
            self._state = READY
            self._problem = ""
        self._log(f"model ready: id={model_id} runtime={backend.runtime} "
                  f"device={getattr(backend, 'device', '-')} "
                  f"seconds={time.monotonic() - began:.2f}")
        return True

    def _set_unavailable(self, problem: str) -> None:
        with self._lock:
            if self._served is None:
                self._state = UNAVAILABLE
                self._problem = problem
        self._log(f"no model served: {problem}")

    # Transcription.

    @contextlib.contextmanager
    def slot(self):
        """A place among the waiting transcriptions, taken before an upload is decoded so that
        a full queue turns requests away before their audio costs memory."""
        with self._lock:
            if self._waiting >= self._max_waiting:
                raise Busy()
            self._waiting += 1
        try:
            yield
        finally:
            with self._lock:
                self._waiting -= 1

    async def transcribe(self, audio: np.ndarray, options: Options,
                         reserved: bool = False) -> tuple[Transcript, float]:
        """The transcript and the seconds spent in the model. Cancelling the caller (the
        request's time bound, or its client leaving) drops a queued job and stops a running
        one at the model's next step. With reserved, the caller already holds a slot."""
        served = self._served
        if served is None:
            raise RuntimeError("no model is loaded")
        if reserved:
            return await self._submit(served, audio, options)
        with self.slot():
            return await self._submit(served, audio, options)

    async def _submit(self, served: Served, audio: np.ndarray,
                      options: Options) -> tuple[Transcript, float]:
        stop = threading.Event()
        with self._lock:
            self._stops.add(stop)
        job = self._worker.submit(self._run, served, audio, options, stop)
        try:
            return await asyncio.wrap_future(job)
        except asyncio.CancelledError:
            stop.set()
            job.cancel()
            raise
        finally:
            with self._lock:
                self._stops.discard(stop)

    def _run(self, served: Served, audio: np.ndarray, options: Options,
             stop: threading.Event) -> tuple[Transcript, float]:
        if stop.is_set():  # its client left while it waited
            raise backends.Stopped()
        # The model being switched while this job waited is fine: use the newest one.
        backend = (self._served or served).backend
        began = time.monotonic()
        transcript = backend.transcribe(audio, options, stop)
        return transcript, time.monotonic() - began
