"""Modelling, queries and simulation of robotic manipulators."""

from ._core import (
    Diagnostic,
    Error,
    Link,
    Manipulator,
    Scene,
    Severity,
    Warning,
    __version__,
    load,
)

__all__ = [
    "Diagnostic",
    "Error",
    "Link",
    "Manipulator",
    "Scene",
    "Severity",
    "Warning",
    "__version__",
    "load",
]
