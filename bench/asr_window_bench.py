#!/usr/bin/env python3
"""Encoder window and decoding settings of the transcription server, side by side.

Run with the server's environment (after ./tools/setup-asr.sh):
    ~/.local/share/selvar/asr/bin/python bench/asr_window_bench.py [--runs 3]

For real recordings (../shared/speech), the same recordings cut mid-word at 1, 2 and 3 s,
espeak-ng sentences of about 5, 15 and 30 s, silence and noise, it transcribes each clip
with: the full 30 s window and beam 5 (the old settings), the full window greedy, and the
short window greedy with several floors and margins. It prints seconds, real-time factor, word errors
and, for the cut clips, whether the text looped or lost its tail against the full window.
The load average is printed with every table, since other work on the machine skews times.
"""

import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tools"))
sys.path.insert(0, str(ROOT / "tools" / "tests"))

from selvar_asr import audio  # noqa: E402
from selvar_asr.backends import FasterWhisperBackend, Options  # noqa: E402
from selvar_asr.main import default_models_dir  # noqa: E402
from selvar_asr.shortwindow import Padding  # noqa: E402
from selvar_asr.store import DEFAULT_MODEL_ID, ModelStore  # noqa: E402
from wer import normalize, word_errors  # noqa: E402

SPEECH = next((f for f in (ROOT.parent / "shared" / "speech",
                           ROOT.parent.parent / "shared" / "speech") if f.is_dir()),
              ROOT / "tools" / "tests" / "speech")
SENTENCES = {
    "say5": "Please send the quarterly report to the finance team by Friday.",
    "say15": "I would like to schedule a meeting for tomorrow afternoon. The weather today is "
             "sunny with a light breeze from the west. Remember to buy milk, eggs and bread.",
    "say30": "I would like to schedule a meeting for tomorrow afternoon. The weather today is "
             "sunny with a light breeze from the west. Remember to buy milk, eggs and bread on "
             "the way home. We should review the budget before the end of the month, and the "
             "new hires start on Monday, so their desks and laptops must be ready by then.",
}
NUMBERS = {"0": "zero", "1": "one", "2": "two", "3": "three", "4": "four", "5": "five",
           "6": "six", "7": "seven", "8": "eight", "9": "nine", "10": "ten"}


def load_average() -> str:
    return " ".join(f"{v:.2f}" for v in os.getloadavg())


def words(text: str) -> list[str]:
    return [NUMBERS.get(w, w) for w in normalize(text)]


def clips(scratch: Path) -> list[tuple[str, np.ndarray, str | None]]:
    found = []
    for wav in sorted(SPEECH.glob("*.wav")):
        samples = audio.decode(wav.read_bytes())
        reference = wav.with_suffix(".txt").read_text().strip()
        found.append((wav.stem, samples, reference))
        if wav.stem in ("lj050-0131", "goforward"):
            for cut in (1.0, 2.0, 3.0):
                found.append((f"{wav.stem}@{cut:g}s", samples[:int(cut * 16000)], None))
    for name, text in SENTENCES.items():
        path = scratch / f"{name}.wav"
        subprocess.run(["espeak-ng", "-v", "en-us", "-s", "150", "-w", str(path), text],
                       check=True)
        found.append((name, audio.decode(path.read_bytes()), text))
    rng = np.random.default_rng(7)
    found.append(("silence3", np.zeros(48000, dtype=np.float32), ""))
    found.append(("noise3", (rng.standard_normal(48000) * 0.05).astype(np.float32), ""))
    return found


def run(backend, samples, runs: int) -> tuple[float, str]:
    times, text = [], ""
    for _ in range(runs):
        began = time.perf_counter()
        text = backend.transcribe(samples, Options(language="en"), threading.Event()).text
        times.append(time.perf_counter() - began)
    return statistics.median(times), text


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--paddings", default="5/1,5/2,8/2,10/1",
                        help="floor/margin seconds of the short windows to compare")
    args = parser.parse_args()
    store = ModelStore(default_models_dir())
    folder = store.folder(DEFAULT_MODEL_ID)
    settings = {"full-beam5": FasterWhisperBackend(folder, short_window=False, beam_size=5),
                "full-greedy": FasterWhisperBackend(folder, short_window=False)}
    for padding in args.paddings.split(","):
        floor, margin = map(float, padding.split("/"))
        backend = FasterWhisperBackend(folder)
        backend._short.padding = Padding(floor=floor, margin=margin)
        settings[f"short-{floor:g}/{margin:g}"] = backend
    for backend in settings.values():
        backend.warm_up()
    with tempfile.TemporaryDirectory() as scratch:
        found = clips(Path(scratch))
    print(f"load average before: {load_average()}")
    totals = {name: [0, 0] for name in settings}
    print(f"{'clip':18} {'sec':>5} " + " ".join(f"{n:>16}" for n in settings))
    for name, samples, reference in found:
        seconds = samples.size / 16000
        cells, texts = [], {}
        for setting, backend in settings.items():
            elapsed, text = run(backend, samples, args.runs)
            texts[setting] = text
            mark = ""
            if reference is not None:
                errors = word_errors(words(reference), words(text))
                totals[setting][0] += errors
                totals[setting][1] += len(words(reference))
                mark = f"e{errors}"
            cells.append(f"{elapsed:6.3f}s {elapsed / seconds:4.2f} {mark:>3}")
        print(f"{name:18} {seconds:5.2f} " + " ".join(f"{c:>16}" for c in cells)
              + f"  load {load_average()}")
        for setting, text in texts.items():
            print(f"    {setting:12} {text!r}")
    print("word errors / reference words: " + ", ".join(
        f"{n} {e}/{w}" for n, (e, w) in totals.items()))
    print(f"load average after: {load_average()}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
