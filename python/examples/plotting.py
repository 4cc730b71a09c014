"""Plots a run, and writes it as a page that plays in a browser. In a notebook a run and a scene show themselves."""

import pathlib
import sys

import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".")

run = zq.Simulation(zq.load(models / "pendulum.xml")).run(2.0, 1e-3, title="A pendulum")
print(run)
try:
    run.plot("q", "energy").savefig(folder / "pendulum.png")
    print(f"{folder / 'pendulum.png'} has a panel for positions and one for energies")
except ImportError:
    print("matplotlib is not installed")
try:
    run.save_replay(folder / "pendulum.html")
    print(f"{folder / 'pendulum.html'} plays the run")
except zq.Error as error:
    print(error)

columns = run.columns()  # as a table: pandas.DataFrame(columns)
print("columns:", ", ".join(columns))
assert all(len(column) == 2001 for column in columns.values())
