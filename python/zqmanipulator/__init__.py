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
    Constraint,
    Deviation,
    Diagnostic,
    Difference,
    Drive,
    Error,
    Joint,
    Link,
    Manipulator,
    MassProperties,
    MotionDifference,
    Scene,
    Separation,
    Severity,
    Shape,
    State,
    VariationStudy,
    Warning,
    __version__,
    difference,
    load,
    motion_difference,
)

__all__ = [
    "Constraint",
    "Deviation",
    "Diagnostic",
    "Difference",
    "Drive",
    "Error",
    "Joint",
    "Link",
    "Manipulator",
    "MassProperties",
    "MotionDifference",
    "Scene",
    "Separation",
    "Severity",
    "Shape",
    "State",
    "VariationStudy",
    "Warning",
    "__version__",
    "difference",
    "load",
    "motion_difference",
]
