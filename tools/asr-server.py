#!/usr/bin/env python3
"""Selvar's local transcription server: OpenAI-compatible, on the loopback address only.

    ~/.local/share/selvar/asr/bin/python asr-server.py --port 8020 [--host 127.0.0.1]

Set up its environment and default model once with ./tools/setup-asr.sh.
"""

import sys
from pathlib import Path

# The server's modules ship beside this script.
sys.path.insert(0, str(Path(__file__).resolve().parent))

from selvar_asr.main import main  # noqa: E402

if __name__ == "__main__":
    sys.exit(main())
