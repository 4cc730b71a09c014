"""Modelling, queries and simulation of robotic manipulators."""

from ._core import (
    Batch,
    Contact,
    Diagnostic,
    Dynamics,
    Error,
    ForwardDerivatives,
    InputTable,
    InverseDerivatives,
    Link,
    Manipulator,
    Scene,
    Severity,
    Simulation,
    Warning,
    __version__,
    inputs_of,
    load,
)
from ._run import Run

__all__ = [
    "Batch",
    "Contact",
    "Diagnostic",
    "Dynamics",
    "Error",
    "ForwardDerivatives",
    "InputTable",
    "InverseDerivatives",
    "Link",
    "Manipulator",
    "Run",
    "Scene",
    "Severity",
    "Simulation",
    "Warning",
    "__version__",
    "inputs_of",
    "load",
]
