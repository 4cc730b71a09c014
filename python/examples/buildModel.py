"""Builds a pendulum from nothing, saves it and lets it swing: its period is that of the formula."""

import pathlib
import tempfile

import numpy as np
import zqmanipulator as zq

length, mass, start = 0.5, 2.0, 0.01

scene = zq.Scene()
scene.gravity = [0.0, 0.0, -9.81]
pendulum = scene.new_manipulator("pendulum", base="pivot")
bob = pendulum.base.add_link(
    "bob",
    zq.Joint.revolute(alpha=np.pi / 2),  # turns about a horizontal axis
    zq.MassProperties(mass, center=[0.0, -length, 0.0]),
    shape=zq.Shape.sphere(0.05, [0.0, -length, 0.0]),
)
bob.q = start
with tempfile.TemporaryDirectory() as folder:
    file = pathlib.Path(folder) / "pendulum.xml"
    scene.save(file)
    assert zq.load(file) == scene
print(scene, "weighs", pendulum.mass, "kg")

run = zq.Simulation(scene, integrator="rk4").run(3.0, 1e-3)
q = run.q[:, 0]
crossings = np.flatnonzero((q[:-1] > 0) & (q[1:] <= 0))
times = [run.time[k] + 1e-3 * q[k] / (q[k] - q[k + 1]) for k in crossings]
period = times[1] - times[0]
expected = 2 * np.pi * np.sqrt(length / -scene.gravity[2])
print(f"it swings in {period:.5f} s, should be near {expected:.5f} s")
assert abs(period / expected - 1) < 1e-4
