"""The proofs, and what they share. They use the lab as tests/system has it."""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "system"))
