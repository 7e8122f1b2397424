#!/usr/bin/python3
"""Splits the time from releasing the trigger to the text arriving in the window, from the
records the run left behind (all wall-clock times):

  released     the test released the trigger key
  transcribing Selvar's pill turned to "Transcribing": capture is over, the upload begins
  hidden       the pill hid: the server's reply has been committed
  arrived      the text window saw the text

The server's log gives the inference time of the same request. Selvar's own share is the total
less inference and the fixed 60 ms wait before the paste keystroke.
"""
import argparse
import datetime
import json
import re
import wave

FIXED_PASTE_DELAY = 0.060


def iso(text: str) -> float:
    return datetime.datetime.fromisoformat(text.replace("Z", "+00:00")).timestamp()


def last_event(path: str, name: str, after: float, state: str | None = None) -> float:
    found = None
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            record = json.loads(line)
            if record.get("kind") != "event" or record.get("name") != name:
                continue
            if state is not None and record.get("state", "").lower().find(state) < 0:
                continue
            t = iso(record["t"])
            if t >= after - 2 and (found is None or t > found):
                found = t
    if found is None:
        raise SystemExit(f"latency: no {name} event after the release")
    return found


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--released", type=float, required=True)
    parser.add_argument("--events", required=True)
    parser.add_argument("--diagnostics", required=True)
    parser.add_argument("--server-log", required=True)
    parser.add_argument("--speech", required=True)
    a = parser.parse_args()

    with open(a.events, encoding="utf-8") as lines:
        arrived = min(float(line.split()[0]) for line in lines
                      if int(line.split()[1]) > 0 and float(line.split()[0]) >= a.released)
    transcribing = last_event(a.diagnostics, "hud.show", a.released, "transcri")
    hidden = last_event(a.diagnostics, "hud.hide", transcribing)
    inference = total = None
    with open(a.server_log, encoding="utf-8") as lines:
        for line in lines:
            # The whole file, or the end of a session that heard the audio while it was spoken.
            m = re.search(r"path=(?:/v1/audio/transcriptions|/v1/sessions/\w+/finish) status=200 "
                          r".*inference_seconds=([\d.]+) total_seconds=([\d.]+)", line)
            if m:
                inference, total = float(m.group(1)), float(m.group(2))
    if inference is None:
        raise SystemExit("latency: the server logged no transcription")
    with wave.open(a.speech) as w:
        spoken = w.getnframes() / w.getframerate()

    whole = arrived - a.released
    audio = transcribing - a.released
    server = hidden - transcribing
    delivery = arrived - hidden
    own = whole - inference - FIXED_PASTE_DELAY
    print(f"latency for a {spoken:.1f} s sentence, key release to text in the window: {whole * 1000:.0f} ms")
    print(f"  audio finishing (release to upload):       {audio * 1000:7.0f} ms")
    print(f"  server round trip (upload to commit):      {server * 1000:7.0f} ms")
    print(f"    of which inference (server log):         {inference * 1000:7.0f} ms")
    print(f"    server request total (server log):       {total * 1000:7.0f} ms")
    print(f"  pipeline and paste (commit to text):       {delivery * 1000:7.0f} ms")
    print(f"    of which the fixed paste delay:          {FIXED_PASTE_DELAY * 1000:7.0f} ms")
    print(f"  Selvar's own share (total - inference - fixed delay): {own * 1000:.0f} ms")


if __name__ == "__main__":
    main()
