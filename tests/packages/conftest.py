"""Tests of what releases are made of, beside the programs. They share the black-box tests' harness."""

import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "blackbox"))
sys.path.insert(0, str(ROOT / "tools"))
sys.dont_write_bytecode = True
