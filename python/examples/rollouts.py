"""A thousand rollouts of the PUMA 560 at once, each under torques of its own: which lifts its tip the highest?"""

import pathlib

import numpy as np
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
arm = zq.load(models / "puma560.xml")["puma560"]
batch = zq.Batch(arm, threads=2)
print(f"{batch} by {batch.instruction_set}, {batch.threads} threads")

n, dt = 1000, 1e-3
random = np.random.default_rng(1)
q = np.tile([0.0, 0.3, 0.2, 0.0, 0.5, 0.0], (n, 1))
v = np.zeros_like(q)
tau = batch.inverse(q) + random.uniform(-5, 5, q.shape)  # what holds it, and more
before = v.copy()
for _ in range(500):
    before[:] = v
    batch.step(q, v, tau, dt=dt)  # q and v are advanced where they are

height = batch.frames(q)[:, -1, 2]
best = height.argmax()
print(f"rollout {best} lifts its tip to {height[best]:.3f} m")

# The torques of its last step, from its accelerations.
dynamics = zq.Dynamics(arm)
torques = dynamics.inverse(q[best] - dt * v[best], before[best], (v[best] - before[best]) / dt)
error = np.abs(torques - tau[best]).max()
print(f"its torques by inverse dynamics differ by {error:.0e} N m, should be 0")
assert error < 1e-9
