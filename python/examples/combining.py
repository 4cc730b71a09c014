"""Puts a tool on the PUMA 560: attached, and made one with it, it moves alike; taken off it is what it was."""

import copy
import pathlib

import numpy as np
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
scene = zq.load(models / "puma560.xml")
bare = zq.Dynamics(scene["puma560"]).gravity_torques(np.zeros(6))
tool = scene.add_shape("tool", zq.Shape.box([0.1, 0.1, 0.1]), mass=zq.MassProperties.of_shape(zq.Shape.box([0.1, 0.1, 0.1]), mass=1.5))
place = np.eye(4)
place[2, 3] = 0.1

attached = copy.copy(scene)
attached.attach(attached["tool"], attached["puma560"]["flange"], place)
scene.combine(tool, scene["puma560"]["flange"], place)
print("combined:", scene, " attached:", attached)

runs = [zq.Simulation(each).run(0.3, 1e-3) for each in (scene, attached)]
apart = np.abs(runs[0].q[-1] - runs[1].q[-1, :6]).max()
print(f"after 0.3 s they differ by {apart:.0e} rad, should be 0")
assert apart < 1e-9

print("the tool takes", np.round(zq.Dynamics(scene["puma560"]).gravity_torques(np.zeros(6)) - bare, 3), "N m to be held")
scene.separate("tool")
left = np.abs(zq.Dynamics(scene["puma560"]).gravity_torques(np.zeros(6)) - bare).max()
print(f"without it {left:.0e} N m are left over, should be 0")
assert left < 1e-12
