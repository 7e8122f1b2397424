#!/usr/bin/env python3
"""Release-to-text at the transcription server: the whole file sent at the release against a
session that heard the audio while it was spoken, side by side, before and after.

Run with the server's environment (after ./tools/setup-asr.sh):
    ~/.local/share/selvar/asr/bin/python bench/asr_session_bench.py [--runs 1] [--no-before]

Clips: the real recordings in ../shared/speech (or tools/tests/speech), and espeak-ng speech of
about 5, 15 and 30 s, each continuous and with pauses between its sentences. For each clip:
  before   the old server (full 30 s window, beam 5), whole file posted at the release
  whole    this server, whole file posted at the release
  session  this server, audio streamed in real time in 0.25 s chunks, finish at the release
It prints the seconds from the release to the reply, the word errors (numbers normalised to
words), and the load average with every line: other work on the machine skews every time.
"""

import argparse
import io
import os
import statistics
import subprocess
import sys
import tempfile
import time
import wave
from pathlib import Path

import httpx
import numpy as np

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tools"))
sys.path.insert(0, str(ROOT / "tools" / "tests"))
sys.path.insert(0, str(ROOT / "bench"))

from asr_server_bench import Server  # noqa: E402
from selvar_asr import audio  # noqa: E402
from selvar_asr.main import default_models_dir  # noqa: E402
from wer import normalize, word_errors  # noqa: E402

# The shared recordings sit beside the project (or beside its worktrees); a few are copied in.
SPEECH = [ROOT.parent / "shared" / "speech", ROOT.parent.parent / "shared" / "speech",
          ROOT / "tools" / "tests" / "speech"]
SENTENCES = [
    "Please send the quarterly report to the finance team by Friday.",
    "I would like to schedule a meeting for tomorrow afternoon.",
    "The weather today is sunny with a light breeze from the west.",
    "Remember to buy milk, eggs and bread on the way home.",
    "We should review the budget before the end of the month.",
    "The new hires start on Monday, so their desks must be ready by then.",
]
NUMBERS = {"1": "one", "2": "two", "3": "three", "4": "four", "5": "five", "6": "six",
           "7": "seven", "8": "eight", "9": "nine", "10": "ten"}
CHUNK = 4000  # samples, as the app sends them


def load_average() -> str:
    return "/".join(f"{v:.1f}" for v in os.getloadavg())


def words(text: str) -> list[str]:
    return [NUMBERS.get(w, w) for w in normalize(text)]


def speak(text: str, scratch: Path) -> np.ndarray:
    path = scratch / "say.wav"
    subprocess.run(["espeak-ng", "-v", "en-us", "-s", "150", "-w", str(path), text], check=True)
    return audio.decode(path.read_bytes())


def clips(scratch: Path) -> list[tuple[str, np.ndarray, str]]:
    found = []
    folder = next((f for f in SPEECH if f.is_dir()), None)
    for wav in sorted(folder.glob("*.wav")) if folder else []:
        found.append((wav.stem, audio.decode(wav.read_bytes()),
                      wav.with_suffix(".txt").read_text().strip()))
    for count, name in ((1, "say5"), (3, "say15"), (6, "say30")):
        chosen = SENTENCES[:count]
        found.append((name, speak(" ".join(chosen), scratch), " ".join(chosen)))
        gap = np.zeros(int(0.7 * 16000), dtype=np.float32)
        parts = [p for s in chosen for p in (speak(s, scratch), gap)][:-1]
        if count > 1:
            found.append((name + "-pauses", np.concatenate(parts), " ".join(chosen)))
    return found


def wav_bytes(samples: np.ndarray) -> bytes:
    out = io.BytesIO()
    with wave.open(out, "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(16000)
        w.writeframes(pcm(samples))
    return out.getvalue()


def pcm(samples: np.ndarray) -> bytes:
    return (np.clip(samples, -1, 1) * 32767).astype("<i2").tobytes()


def whole(server: Server, samples: np.ndarray) -> tuple[float, str]:
    data = wav_bytes(samples)
    began = time.perf_counter()
    reply = server.client.post("/v1/audio/transcriptions",
                               files={"file": ("audio.wav", data, "audio/wav")},
                               data={"language": "en"})
    reply.raise_for_status()
    return time.perf_counter() - began, reply.json()["text"]


def session(server: Server, samples: np.ndarray) -> tuple[float, str]:
    opened = server.client.post("/v1/sessions", json={"language": "en"})
    opened.raise_for_status()
    sid = opened.json()["id"]
    started = time.perf_counter()
    for number, at in enumerate(range(0, samples.size, CHUNK)):
        # Real time: a chunk leaves when its audio has been spoken.
        due = started + (at + CHUNK) / 16000
        time.sleep(max(0.0, due - time.perf_counter()))
        server.client.put(f"/v1/sessions/{sid}/audio/{number}",
                          content=pcm(samples[at:at + CHUNK])).raise_for_status()
    began = time.perf_counter()
    reply = server.client.post(f"/v1/sessions/{sid}/finish")
    reply.raise_for_status()
    return time.perf_counter() - began, reply.json()["text"]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--runs", type=int, default=1)
    parser.add_argument("--no-before", action="store_true", help="skip the old server")
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as scratch:
        found = clips(Path(scratch))
    servers = {}
    if not args.no_before:
        os.environ["SELVAR_ASR_OLD_DECODING"] = "1"
        servers["before"] = Server(default_models_dir())
        del os.environ["SELVAR_ASR_OLD_DECODING"]
    servers["now"] = Server(default_models_dir())
    paths = [("before", "before", whole)] if "before" in servers else []
    paths += [("whole", "now", whole), ("session", "now", session)]
    print(f"{'clip':16} {'sec':>5} " + " ".join(f"{n:>14}" for n, _, _ in paths) + "  load")
    results = {n: [] for n, _, _ in paths}
    try:
        for name, samples, reference in found:
            seconds = samples.size / 16000
            cells = []
            for label, which, run in paths:
                times, text = [], ""
                for _ in range(args.runs):
                    elapsed, text = run(servers[which], samples)
                    times.append(elapsed)
                errors = word_errors(words(reference), words(text))
                results[label].append((seconds, statistics.median(times), errors,
                                       len(words(reference))))
                cells.append(f"{statistics.median(times):7.3f}s e{errors:<3}")
            print(f"{name:16} {seconds:5.1f} " + " ".join(f"{c:>14}" for c in cells)
                  + f"  {load_average()}")
    finally:
        for server in servers.values():
            server.stop()
    for label, rows in results.items():
        short = [t for s, t, _, _ in rows if s <= 8]
        long = [t for s, t, _, _ in rows if s >= 14]
        errors = sum(e for *_, e, _ in rows), sum(n for *_, n in rows)
        print(f"{label:8} median release->text: clips <= 8 s {statistics.median(short):.3f}s, "
              f"clips >= 14 s {statistics.median(long):.3f}s; word errors {errors[0]}/{errors[1]}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
