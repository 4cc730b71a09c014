"""Modelling, queries and simulation of robotic manipulators."""

from ._core import (
    Batch,
    Diagnostic,
    Dynamics,
    Error,
    ForwardDerivatives,
    InverseDerivatives,
    Link,
    Manipulator,
    Scene,
    Severity,
    Warning,
    __version__,
    load,
)

__all__ = [
    "Batch",
    "Diagnostic",
    "Dynamics",
    "Error",
    "ForwardDerivatives",
    "InverseDerivatives",
    "Link",
    "Manipulator",
    "Scene",
    "Severity",
    "Warning",
    "__version__",
    "load",
]
