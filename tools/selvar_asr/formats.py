"""The reply bodies of the transcription endpoint, one per response_format."""

from starlette.responses import JSONResponse, PlainTextResponse, Response

from .backends import Segment, Transcript

FORMATS = ("json", "text", "verbose_json", "srt", "vtt")


def render(transcript: Transcript, response_format: str) -> Response:
    if response_format == "json":
        return JSONResponse({"text": transcript.text})
    if response_format == "text":
        return PlainTextResponse(transcript.text + "\n")
    if response_format == "verbose_json":
        return JSONResponse(_verbose(transcript))
    if response_format == "srt":
        return PlainTextResponse(_cues(transcript, ",", numbered=True))
    if response_format == "vtt":
        return PlainTextResponse("WEBVTT\n\n" + _cues(transcript, ".", numbered=False),
                                 media_type="text/vtt")
    raise ValueError(response_format)


def clock(seconds: float, decimal: str) -> str:
    millis = max(0, round(seconds * 1000))
    hours, millis = divmod(millis, 3_600_000)
    minutes, millis = divmod(millis, 60_000)
    secs, millis = divmod(millis, 1000)
    return f"{hours:02d}:{minutes:02d}:{secs:02d}{decimal}{millis:03d}"


def _cues(transcript: Transcript, decimal: str, numbered: bool) -> str:
    cues = []
    for number, segment in enumerate(transcript.segments, start=1):
        timing = f"{clock(segment.start, decimal)} --> {clock(segment.end, decimal)}"
        head = f"{number}\n" if numbered else ""
        cues.append(f"{head}{timing}\n{segment.text}\n")
    return "\n".join(cues)


def _verbose(transcript: Transcript) -> dict:
    return {
        "task": "transcribe",
        "language": transcript.language,
        "duration": round(transcript.duration, 3),
        "text": transcript.text,
        "segments": [_segment(index, s) for index, s in enumerate(transcript.segments)],
    }


def _segment(index: int, segment: Segment) -> dict:
    return {"id": index, "seek": segment.seek, "start": round(segment.start, 3),
            "end": round(segment.end, 3), "text": segment.text, "tokens": list(segment.tokens),
            "temperature": segment.temperature, "avg_logprob": segment.avg_logprob,
            "compression_ratio": segment.compression_ratio,
            "no_speech_prob": segment.no_speech_prob}
