"""Decodes uploaded audio of any rate and layout into the 16 kHz mono samples Whisper takes."""

import io

import av
import numpy as np

SAMPLE_RATE = 16000
# Longer than anything the app can get transcribed within its own time limit, and small
# enough that its samples (4 bytes each at 16 kHz, 115 MB) are a bounded cost per request.
MAX_SECONDS = 30 * 60
# Below this, one packet of a few kilobytes resamples into megabytes: a file claiming a
# 1 Hz rate is a decompression bomb, not a recording.
MIN_RATE = 1000
# Only audio containers. FFmpeg's other demuxers open further files or URLs named inside
# the upload (concat, HLS, DASH, image sequences) or are not audio at all (images,
# subtitles), so anything outside this list is refused before its header is read.
CONTAINERS = ("wav", "w64", "mp3", "flac", "ogg", "mov", "aac", "matroska", "aiff", "caf",
              "mpeg")


class AudioError(Exception):
    """The upload is not audio that can be decoded (maps to 422)."""


class AudioTooLong(Exception):
    """The upload decodes to more audio than one request may carry (maps to 400)."""


def decode(data: bytes) -> np.ndarray:
    """Float32 samples in [-1, 1] at 16 kHz, mono. Empty audio gives an empty array."""
    try:
        with av.open(io.BytesIO(data), mode="r", metadata_errors="ignore",
                     container_options={"format_whitelist": ",".join(CONTAINERS)}) as container:
            if not set(container.format.name.split(",")) & set(CONTAINERS):
                raise AudioError(f"{container.format.name} is not an audio format")
            if not container.streams.audio:
                raise AudioError("the file has no audio stream")
            stream = container.streams.audio[0]
            _check_declared(container, stream)
            return _resample(container, stream)
    except av.ArgumentError as error:  # what FFmpeg answers for a refused container
        raise AudioError("the file is not in an audio format this server accepts") from error
    except (av.FFmpegError, OSError, ValueError, EOFError) as error:
        raise AudioError(f"the audio could not be decoded ({error})") from error


def _check_declared(container, stream) -> None:
    """Refuses what the header already says is too long, before any of it is decoded."""
    rate = stream.codec_context.sample_rate or 0
    if 0 < rate < MIN_RATE:
        raise AudioError(f"a sample rate of {rate} Hz is not a recording")
    seconds = 0.0
    if stream.duration is not None and stream.time_base is not None:
        seconds = float(stream.duration * stream.time_base)
    elif container.duration is not None:
        seconds = container.duration / av.time_base
    if seconds > MAX_SECONDS:
        raise AudioTooLong(f"the audio is longer than {MAX_SECONDS} seconds")


def _resample(container, stream) -> np.ndarray:
    resampler = av.AudioResampler(format="s16", layout="mono", rate=SAMPLE_RATE)
    chunks: list[np.ndarray] = []
    count = 0
    # Headers can lie or be absent (streams without one), so the count is checked again
    # while decoding; the rate floor keeps any single frame small.
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
    joined = np.concatenate(chunks)
    chunks.clear()
    samples = joined.astype(np.float32)
    del joined
    samples /= 32768.0
    return samples
