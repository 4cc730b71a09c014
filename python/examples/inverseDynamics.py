"""Torques for a motion of the PUMA 560, and back: forward dynamics by both solvers, and M a + b."""

import pathlib

import numpy as np
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
dynamics = zq.Dynamics(zq.load(models / "puma560.xml")["puma560"])

q = np.array([0.0, 0.3, 0.2, 0.0, 0.5, 0.0])
v = np.array([0.1, -0.2, 0.3, 0.4, -0.5, 0.6])
a = np.array([1.0, 2.0, 3.0, 4.0, 5.0, 6.0])

tau = dynamics.inverse(q, v, a)
print("torques (N m)  ", np.round(tau, 3))
for solver in ("crbi", "arbi"):
    error = np.abs(dynamics.forward(q, v, tau, solver=solver) - a).max()
    print(f"{solver} gives the accelerations back to {error:.0e} rad/s^2, should be 0")
    assert error < 1e-11

error = np.abs(dynamics.mass_matrix(q) @ a + dynamics.bias(q, v) - tau).max()
print(f"M a + b differs from the torques by {error:.0e} N m, should be 0")
assert error < 1e-11

# A hand that pushes down on the flange with 10 N and must not move.
held = dynamics.inverse(q, forces={"flange": [0.0, 0.0, -10.0, 0.0, 0.0, 0.0]})
print("to hold against a push (N m)", np.round(held - dynamics.gravity_torques(q), 3))
