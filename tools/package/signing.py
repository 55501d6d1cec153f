"""Signs what is packed with tools/sign, when its environment names a certificate."""

import os
import shutil
import subprocess
from pathlib import Path

from contents import ROOT
from installer import Failed


def is_wanted():
    return bool(os.environ.get("PALVO_SIGN_CERTIFICATE"))


def sign(*files):
    """In place."""
    result = subprocess.run([ROOT / "tools" / "sign", *files], stdin=subprocess.DEVNULL, check=False)
    if result.returncode != 0:
        raise Failed("not everything could be signed")


def signed(files, folder):
    """{name: file} with its programs signed: copies of them in `folder`. The build's own stay as they
    are, since a signature holds the time."""
    if not is_wanted():
        return files
    folder.mkdir(parents=True, exist_ok=True)
    copies = {name: Path(shutil.copy(file, folder / name)) for name, file in files.items()
              if name.endswith(".exe")}
    sign(*copies.values())
    return files | copies
