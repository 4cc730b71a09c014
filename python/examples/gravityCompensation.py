"""Holds the PUMA 560 against gravity: the torques are the slope of its energy, and under them it stays."""

import pathlib

import numpy as np
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
scene = zq.load(models / "puma560.xml")
arm = scene["puma560"]
arm.q = [0.0, 0.3, 0.2, 0.0, 0.5, 0.0]
start = arm.q

torques = zq.Dynamics(arm).gravity_torques(start)
slope = np.zeros(6)
h = 1e-5
for i, unit in enumerate(np.eye(6)):
    energies = []
    for d in (h, -h):
        arm.q = start + d * unit
        energies.append(arm.potential_energy)
    slope[i] = (energies[0] - energies[1]) / (2 * h)
arm.q = start
print("torques at the joints (N m) ", np.round(torques, 4))
print("slope of the energy (N m)   ", np.round(slope, 4))
assert np.abs(torques - slope).max() < 1e-6

gears = np.array([link.drive.gear_ratio for link in arm.links])
run = zq.Simulation(scene).run(1.0, 1e-3, inputs=torques / gears)
motion = np.abs(run.q - start).max()
print(f"under them the joints move by up to {motion:.0e} rad in a second, should be 0")
assert motion < 1e-9
