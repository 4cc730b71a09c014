from pathlib import Path

import pytest

import zqmanipulator as zq

ROOT = Path(__file__).resolve().parents[2]
MODELS = ROOT / "examples" / "models"


@pytest.fixture
def puma() -> zq.Manipulator:
    arm = zq.load(MODELS / "puma560.xml")["puma560"]
    arm.q = [0.3, -0.7, 1.1, 0.4, -0.9, 0.2]
    arm.v = [0.5, -0.2, 0.8, -1.1, 0.6, 0.3]
    return arm
