"""Selvar's local, OpenAI-compatible transcription server."""
