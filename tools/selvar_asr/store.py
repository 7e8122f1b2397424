"""The models folder: which models are installed, in which form, and which one to serve."""

import os
import re
import shutil
from pathlib import Path

# Whisper base in CTranslate2 form, installed by setup-asr.sh without any hub download.
DEFAULT_MODEL_ID = "Systran/faster-whisper-base"

CTRANSLATE2 = "ctranslate2"
MLX = "mlx"

# Hub-style "owner/name" or a bare name. Each part starts with a letter or digit, so no part
# can be "." or "..", and "--" is reserved because it stands for the slash in folder names.
_ID = re.compile(r"[A-Za-z0-9][A-Za-z0-9._-]{0,95}(/[A-Za-z0-9][A-Za-z0-9._-]{0,95})?")
_MLX_WEIGHTS = ("weights.safetensors", "weights.npz", "model.safetensors")


def valid_id(model_id: object) -> bool:
    return (isinstance(model_id, str) and _ID.fullmatch(model_id) is not None
            and ".." not in model_id and "--" not in model_id)


def model_format(folder: Path) -> str | None:
    """The runtime a model folder is meant for, or None when it holds no usable model."""
    if not (folder / "config.json").is_file():
        return None
    if (folder / "model.bin").is_file():
        return CTRANSLATE2
    if any((folder / name).is_file() for name in _MLX_WEIGHTS):
        return MLX
    return None


def folder_size(folder: Path) -> int:
    return sum(p.stat().st_size for p in folder.rglob("*") if p.is_file())


class ModelStore:
    def __init__(self, root: Path) -> None:
        self.root = Path(root)
        self.staging = self.root / ".partial"

    def folder(self, model_id: str) -> Path:
        return self.root / model_id.replace("/", "--")

    def staging_folder(self, model_id: str) -> Path:
        return self.staging / model_id.replace("/", "--")

    def format_of(self, model_id: str) -> str | None:
        return model_format(self.folder(model_id))

    def installed(self) -> list[str]:
        if not self.root.is_dir():
            return []
        ids = (p.name.replace("--", "/", 1) for p in self.root.iterdir()
               if not p.name.startswith(".") and p.is_dir())
        return sorted(i for i in ids if valid_id(i) and self.format_of(i))

    def choose(self, requested: str | None, runtimes: set[str]) -> str | None:
        """The model to serve: the requested one when installed and runnable here, else the
        default, else any other installed model the runtimes here can run."""
        def runnable(model_id: str) -> bool:
            return self.format_of(model_id) in runtimes

        if requested and valid_id(requested) and runnable(requested):
            return requested
        if runnable(DEFAULT_MODEL_ID):
            return DEFAULT_MODEL_ID
        return next((i for i in self.installed() if runnable(i)), None)

    def commit(self, model_id: str, staged: Path) -> None:
        """Moves a complete staged model into place in one rename, so a model folder is
        either absent or whole."""
        self.root.mkdir(parents=True, exist_ok=True)
        final = self.folder(model_id)
        if final.exists():
            self.discard(staged)
            return
        os.replace(staged, final)
        self.discard(staged)

    def discard(self, staged: Path) -> None:
        shutil.rmtree(staged, ignore_errors=True)
        try:
            self.staging.rmdir()  # only when no other install is staging
        except OSError:
            pass
