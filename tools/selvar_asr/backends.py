"""Whisper runtimes behind one small interface: faster-whisper for CTranslate2 models,
MLX Whisper for MLX models on Apple silicon."""

import importlib.util
import os
import platform
import threading
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable, Protocol

import numpy as np

from . import log, store

# The hosted API's temperature 0 means: start greedy, and fall back to sampling when the
# decoding looks degenerate.
FALLBACK_TEMPERATURES = (0.0, 0.2, 0.4, 0.6, 0.8, 1.0)
# Greedy decoding: beam search gave the same words on dictation and cost a quarter more.
BEAM_SIZE = 1


class Stopped(Exception):
    """The request gave up (time bound) while its transcription was still running."""


@dataclass
class Segment:
    start: float
    end: float
    text: str
    # Decoder statistics, passed through to verbose_json as the hosted API reports them.
    seek: int = 0
    tokens: list[int] = field(default_factory=list)
    temperature: float = 0.0
    avg_logprob: float = 0.0
    compression_ratio: float = 0.0
    no_speech_prob: float = 0.0

    @staticmethod
    def of(start: float, end: float, text: str, stats: dict) -> "Segment":
        known = {k: stats[k] for k in _STATS if stats.get(k) is not None}
        return Segment(start, end, text.strip(), **known)


_STATS = ("seek", "tokens", "temperature", "avg_logprob", "compression_ratio",
          "no_speech_prob")


@dataclass
class Transcript:
    text: str
    language: str
    duration: float
    segments: list[Segment] = field(default_factory=list)


@dataclass
class Options:
    language: str | None = None
    prompt: str | None = None
    temperature: float = 0.0

    def temperatures(self) -> float | tuple[float, ...]:
        return FALLBACK_TEMPERATURES if self.temperature == 0 else self.temperature


class Backend(Protocol):
    runtime: str
    languages: frozenset[str] | None

    def transcribe(self, audio: np.ndarray, options: Options,
                   stop: threading.Event) -> Transcript: ...

    def warm_up(self) -> None:
        """Runs the model once so the first request pays no first-use costs."""


Loader = Callable[[str, Path, str], Backend]


def available_runtimes() -> set[str]:
    found = set()
    if importlib.util.find_spec("faster_whisper"):
        found.add(store.CTRANSLATE2)
    if (platform.system() == "Darwin" and platform.machine() == "arm64"
            and importlib.util.find_spec("mlx_whisper")):
        found.add(store.MLX)
    return found


def load(model_id: str, folder: Path, runtime: str) -> Backend:
    if runtime == store.CTRANSLATE2:
        if os.environ.get(OLD_DECODING_ENV):
            return FasterWhisperBackend(folder, short_window=False, beam_size=5)
        return FasterWhisperBackend(folder)
    if runtime == store.MLX:
        return MlxWhisperBackend(folder)
    raise ValueError(f"no runtime for {model_id}")


# Set to any value, the server decodes as it used to, for comparisons: every clip in Whisper's
# full 30-second window, with beam search.
OLD_DECODING_ENV = "SELVAR_ASR_OLD_DECODING"


class FasterWhisperBackend:
    runtime = store.CTRANSLATE2

    def __init__(self, folder: Path, short_window: bool = True,
                 beam_size: int = BEAM_SIZE) -> None:
        import ctranslate2

        self.device = "cpu"
        if ctranslate2.get_cuda_device_count() > 0:
            try:
                self._model = self._build(folder, "cuda", "float16")
                self.warm_up()  # missing CUDA libraries only show at the first inference
                self.device = "cuda"
            except Exception as error:  # a GPU that cannot run it still leaves the CPU
                log.write(f"cuda unusable, using the cpu: {error!r}")
        if self.device == "cpu":
            self._model = self._build(folder, "cpu", "int8")
        self.languages = frozenset(self._model.supported_languages)
        self._stop = threading.Event()
        # One 30-second window costs an encode and a decode per fallback temperature, seconds
        # in all; checking before each of those calls stops a job whose client has gone
        # inside its window, not only after it.
        runtime = self._model.model
        self._model.model = _Interruptible(runtime, lambda: self._stop)
        self.beam_size = beam_size
        self._short = self._short_window(runtime) if short_window else None

    def _short_window(self, runtime):
        from .shortwindow import ShortWindow, Unsupported

        try:
            return ShortWindow(self._model, runtime)
        except Unsupported as error:
            log.write(f"short window off, every clip gets the full window: {error}")
            return None

    def _in_short_window(self, audio: np.ndarray, options: Options,
                         stop: threading.Event) -> Transcript | None:
        temperatures = options.temperatures()
        temperatures = temperatures if isinstance(temperatures, tuple) else (temperatures,)
        transcript, reason = self._short.transcribe(audio, options.language, options.prompt,
                                                    temperatures, stop)
        if transcript is None and reason != "long speech" and options.prompt:
            # A prompt (the text before a piece of a session) can pull the decoder into
            # repeating it; the words matter more than the prompt's spelling hints.
            transcript, reason = self._short.transcribe(audio, options.language, None,
                                                        temperatures, stop)
        if transcript is None and reason != "long speech":
            log.write(f"short window refused the clip, using the full window: {reason}")
        return transcript

    @staticmethod
    def _build(folder: Path, device: str, compute_type: str):
        from faster_whisper import WhisperModel

        return WhisperModel(str(folder), device=device, compute_type=compute_type,
                            cpu_threads=os.cpu_count() or 0)

    def warm_up(self) -> None:
        silence = np.zeros(16000, dtype=np.float32)
        # Past the voice filter (which would skip silence) through encoder and decoder,
        # with a short decode so silence cannot start a long hallucination; then once
        # through the voice filter to load it.
        list(self._model.transcribe(silence, language="en", temperature=0.0,
                                    max_new_tokens=4)[0])
        list(self._model.transcribe(silence, language="en", vad_filter=True)[0])

    def transcribe(self, audio: np.ndarray, options: Options,
                   stop: threading.Event) -> Transcript:
        self._stop = stop  # jobs run one at a time on the engine's single worker
        # The temperature fallback samples: seeding each request gives the same audio the same
        # text, whatever the requests before it drew.
        import ctranslate2

        ctranslate2.set_random_seed(0)
        try:
            return self._transcribe(audio, options, stop)
        finally:
            self._stop = threading.Event()

    def _transcribe(self, audio: np.ndarray, options: Options,
                    stop: threading.Event) -> Transcript:
        if self._short is not None:
            transcript = self._in_short_window(audio, options, stop)
            if transcript is not None:
                return transcript
        pieces, info = self._model.transcribe(
            audio, language=options.language, initial_prompt=options.prompt,
            temperature=options.temperatures(), beam_size=self.beam_size,
            condition_on_previous_text=False,
            # Dictation clips start and end in silence, on which Whisper hallucinates and
            # its temperature fallback spends seconds; the voice filter drops it first.
            vad_filter=True)
        segments, raw = [], []
        # Segments decode lazily, one 30-second window at a time: a request that ran out of
        # time stops here instead of holding the model for the rest of a long upload.
        for piece in pieces:
            if stop.is_set():
                raise Stopped()
            raw.append(piece.text)
            segments.append(Segment.of(piece.start, piece.end, piece.text,
                                       {k: getattr(piece, k, None) for k in _STATS}))
        # Whisper puts the spaces between words itself (and none in scripts without them).
        return Transcript("".join(raw).strip(), info.language, info.duration, segments)


class _Interruptible:
    """Stands in for the CTranslate2 model inside faster-whisper, raising Stopped instead of
    starting another encode or decode once the current job's stop is set."""

    _STEPS = frozenset({"encode", "generate", "detect_language", "align"})

    def __init__(self, inner, stop: Callable[[], threading.Event]) -> None:
        self._inner = inner
        self._current_stop = stop

    def __getattr__(self, name: str):
        value = getattr(self._inner, name)
        if name not in self._STEPS:
            return value

        def step(*args, **kwargs):
            if self._current_stop().is_set():
                raise Stopped()
            return value(*args, **kwargs)

        return step


class MlxWhisperBackend:
    runtime = store.MLX
    device = "gpu"

    def __init__(self, folder: Path) -> None:
        import mlx_whisper
        from mlx_whisper.tokenizer import LANGUAGES

        self._mlx = mlx_whisper
        self._folder = str(folder)
        self.languages = frozenset(LANGUAGES)

    def warm_up(self) -> None:
        self._mlx.transcribe(np.zeros(16000, dtype=np.float32), path_or_hf_repo=self._folder,
                             language="en", temperature=0.0, verbose=None)

    def transcribe(self, audio: np.ndarray, options: Options,
                   stop: threading.Event) -> Transcript:
        result = self._mlx.transcribe(
            audio, path_or_hf_repo=self._folder, language=options.language,
            initial_prompt=options.prompt, temperature=options.temperatures(),
            condition_on_previous_text=False, verbose=None)
        if stop.is_set():
            raise Stopped()
        segments = [Segment.of(s["start"], s["end"], s["text"], s)
                    for s in result.get("segments", [])]
        return Transcript(result.get("text", "").strip(),
                          result.get("language") or options.language or "",
                          len(audio) / 16000, segments)
