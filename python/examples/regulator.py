"""Stands a two-link arm upright by a linear quadratic regulator, from derivatives in closed form and NumPy alone."""

import pathlib

import numpy as np
from numpy.typing import NDArray
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
scene = zq.load(models / "planarTwoLink.xml")
dynamics = zq.Dynamics(scene["arm"])
n = dynamics.dof

# About the goal, x' = A x + B u.
goal = np.array([np.pi / 2, 0.0])
hold = dynamics.gravity_torques(goal)
by_q, by_v, by_tau = dynamics.forward_derivatives(goal, tau=hold)
A = np.block([[np.zeros((n, n)), np.eye(n)], [by_q, by_v]])
B = np.vstack([np.zeros((n, n)), by_tau])

# The Riccati equation, by the stable eigenvectors of its Hamiltonian matrix.
Q, R = np.diag([100.0] * n + [1.0] * n), 0.01 * np.eye(n)
hamiltonian = np.block([[A, -B @ np.linalg.solve(R, B.T)], [-Q, -A.T]])
values, vectors = np.linalg.eig(hamiltonian)
stable = vectors[:, values.real < 0]
P = np.real(stable[2 * n :] @ np.linalg.inv(stable[: 2 * n]))
K = np.linalg.solve(R, B.T @ P)
print(f"without control {np.linalg.eigvals(A).real.max():.2f} 1/s grows the fastest")
print(f"with it the slowest decays by {-np.linalg.eigvals(A - B @ K).real.max():.2f} 1/s")


def regulate(simulation: zq.Simulation) -> NDArray[np.float64]:
    """Torques at the motors, which have no gears here."""
    return np.asarray(hold - K @ np.r_[simulation.q - goal, simulation.v])


run = zq.Simulation(scene).run(5.0, 1e-3, inputs=regulate)
error = np.abs(run.q[-1] - goal).max()
print(f"from {run.q[0]} rad to {run.q[-1]} rad, {error:.0e} rad off, should be 0")
assert error < 1e-3
