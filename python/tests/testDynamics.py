"""Equations of motion, batches and simulations against formulas, and how long things live."""

import copy
import gc
import pathlib
import pickle
import threading

import numpy as np
import pytest
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
names = ["puma560", "freeChain", "quadruped"]


def load(name):
    return zq.load(models / f"{name}.xml")


def random_state(dynamics, seed=7):
    """Positions, the frame of the base (7), velocities and torques."""
    random = np.random.default_rng(seed)
    q = random.uniform(-1, 1, dynamics.dof)
    base = random.normal(size=7)
    base[3:] /= np.linalg.norm(base[3:])
    v, tau = random.normal(size=(2, dynamics.size))
    return q, base, v, tau


def rotated(base, turn):
    """The frame after a little turn (rad) along the axes of the system."""
    half = np.linalg.norm(turn) / 2
    w, u = np.cos(half), np.sinc(half / np.pi) / 2 * np.asarray(turn)
    W, U = base[3], base[4:]
    return np.r_[base[:3], w * W - u @ U, w * U + W * u + np.cross(u, U)]


@pytest.mark.parametrize("name", names)
def test_equations_of_motion_are_consistent(name):
    dynamics = zq.Dynamics(load(name)[0])
    q, base, v, tau = random_state(dynamics)
    M = dynamics.mass_matrix(q, base=base)
    bias = dynamics.bias(q, v, base=base)
    forces = {0: np.arange(6.0)}
    scale = 1e-12 * np.linalg.cond(M) * (1 + np.linalg.norm(np.linalg.solve(M, tau - bias)))
    assert np.linalg.eigvalsh(M).min() > 0
    for solver in ("crbi", "arbi"):
        a = dynamics.forward(q, v, tau, base=base, solver=solver)
        assert a == pytest.approx(np.linalg.solve(M, tau - bias), abs=scale)
        pushed = dynamics.forward(q, v, tau, base=base, solver=solver, forces=forces)
        torques = dynamics.inverse(q, v, pushed, base=base, forces=forces)
        assert torques == pytest.approx(tau, abs=1e-12 * np.abs(M).max() * (1 + np.abs(pushed).max()))
        assert np.abs(pushed - a).max() > 1e-3
    assert dynamics.gravity(q, base=base)[-dynamics.dof :] == pytest.approx(
        dynamics.bias(q, base=base)[-dynamics.dof :], abs=1e-9
    )


@pytest.mark.parametrize("name", names)
def test_derivatives_are_those_of_differences(name):
    dynamics = zq.Dynamics(load(name)[0])
    q, base, v, given = random_state(dynamics)
    free = dynamics.size - dynamics.dof
    h = 1e-5

    def differences(function):
        columns = {"by_q": [], "by_v": [], "by_given": []}
        for k, unit in enumerate(np.eye(dynamics.size)):
            ends = {"by_q": [], "by_v": [], "by_given": []}
            for d in (h * unit, -h * unit):
                moved = base.copy()
                if free:
                    moved = rotated(base, d[3:6])
                    moved[:3] += d[:3]
                ends["by_q"].append(function(q + d[free:], v, given, base=moved))
                ends["by_v"].append(function(q, v + d, given, base=base))
                ends["by_given"].append(function(q, v, given + d, base=base))
            for key, (after, before) in ends.items():
                columns[key].append((after - before) / (2 * h))
        return [np.transpose(columns[key]) for key in columns]

    for closed, function in (
        (dynamics.inverse_derivatives, dynamics.inverse),
        (dynamics.forward_derivatives, dynamics.forward),
    ):
        for exact, numeric in zip(closed(q, v, given, base=base), differences(function)):
            assert exact == pytest.approx(numeric, abs=3e-8 * max(1, np.abs(numeric).max()))
