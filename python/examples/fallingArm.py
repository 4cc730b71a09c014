"""Lets the PUMA 560 fall out of its upright pose and looks where its energy goes.

What the book of energies leaves open is the error of the steps, which shrinks in proportion to them.
"""

import pathlib

import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
scene = zq.load(models / "puma560.xml")

remainders = []
for dt in (1e-3, 1e-4):
    simulation = zq.Simulation(scene, energy=True)
    run = simulation.run(1.0, dt)
    book = simulation.energy_book
    remainders.append(abs(book["remainder"]))
    print(
        f"dt = {dt:g} s: the upper arm falls to {run.q[-1, 1]:.5f} rad, friction takes "
        f"{book['lost']['joint_friction']:.6f} J, {book['remainder']:.2e} J are left over"
    )

ratio = remainders[0] / remainders[1]
print(f"a tenth of the step leaves 1/{ratio:.2f} of it, should be about 1/10")
assert 9.0 < ratio < 11.0
