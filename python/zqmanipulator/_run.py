"""What a simulation has recorded."""

from __future__ import annotations

import base64
import io
import os
from typing import TYPE_CHECKING, Any, Mapping

import numpy as np
import numpy.typing as npt

from . import _display

if TYPE_CHECKING:
    from matplotlib.figure import Figure  # type: ignore[import]

Floats = npt.NDArray[np.float64]

_names = {"q": "position", "v": "velocity", "a": "acceleration", "motor_torques": "motor torque"}
_labels = {
    "q": "position (rad or m)",
    "v": "velocity (rad/s or m/s)",
    "a": "acceleration (rad/s² or m/s²)",
    "motor_torques": "torque at the motor (N m or N)",
    "energy": "energy (J)",
}
_energies = ("kinetic", "potential", "total")


class Run:
    """What a simulation went through: arrays with a row for each sample, None for what was not recorded.

    time (k), q, v, a and motor_torques (k x joints), base (k x bodies x 7: x y z, w x y z),
    base_velocity and base_acceleration (k x bodies x 6), energy (kinetic, potential and total, k
    each, in J), and contacts, a table of columns by name. end tells why it ended: "time reached",
    "stopping criterion" or "diverged".
    """

    time: Floats

    def __init__(
        self,
        arrays: Mapping[str, Any],
        joints: list[str],
        bodies: list[str],
        end: str,
        replay: str | None,
    ) -> None:
        self.time = arrays["time"]
        self.q: Any = arrays.get("q")
        self.v: Any = arrays.get("v")
        self.a: Any = arrays.get("a")
        self.motor_torques: Any = arrays.get("motor_torques")
        self.base: Any = arrays.get("base")
        self.base_velocity: Any = arrays.get("base_velocity")
        self.base_acceleration: Any = arrays.get("base_acceleration")
        self.energy: Any = None
        if "energy" in arrays:
            self.energy = dict(zip(_energies, arrays["energy"].T))
        self.contacts: Any = None
        if "contact_pairs" in arrays:
            pairs = np.array(arrays["contact_pairs"], dtype=object).reshape(-1, 2)
            self.contacts = {"first": pairs[:, 0], "second": pairs[:, 1]}
            names = ("time", "depth", "normal_force", "friction_force")
            self.contacts.update(zip(names, arrays["contact_numbers"].T))
        self.joints = joints
        self.bodies = bodies
        self.end = end
        self._replay = replay

    def __len__(self) -> int:
        return len(self.time)

    def __repr__(self) -> str:
        return (
            f"<Run of {len(self)} samples from {self.time[0]:g} s to {self.time[-1]:g} s, {self.end}>"
        )

    def columns(self) -> dict[str, Floats]:
        """All of the joints and the energies as columns, by the names that `zqsim run --out` gives them.

        `pandas.DataFrame(run.columns())` is a table of them.
        """
        result = {"time": self.time}
        for key, name in _names.items():
            array = getattr(self, key)
            if array is not None:
                result.update({f"{joint} {name}": array[:, i] for i, joint in enumerate(self.joints)})
        for name, energy in (self.energy or {}).items():
            result[f"{name} energy"] = energy
        return result

    def plot(self, *what: str) -> Figure:
        """Draws quantities over time, one below the other: by matplotlib.

        what: "q", "v", "a", "motor_torques" and "energy"; without any, all that were recorded.
        """
        from matplotlib.figure import Figure

        chosen = what or tuple(key for key in _labels if getattr(self, key) is not None)
        for key in chosen:
            if key not in _labels:
                raise ValueError(f"plot: expected some of {', '.join(_labels)}, but received {key!r}")
            if getattr(self, key) is None:
                raise ValueError(f"plot: {key} was not recorded")
        figure = Figure(figsize=(7.0, 0.5 + 2.2 * max(1, len(chosen))), layout="constrained")
        panels = figure.subplots(max(1, len(chosen)), sharex=True, squeeze=False)[:, 0]
        for panel, key in zip(panels, chosen):
            if key == "energy":
                lines = list((self.energy or {}).items())
            else:
                lines = list(zip(self.joints, getattr(self, key).T))
            for name, numbers in lines:
                panel.plot(self.time, numbers, label=name, linewidth=1.2)
            panel.set_ylabel(_labels[key], fontsize="small")
            panel.grid(alpha=0.3)
            if 0 < len(lines) <= 12:
                panel.legend(loc="center left", bbox_to_anchor=(1.0, 0.5), fontsize="x-small", frameon=False)
        panels[-1].set_xlabel("time (s)")
        return figure

    def save_replay(self, path: str | os.PathLike[str]) -> None:
        """Writes a page for the browser in which the run plays. It needs nothing else."""
        if self._replay is None:
            raise ValueError("save_replay: the run was made with replay=False")
        _display.save([self._replay], path)

    def _repr_png_(self) -> bytes | None:
        try:
            figure = self.plot()
        except ImportError:
            return None
        png = io.BytesIO()
        figure.savefig(png, format="png", dpi=110)
        return png.getvalue()

    def _repr_html_(self) -> str | None:
        """The replay, and the plot below it."""
        parts = []
        if self._replay is not None and _display._page.exists():
            parts.append(_display.frame([self._replay]))
        png = self._repr_png_()
        if png is not None:
            data = base64.b64encode(png).decode("ascii")
            parts.append(f'<img alt="{repr(self)[1:-1]}" src="data:image/png;base64,{data}">')
        return "\n".join(parts) or None
