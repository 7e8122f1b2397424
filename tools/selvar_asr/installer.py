"""Model installs from the model hub: background downloads with progress, staged outside the
model namespace and moved into the models folder in one rename once complete."""

import hashlib
import http.client
import json
import re
import shutil
import threading
import time
import urllib.error
import urllib.parse
import urllib.request
from dataclasses import dataclass
from pathlib import Path
from typing import Callable

from . import backends, log, store
from .store import ModelStore

DEFAULT_HUB = "https://huggingface.co"
MISSING, DOWNLOADING, READY, FAILED = "missing", "downloading", "ready", "failed"

_CHUNK = 1 << 20
_CT2_FILES = ("config.json", "model.bin", "tokenizer.json", "vocabulary.txt",
              "vocabulary.json", "preprocessor_config.json")
_MLX_FILES = ("config.json", "weights.safetensors", "weights.npz", "model.safetensors")
# Each install is a thread, a socket and a staging folder; beyond these, requests are told to
# try later.
MAX_RUNNING = 2
_SHA256 = re.compile(r"[0-9a-f]{64}")
_GIT_SHA1 = re.compile(r"[0-9a-f]{40}")


@dataclass(frozen=True)
class Listed:
    """A file as the hub lists it: its size and, when the hub gives one, its hash as
    (algorithm, hex digest): sha256 for large files, the git blob id for the others."""
    size: int
    digest: tuple[str, str] | None = None


class InstallError(Exception):
    pass


@dataclass
class Status:
    state: str
    bytes: int = 0
    total: int = 0
    error: str | None = None

    def as_json(self) -> dict:
        body = {"state": self.state, "bytes": self.bytes, "total": self.total}
        if self.error is not None:
            body["error"] = self.error
        return body


class Installer:
    def __init__(self, store: ModelStore, runtimes: set[str], hub: str = DEFAULT_HUB,
                 on_installed: Callable[[str], None] = lambda model_id: None,
                 logger: log.Logger = log.write, attempts: int = 4,
                 retry_delay: float = 1.0, timeout: float = 30.0,
                 check: backends.Loader = backends.load, max_running: int = MAX_RUNNING) -> None:
        self.store = store
        self.runtimes = runtimes
        self.hub = hub.rstrip("/")
        self._on_installed = on_installed
        self._log = logger
        self._attempts = attempts
        self._retry_delay = retry_delay
        self._timeout = timeout
        self._check = check
        self._max_running = max_running
        self._lock = threading.Lock()
        self._jobs: dict[str, Status] = {}

    def status(self, model_id: str) -> Status:
        with self._lock:
            job = self._jobs.get(model_id)
            if job is not None and job.state != READY:
                return Status(job.state, job.bytes, job.total, job.error)
        if self.store.format_of(model_id):
            size = store.folder_size(self.store.folder(model_id))
            return Status(READY, size, size)
        return Status(MISSING)

    def start(self, model_id: str) -> Status:
        with self._lock:
            job = self._jobs.get(model_id)
            if job is not None and job.state == DOWNLOADING:
                return Status(job.state, job.bytes, job.total)
            running = sum(j.state == DOWNLOADING for j in self._jobs.values())
            if self.store.format_of(model_id):
                job = None
            elif running >= self._max_running:
                return Status(FAILED, error=f"{running} installs are already running; try "
                              "again when one has finished")
            else:
                job = self._jobs[model_id] = Status(DOWNLOADING)
        if job is None:
            return self.status(model_id)
        threading.Thread(target=self._run, args=(model_id, job), name="install",
                         daemon=True).start()
        return self.status(model_id)

    # The download itself, on the install thread.

    def _run(self, model_id: str, job: Status) -> None:
        staging = self.store.staging_folder(model_id)
        self._log(f"install started: id={model_id}")
        try:
            files = self._plan(model_id, job)
            shutil.rmtree(staging, ignore_errors=True)
            staging.mkdir(parents=True)
            for name, listed in files:
                self._fetch(model_id, name, listed.size, staging / name, job)
                _verify(name, listed, staging / name)
            runtime = store.model_format(staging)
            if runtime is None:
                raise InstallError("the downloaded files do not form a model")
            if any(listed.digest is None for _, listed in files):
                self._load_test(model_id, staging, runtime)
            self.store.commit(model_id, staging)
        except Exception as error:  # reported to the app as the failed state
            self.store.discard(staging)
            self._finish(job, FAILED, _describe(error))
            self._log(f"install failed: id={model_id} error={job.error}")
            return
        self._finish(job, READY, None)
        self._log(f"install finished: id={model_id} bytes={job.total}")
        self._on_installed(model_id)

    def _load_test(self, model_id: str, staging: Path, runtime: str) -> None:
        """Without the hub's hashes, only loading the model shows that its files are whole."""
        try:
            self._check(model_id, staging, runtime)
        except Exception as error:
            raise InstallError(f"the downloaded model does not load ({error})") from error

    def _finish(self, job: Status, state: str, error: str | None) -> None:
        with self._lock:
            job.state, job.error = state, error

    def _plan(self, model_id: str, job: Status) -> list[tuple[str, Listed]]:
        """The files to fetch and their sizes, after checking the model can run here."""
        listing = self._listing(model_id)
        if "model.bin" in listing:
            runtime, wanted = store.CTRANSLATE2, _CT2_FILES
        elif "config.json" in listing and any(n in listing for n in _MLX_FILES[1:]):
            runtime, wanted = store.MLX, _MLX_FILES
        else:
            raise InstallError("not a Whisper model in CTranslate2 or MLX form")
        if runtime not in self.runtimes:
            raise InstallError("this model needs the MLX runtime, which runs only on Apple "
                               "silicon" if runtime == store.MLX else
                               "faster-whisper is not installed; run ./tools/setup-asr.sh")
        files = [(name, listing[name]) for name in wanted if name in listing]
        with self._lock:
            job.total = sum(listed.size for _, listed in files)
        return files

    def _listing(self, model_id: str) -> dict[str, Listed]:
        url = f"{self.hub}/api/models/{model_id}/tree/main"
        with self._open(url, {}) as reply:
            entries = json.load(reply)
        if not isinstance(entries, list):
            raise InstallError("the model hub answered with an unexpected listing")
        return {e["path"]: _listed(e) for e in entries
                if isinstance(e, dict) and e.get("type") == "file"
                and isinstance(e.get("path"), str)}

    def _fetch(self, model_id: str, name: str, size: int, target: Path, job: Status) -> None:
        """Downloads one file, continuing with a range request after a dropped connection."""
        url = f"{self.hub}/{model_id}/resolve/main/{urllib.parse.quote(name)}"
        base = job.bytes
        problem: Exception = InstallError(f"{name} did not arrive")
        for attempt in range(self._attempts):
            if attempt:
                time.sleep(self._retry_delay * attempt)
            have = target.stat().st_size if target.exists() else 0
            if have < size or not target.exists():
                try:
                    self._stream(url, target, have, size, base, job)
                except urllib.error.HTTPError as error:
                    if error.code < 500:
                        raise
                    problem = error
                except (OSError, http.client.HTTPException) as error:
                    problem = error
            have = target.stat().st_size if target.exists() else 0
            if have == size:
                return
            if not isinstance(problem, (OSError, http.client.HTTPException)):
                problem = InstallError(f"{name} arrived with {have} of {size} bytes")
        raise problem

    def _stream(self, url: str, target: Path, have: int, size: int, base: int,
                job: Status) -> None:
        """Appends the rest of the file, reading at most one byte past its listed size: a hub
        that sends more than it listed gets no more of the disk than that."""
        headers = {"Range": f"bytes={have}-"} if have else {}
        with self._open(url, headers) as reply:
            resumed = have and reply.status == 206
            with open(target, "ab" if resumed else "wb") as out:
                done = have if resumed else 0
                while chunk := reply.read(min(_CHUNK, size + 1 - done)):
                    out.write(chunk)
                    done += len(chunk)
                    with self._lock:
                        job.bytes = base + done
                    if done > size:
                        break
        if done > size:
            target.unlink()
            raise InstallError(f"{target.name} arrived longer than the hub listed it")

    def _open(self, url: str, headers: dict):
        request = urllib.request.Request(url, headers={"User-Agent": "selvar-asr", **headers})
        return urllib.request.urlopen(request, timeout=self._timeout)


def _listed(entry: dict) -> Listed:
    lfs = entry.get("lfs") if isinstance(entry.get("lfs"), dict) else {}
    size = int(lfs.get("size", entry.get("size", 0)))
    sha256, oid = lfs.get("sha256", lfs.get("oid")), entry.get("oid")
    if lfs:
        ok = isinstance(sha256, str) and _SHA256.fullmatch(sha256)
        return Listed(size, ("sha256", sha256) if ok else None)
    ok = isinstance(oid, str) and _GIT_SHA1.fullmatch(oid)
    return Listed(size, ("git-sha1", oid) if ok else None)


def _verify(name: str, listed: Listed, path: Path) -> None:
    if listed.digest is None:
        return
    algorithm, expected = listed.digest
    if algorithm == "sha256":
        digest = hashlib.sha256()
    else:  # a git blob id hashes a small header before the content
        digest = hashlib.sha1(f"blob {listed.size}\0".encode())
    with open(path, "rb") as data:
        while block := data.read(_CHUNK):
            digest.update(block)
    if digest.hexdigest() != expected:
        raise InstallError(f"{name} does not match the hub's checksum")


def _describe(error: Exception) -> str:
    if isinstance(error, urllib.error.HTTPError):
        if error.code in (401, 403, 404):
            return "the model hub does not have this model"
        return f"the model hub answered {error.code}"
    if isinstance(error, urllib.error.URLError):
        return f"the model hub could not be reached ({error.reason})"
    if isinstance(error, InstallError):
        return str(error)
    return f"the download failed ({error})"
