"""Where to cut a recording that is still growing, so that finished pieces can be transcribed
while the user goes on speaking: in a pause, or at the quietest moment when the speaker never
pauses for long."""

import numpy as np

SAMPLE_RATE = 16000
FRAME = SAMPLE_RATE // 50  # 20 ms levels
# A piece shorter than this gives Whisper too little context to be worth cutting off.
MIN_PIECE_SECONDS = 3.0
# Past this, cut at the quietest moment even without a pause: the tail left for the release
# must stay short.
MAX_PIECE_SECONDS = 20.0
PAUSE_SECONDS = 0.3
SILENCE_FLOOR = 0.004


def levels(samples: np.ndarray) -> np.ndarray:
    """RMS of each whole 20 ms frame."""
    count = samples.size // FRAME
    frames = samples[:count * FRAME].reshape(count, FRAME).astype(np.float32)
    return np.sqrt(np.mean(frames * frames, axis=1))


def find_cut(samples: np.ndarray) -> int | None:
    """The sample index to cut the pending audio at, or None to wait for more. The cut lies
    inside a pause of at least PAUSE_SECONDS that starts MIN_PIECE_SECONDS in or later, so
    no word is split; a piece that reaches MAX_PIECE_SECONDS without one is cut at its
    quietest frame in the second half."""
    if samples.size < MIN_PIECE_SECONDS * SAMPLE_RATE:
        return None
    level = levels(samples)
    quiet = level < max(SILENCE_FLOOR, 0.15 * float(np.percentile(level, 90)))
    earliest = int(MIN_PIECE_SECONDS * 50)
    needed = int(PAUSE_SECONDS * 50)
    run = 0
    for index in range(len(quiet)):
        run = run + 1 if quiet[index] else 0
        if run == needed and index - run + 1 >= earliest:
            # Half the pause stays with each side.
            return (index - run // 2 + 1) * FRAME
    if samples.size >= MAX_PIECE_SECONDS * SAMPLE_RATE:
        half = len(level) // 2
        return (half + int(np.argmin(level[half:]))) * FRAME + FRAME // 2
    return None
