"""Reads a camera's head from URDF, tells what was lost, lets it fall, and writes it back."""

import pathlib
import tempfile
import warnings

import zqmanipulator as zq

file = pathlib.Path(__file__).resolve().parents[2] / "examples" / "panTilt.urdf"
with warnings.catch_warnings():
    warnings.simplefilter("ignore", zq.Warning)  # that there are losses
    scene = zq.load(file)
head = scene["panTilt"]
print(head, "moves", ", ".join(link.label for link in head))
for loss in scene.losses:
    print(f"line {loss.line}: {loss.kind}: {loss}")
assert [loss.element for loss in scene.losses] == ["safety_controller"]

# A joint that mimics another one is a constraint, which simulations heed.
run = zq.Simulation(scene).run(1.0, 1e-3)
print("after 1 s, joints are at", run.q[-1].round(4))
blades = [head["leftBlade"].index, head["rightBlade"].index]
assert abs(run.q[-1, blades[0]] - run.q[-1, blades[1]]) < 1e-6

with tempfile.TemporaryDirectory() as folder:
    copy = pathlib.Path(folder) / "copy.urdf"
    losses = head.save_urdf(copy)
    again = zq.load(copy)
print(f"written and read again: {len(losses)} losses, moves alike: {zq.motion_difference(scene, again).is_within(1e-12)}")
assert not losses and zq.motion_difference(scene, again).is_within(1e-12)
