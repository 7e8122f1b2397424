"""Whole-clip transcription with the encoder input cut to the clip instead of Whisper's fixed
30-second window.

Whisper always encodes 30 s of audio, so a 3-second dictation pays for ten times its length.
The CTranslate2 encoder takes shorter inputs; with too little padding, though, the decoder
loses its sense of where the audio ends and loops on a word cut at the end of the clip. So
the window keeps a floor of padding, the decoder gets a token budget that scales with the
speech, and any result that still looks degenerate is refused here: the caller then runs the
full 30-second window for that request.

Only a clip whose speech fits one window takes this path; longer ones go to the full path,
which is already close to the model's speed on them.
"""

import math
import threading
import zlib
from dataclasses import dataclass

import numpy as np

from .backends import Segment, Stopped, Transcript

SAMPLE_RATE = 16000
FRAMES_PER_SECOND = 100
TIME_PRECISION = 0.02
FULL_WINDOW_SECONDS = 30.0
MAX_TOKENS = 448
# As the hosted API decides when to fall back to the next temperature.
COMPRESSION_LIMIT = 2.4
LOGPROB_LIMIT = -1.0
NO_SPEECH_LIMIT = 0.6
LATE_START_SECONDS = 0.8


class Unsupported(Exception):
    """The installed runtime lacks what the short window needs; use the full window."""


@dataclass(frozen=True)
class Padding:
    """Seconds the encoder sees for a clip: never under `floor`, and at least `margin` of
    silence after the speech."""

    floor: float = 5.0
    margin: float = 2.0

    def frames(self, speech_seconds: float) -> int:
        seconds = min(FULL_WINDOW_SECONDS, max(self.floor, speech_seconds + self.margin))
        frames = math.ceil(seconds * FRAMES_PER_SECOND)
        return frames + frames % 2  # the encoder's convolution halves the frames

    def fits(self, speech_seconds: float) -> bool:
        return speech_seconds + self.margin <= FULL_WINDOW_SECONDS


@dataclass
class Decoded:
    tokens: list[int]
    text: str
    temperature: float
    avg_logprob: float
    compression_ratio: float
    no_speech_prob: float
    exhausted: bool  # stopped by the token budget rather than by the end token
    first_time: float = 0.0  # of the first timestamp, where the text starts


def compression_ratio(text: str) -> float:
    data = text.encode("utf-8")
    return len(data) / len(zlib.compress(data)) if data else 0.0


def token_budget(speech_seconds: float) -> int:
    # Fast speech is about 5 tokens a second with timestamps; twice that plus a start leaves
    # room for any real dictation and stops a loop long before the model's own limit.
    return int(24 + 10 * speech_seconds)


def repeated_run(words: list[str]) -> int:
    """The most consecutive copies of any phrase of one to six words."""
    best = 1
    for size in range(1, 7):
        for start in range(len(words) - size):
            copies, at = 1, start + size
            while words[at:at + size] == words[start:start + size]:
                copies += 1
                at += size
            best = max(best, copies if copies * size >= 6 else 1)
    return best


def degenerate(decoded: Decoded, speech_seconds: float) -> str | None:
    """Why a decoded clip cannot be trusted, or None. Looks for the ways a short window
    fails: a loop (repeated phrase, repetitive text, no end before the budget) and more
    words than anyone can say in the time."""
    if decoded.exhausted:
        return "token budget"
    if decoded.compression_ratio > COMPRESSION_LIMIT:
        return "repetitive text"
    words = _words(decoded.text)
    if repeated_run(words) >= 3:
        return "repeated phrase"
    if len(words) > 3 + 4.5 * speech_seconds:
        return "too many words"
    # The voice filter leaves 0.4 s before the first word; a first timestamp much later
    # means the decoder skipped the start, which it does in some windows between 8 and 20 s.
    if decoded.first_time > LATE_START_SECONDS and speech_seconds > 1.5:
        return "late start"
    return None


def _words(text: str) -> list[str]:
    return [w.strip(".,!?;:\"'").lower() for w in text.split() if w.strip(".,!?;:\"'")]


class ShortWindow:
    """Built over a loaded faster-whisper model, whose CTranslate2 model (`runtime`, when the
    model's is wrapped), feature extractor and tokenizer it uses. Construction checks that those parts are there and behave as this
    module expects, so a changed runtime turns the short window off instead of breaking
    requests."""

    def __init__(self, model, runtime=None, padding: Padding = Padding(),
                 timestamps: bool = True) -> None:
        try:
            import ctranslate2
            from faster_whisper.tokenizer import Tokenizer
            from faster_whisper.vad import VadOptions, get_speech_timestamps

            self._ct2 = model.model
            self._features = model.feature_extractor
            self._hf_tokenizer = model.hf_tokenizer
        except (ImportError, AttributeError) as error:
            raise Unsupported(f"runtime parts missing: {error!r}") from error
        # The model may be wrapped (to stop between steps); what it wraps must be the runtime's.
        runtime = runtime if runtime is not None else self._ct2
        if not isinstance(runtime, ctranslate2.models.Whisper):
            raise Unsupported(f"unexpected model type {type(runtime).__name__}")
        self._storage = ctranslate2.StorageView.from_array
        self._tokenizer_type = Tokenizer
        self._speech = lambda audio: get_speech_timestamps(audio, VadOptions())
        self.padding = padding
        self.timestamps = timestamps
        self._self_check()

    def _self_check(self) -> None:
        frames = self.padding.frames(1.0)
        try:
            features = self._mel(np.zeros(SAMPLE_RATE, dtype=np.float32), frames)
            encoded = self._ct2.encode(features)
            shape = tuple(encoded.shape)
            chunks = self._speech(np.zeros(SAMPLE_RATE, dtype=np.float32))
        except Exception as error:  # any failure here means: do not use this path
            raise Unsupported(f"self-check failed: {error!r}") from error
        if len(shape) != 3 or shape[1] != frames // 2 or not isinstance(chunks, list):
            raise Unsupported(f"self-check: encoder answered shape {shape}")

    def transcribe(self, audio: np.ndarray, language: str | None, prompt: str | None,
                   temperatures: tuple[float, ...], stop: threading.Event,
                   vad: bool = True) -> tuple[Transcript | None, str]:
        """The transcript, or None and the reason when the full window must do it."""
        duration = audio.size / SAMPLE_RATE
        chunks = self._speech(audio) if vad else [{"start": 0, "end": audio.size}]
        if not chunks:
            return Transcript("", language or "", duration), ""
        speech = np.concatenate([audio[c["start"]:c["end"]] for c in chunks])
        seconds = speech.size / SAMPLE_RATE
        if not self.padding.fits(seconds):
            return None, "long speech"
        encoded = self._ct2.encode(self._mel(speech, self.padding.frames(seconds)))
        language = language or self._detect(encoded)
        tokenizer = self._tokenizer_type(self._hf_tokenizer, self._ct2.is_multilingual,
                                         task="transcribe", language=language)
        decoded = self._with_fallback(encoded, tokenizer, prompt, temperatures, seconds, stop)
        if decoded is None:  # silence
            return Transcript("", language, duration), ""
        reason = degenerate(decoded, seconds)
        if reason:
            return None, reason
        segments = _segments(decoded, tokenizer, seconds, _TimeMap(chunks))
        text = "".join(tokenizer.decode(s.tokens) for s in segments).strip()
        return Transcript(text, language, duration, segments), ""

    def _mel(self, samples: np.ndarray, frames: int):
        features = self._features(samples)[:, :samples.size // 160]
        padded = np.zeros((features.shape[0], frames), dtype=np.float32)
        padded[:, :min(frames, features.shape[1])] = features[:, :frames]
        return self._storage(np.ascontiguousarray(padded[None]))

    def _detect(self, encoded) -> str:
        if not self._ct2.is_multilingual:
            return "en"
        token, _ = self._ct2.detect_language(encoded)[0][0]
        return token[2:-2]

    def _prompt(self, tokenizer, prompt: str | None) -> list[int]:
        head = []
        if prompt and prompt.strip():
            head = [tokenizer.sot_prev] + tokenizer.encode(" " + prompt.strip())[
                -(MAX_TOKENS // 2 - 1):]
        return head + list(tokenizer.sot_sequence) + (
            [] if self.timestamps else [tokenizer.no_timestamps])

    def _with_fallback(self, encoded, tokenizer, prompt: str | None,
                       temperatures: tuple[float, ...], seconds: float,
                       stop: threading.Event) -> Decoded | None:
        tokens = self._prompt(tokenizer, prompt)
        budget = min(MAX_TOKENS - len(tokens), token_budget(seconds))
        tried: list[Decoded] = []
        for temperature in temperatures:
            if stop.is_set():
                raise Stopped()
            decoded = self._decode(encoded, tokenizer, tokens, temperature, budget)
            if (decoded.no_speech_prob > NO_SPEECH_LIMIT
                    and decoded.avg_logprob < LOGPROB_LIMIT):
                return None
            if (decoded.compression_ratio <= COMPRESSION_LIMIT and not decoded.exhausted
                    and decoded.avg_logprob >= LOGPROB_LIMIT):
                return decoded
            tried.append(decoded)
        usable = [d for d in tried if d.compression_ratio <= COMPRESSION_LIMIT] or tried
        return max(usable, key=lambda d: d.avg_logprob)

    def _decode(self, encoded, tokenizer, prompt: list[int], temperature: float,
                budget: int) -> Decoded:
        sampling = ({"sampling_topk": 0, "sampling_temperature": temperature}
                    if temperature > 0 else {})
        result = self._ct2.generate(
            encoded, [prompt], beam_size=1, max_length=len(prompt) + budget,
            return_scores=True, return_no_speech_prob=True, suppress_blank=True,
            suppress_tokens=_suppressed(tokenizer), max_initial_timestamp_index=50,
            **sampling)[0]
        tokens = list(result.sequences_ids[0])
        text = tokenizer.decode(tokens).strip()
        times = [t for t in tokens if t >= tokenizer.timestamp_begin]
        first = (times[0] - tokenizer.timestamp_begin) * TIME_PRECISION if times else 0.0
        return Decoded(tokens, text, temperature,
                       result.scores[0] * len(tokens) / (len(tokens) + 1),
                       compression_ratio(text), result.no_speech_prob,
                       len(tokens) >= budget, first)


def _suppressed(tokenizer) -> list[int]:
    return sorted(set(tokenizer.non_speech_tokens) | {
        tokenizer.transcribe, tokenizer.translate, tokenizer.sot, tokenizer.sot_prev,
        tokenizer.sot_lm, tokenizer.no_speech})


class _TimeMap:
    """Maps times in the speech-only audio back to the clip the voice filter cut it from."""

    def __init__(self, chunks: list[dict]) -> None:
        self._chunks = chunks

    def __call__(self, seconds: float) -> float:
        at = seconds * SAMPLE_RATE
        for chunk in self._chunks:
            length = chunk["end"] - chunk["start"]
            if at <= length:
                return (chunk["start"] + at) / SAMPLE_RATE
            at -= length
        return (self._chunks[-1]["end"] + at) / SAMPLE_RATE


def _segments(decoded: Decoded, tokenizer, seconds: float, to_clip: _TimeMap) -> list[Segment]:
    """Splits the decoded tokens at Whisper's timestamp tokens."""
    begin = tokenizer.timestamp_begin
    segments, text, start = [], [], 0.0
    for token in decoded.tokens + [begin + round(seconds / TIME_PRECISION)]:
        if token < begin:
            text.append(token)
            continue
        at = min((token - begin) * TIME_PRECISION, seconds)
        if text:
            segments.append(Segment.of(to_clip(start), to_clip(max(at, start)),
                                       tokenizer.decode(text), _stats(decoded, text)))
            text = []
        start = at
    return segments


def _stats(decoded: Decoded, tokens: list[int]) -> dict:
    return {"tokens": tokens, "temperature": decoded.temperature,
            "avg_logprob": decoded.avg_logprob, "compression_ratio": decoded.compression_ratio,
            "no_speech_prob": decoded.no_speech_prob}
