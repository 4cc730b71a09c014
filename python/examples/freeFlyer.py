"""A chain that floats freely and swings its joints: its momentum stays, and so does its energy."""

import pathlib

import numpy as np
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
scene = zq.load(models / "freeChain.xml")
dynamics = zq.Dynamics(scene[0])
gravity = dynamics.gravity
simulation = zq.Simulation(scene, integrator="midpoint")
run = simulation.run(2.0, 2e-3, record=("q", "v", "base", "base_velocity", "energy"))

# The first six rows of the mass matrix make momentum of velocities.
momenta = []
for q, v, base, base_velocity in zip(run.q, run.v, run.base[:, 0], run.base_velocity[:, 0]):
    M = dynamics.mass_matrix(q, base=base)
    momenta.append(M[:6] @ np.r_[base_velocity, v])
mass = M[0, 0]
linear = np.array(momenta)[:, :3] - mass * run.time[:, None] * gravity
drift = np.abs(linear - linear[0]).max()
energy = run.energy["total"]
print(f"{simulation.joints} of {mass:.3f} kg in all")
print(f"the momentum less that by gravity changes by {drift:.0e} kg m/s, should be 0")
print(f"the energy of {energy[0]:.3f} J changes by {np.ptp(energy):.0e} J, should be near 0")
assert drift < 1e-9 and np.ptp(energy) < 1e-3
