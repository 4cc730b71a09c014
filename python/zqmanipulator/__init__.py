"""Modelling, queries and simulation of robotic manipulators."""

from ._core import (
    Batch,
    Contact,
    Diagnostic,
    Dynamics,
    Error,
    ForwardDerivatives,
    InverseDerivatives,
    Link,
    Manipulator,
    Scene,
    Severity,
    Simulation,
    Warning,
    __version__,
    load,
)

__all__ = [
    "Batch",
    "Contact",
    "Diagnostic",
    "Dynamics",
    "Error",
    "ForwardDerivatives",
    "InverseDerivatives",
    "Link",
    "Manipulator",
    "Scene",
    "Severity",
    "Simulation",
    "Warning",
    "__version__",
    "load",
]
