"""How uncertain masses and lengths spread what an arm does: thirty varied models of the PUMA 560."""

import pathlib

import numpy as np
import zqmanipulator as zq

folder = pathlib.Path(__file__).resolve().parents[2] / "examples"
scene = zq.load(folder / "models" / "puma560.xml")
study = zq.VariationStudy.load(folder / "pumaStudy.xml")

q = np.array([0.0, 0.3, 0.2, 0.0, 0.5, 0.0])
nominal = zq.Dynamics(scene[0]).gravity_torques(q)
torques = []
for sample in range(30):
    varied = scene.vary(study, seed=1, sample=sample)
    torques.append(zq.Dynamics(varied[0]).gravity_torques(q))
spread = np.std(torques, axis=0)
print("torques to hold the arm (N m)", np.round(nominal, 3))
print("standard deviations (N m)    ", np.round(spread, 3))

again = zq.Dynamics(scene.vary(study, seed=1, sample=29)[0]).gravity_torques(q)
print(f"sample 29 is the same by itself: {(again == torques[29]).all()}, should be True")
assert (again == torques[29]).all() and 0 < spread.max() < 0.5 * np.abs(nominal).max()
