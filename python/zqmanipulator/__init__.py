"""Modelling, queries and simulation of robotic manipulators.

    import zqmanipulator as zq

    scene = zq.load("puma560.xml")
    arm = scene["puma560"]
    arm["forearm"].q = 0.5
    print(arm["flange"].frame)

A scene holds everything; manipulators and links are views of it. Joints, masses, drives and shapes are values: they are
copied, and set as a whole. Quantities are in SI units, frames are 4 x 4 matrices, spatial vectors 6 numbers with the
linear part first.
"""

from ._core import (
    Batch,
    Constraint,
    Contact,
    Deviation,
    Diagnostic,
    Difference,
    Drive,
    Dynamics,
    Error,
    ForwardDerivatives,
    InputTable,
    InverseDerivatives,
    Joint,
    Link,
    Manipulator,
    MassProperties,
    MotionDifference,
    Scene,
    Separation,
    Severity,
    Shape,
    Simulation,
    State,
    VariationStudy,
    Warning,
    __version__,
    difference,
    inputs_of,
    load,
    motion_difference,
)
from ._run import Run

__all__ = [
    "Batch",
    "Constraint",
    "Contact",
    "Deviation",
    "Diagnostic",
    "Difference",
    "Drive",
    "Dynamics",
    "Error",
    "ForwardDerivatives",
    "InputTable",
    "InverseDerivatives",
    "Joint",
    "Link",
    "Manipulator",
    "MassProperties",
    "MotionDifference",
    "Run",
    "Scene",
    "Separation",
    "Severity",
    "Shape",
    "Simulation",
    "State",
    "VariationStudy",
    "Warning",
    "__version__",
    "difference",
    "inputs_of",
    "load",
    "motion_difference",
]
