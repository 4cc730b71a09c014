"""Brings the flange of the PUMA 560 to a frame: inverse kinematics, a smooth motion there, and torques that follow it."""

import pathlib

import numpy as np
from numpy.typing import NDArray
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
scene = zq.load(models / "puma560.xml")
arm = scene["puma560"]
start = np.array([0.0, 0.3, 0.2, 0.0, 0.5, 0.0])
arm.q = start

goal = np.diag([1.0, -1.0, -1.0, 1.0])  # z points down
goal[:3, 3] = [0.5, 0.2, 0.1]
answer = arm.inverse_kinematics({"flange": goal})
print(f"{answer}, {answer.position_errors[0]:.0e} m and {answer.orientation_errors[0]:.0e} rad off")
assert answer

duration = zq.FifthOrderTrajectory.least_duration(start, answer.q, velocity_limits=1.5, acceleration_limits=4.0)
motion = zq.FifthOrderTrajectory(start, answer.q, duration)
controller = zq.ComputedTorque(arm, zq.critically_damped(20.0), compensates_friction=True)


def follow(simulation: zq.Simulation) -> NDArray[np.float64]:
    return controller.update(simulation.q, simulation.v, *motion(simulation.time))


run = zq.Simulation(scene).run(duration + 0.5, 1e-3, inputs=follow)
lag = np.abs(run.q - motion(run.time).q).max()
arm.q = run.q[-1]
error = np.linalg.norm(arm["flange"].frame[:3, 3] - goal[:3, 3])
print(f"there in {duration:.2f} s, never more than {lag:.0e} rad behind; the flange is {error:.0e} m off, should be near 0")
assert lag < 1e-2 and error < 1e-3

# What cannot be met is told.
far = arm.inverse_kinematics({"flange": [2.0, 0.0, 0.0]})
print(f"2 m away: {far}, beyond reach: {far.beyond_reach}, {far.position_errors[0]:.3f} m short")
assert not far and far.beyond_reach
