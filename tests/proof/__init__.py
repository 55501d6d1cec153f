"""The proofs, and what they share. They use the lab as tests/system has it, and some of tools."""

import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
sys.path[:0] = map(str, (ROOT / "tests" / "system", ROOT / "tools"))
