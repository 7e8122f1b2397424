"""Decodes uploaded audio of any rate and layout into the 16 kHz mono samples Whisper takes."""

import io

import av
import numpy as np

SAMPLE_RATE = 16000
# A 25 MB upload of a low-bitrate codec can hold many hours; refuse before memory does.
MAX_SECONDS = 2 * 60 * 60


class AudioError(Exception):
    """The upload is not audio that can be decoded (maps to 422)."""


class AudioTooLong(Exception):
    """The upload decodes to more audio than one request may carry (maps to 400)."""


def decode(data: bytes) -> np.ndarray:
    """Float32 samples in [-1, 1] at 16 kHz, mono. Empty audio gives an empty array."""
    try:
        with av.open(io.BytesIO(data), mode="r", metadata_errors="ignore") as container:
            if not container.streams.audio:
                raise AudioError("the file has no audio stream")
            return _resample(container, container.streams.audio[0])
    except (av.FFmpegError, OSError, ValueError, EOFError) as error:
        raise AudioError(f"the audio could not be decoded ({error})") from error


def _resample(container, stream) -> np.ndarray:
    resampler = av.AudioResampler(format="s16", layout="mono", rate=SAMPLE_RATE)
    chunks: list[np.ndarray] = []
    count = 0
    for frame in container.decode(stream):
        for out in resampler.resample(frame):
            chunks.append(out.to_ndarray().reshape(-1))
            count += chunks[-1].size
        if count > MAX_SECONDS * SAMPLE_RATE:
            raise AudioTooLong(f"the audio is longer than {MAX_SECONDS} seconds")
    for out in resampler.resample(None):
        chunks.append(out.to_ndarray().reshape(-1))
    if not chunks:
        return np.zeros(0, dtype=np.float32)
    return np.concatenate(chunks).astype(np.float32) / 32768.0
