"""Stops a simulation with contact in the middle, and goes on from a file, by pickling and by copying: to the bit."""

import copy
import pathlib
import pickle
import tempfile

import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
scene = zq.load(models / "grasp.xml")
inputs = zq.InputTable(scene, models / "grasp.csv", interpolation="linear")

whole = zq.Simulation(scene)
whole.run(until=2.0, inputs=inputs)

half = zq.Simulation(scene)
half.run(until=1.0, inputs=inputs)
with tempfile.TemporaryDirectory() as folder:
    file = pathlib.Path(folder) / "half.xml"
    half.save(file)
    others = {
        "a file": zq.Simulation.resume(file),
        "pickle": pickle.loads(pickle.dumps(half)),
        "copy": copy.deepcopy(half),
    }
for name, simulation in others.items():
    simulation.run(until=2.0, inputs=inputs)
    same = (simulation.q == whole.q).all() and (simulation.base == whole.base).all()
    print(f"by {name}: the same to the bit is {same}, should be True")
    assert same
