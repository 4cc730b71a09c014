"""A gripper takes a block and lifts it: contacts with friction, driven by a table of commands."""

import pathlib

import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
scene = zq.load(models / "grasp.xml")
inputs = zq.InputTable(scene, models / "grasp.csv", interpolation="linear")
simulation = zq.Simulation(scene, energy=True)

block = simulation.bodies.index("block")
for until in (1.0, 3.0, 4.0):
    run = simulation.run(until=until, inputs=inputs, record=("base", "contacts"))
    print(f"at {until} s the block is {run.base[-1, block, 2]:.4f} m high and touches")
    for contact in simulation.contacts():
        if "block" in contact.first + contact.second:
            print(
                f"   {contact.first} and {contact.second}: {contact.normal_force:.2f} N, "
                f"{contact.friction_force:.2f} N of friction, {contact.mode}"
            )

weight = zq.Dynamics(scene["block"]).gravity_torques([])[2]
carried = sum(c.friction_force for c in simulation.contacts() if c.second == "block/base")
print(f"friction carries {carried:.3f} N of the block's {weight:.3f} N")
assert abs(carried - weight) < 0.01 * weight
