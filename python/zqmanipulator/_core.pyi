# Written by python/packaging/stubs.py: change the bindings, and not this file.
import os
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from typing import Any, ClassVar, NamedTuple, overload

import numpy
from numpy.typing import ArrayLike, NDArray

from ._run import Run

class _Numbers:
    """A property that is set to whatever makes an array."""
    def __get__(self, instance: object, owner: Any = None) -> NDArray[numpy.float64]: ...
    def __set__(self, instance: object, value: ArrayLike) -> None: ...

class Batch:
    """Many states of one manipulator at once, a row each: n x dof arrays of joints (rad or m, and N m or N).

    A free base stands in arrays of its own, in the axes of the system: `base`, the frame of the base (n x 7: x y z, w x y z), and n x 6 of velocities, accelerations and forces, linear before angular. With a free base results are pairs, of joints and of the base. What is left out is zero; `base` of a fixed base is where the model is.

    Arrays of float64 that lie in rows are read where they are, and `out` is filled where it is: an array (or a pair) that can be written, lies in rows, is of the shape of the result and shares no memory with anything else. Calls release the interpreter's lock; one batch serves one call at a time, and others wait.

    Springs, dampers, constraints, losses of drives and what is attached play no part; the inertia of drives does. A state that is not finite spoils its own row alone. Results agree in all bits for any number of states and threads.

    It keeps the model as it is now: later edits of the scene do not matter to it."""
    def __init__(self, manipulator: Manipulator, *, threads: int = 1, instruction_set: str | None = None) -> None: ...
    @property
    def dof(self) -> int:
        """Number of joints."""
    def forward(self, q: ArrayLike, v: ArrayLike | None = None, tau: ArrayLike | None = None, *, base: ArrayLike | None = None, base_velocity: ArrayLike | None = None, base_force: ArrayLike | None = None, out: object = None) -> Any:
        """The accelerations under torques, by articulated bodies."""
    def frames(self, q: ArrayLike, *, base: ArrayLike | None = None, out: object = None) -> Any:
        """The D-H frame of each link in the system (n x dof x 7: x y z, w x y z)."""
    gravity: _Numbers
    """In the system (m/s^2), as of a scene: (0, 0, -9.8) pulls down. That of the scene at first."""
    @property
    def instruction_set(self) -> str:
        """'baseline', 'avx2' or 'avx512'; the widest that the processor has at first."""
    @instruction_set.setter
    def instruction_set(self, value: str) -> None: ...
    def inverse(self, q: ArrayLike, v: ArrayLike | None = None, a: ArrayLike | None = None, *, base: ArrayLike | None = None, base_velocity: ArrayLike | None = None, base_acceleration: ArrayLike | None = None, out: object = None) -> Any:
        """The torques under which everything accelerates so."""
    @property
    def is_free(self) -> bool:
        """Whether the base moves."""
    def mass_matrix(self, q: ArrayLike, *, base: ArrayLike | None = None, out: object = None) -> Any:
        """n x size x size; a free base comes before the joints, in the axes of the system."""
    @property
    def size(self) -> int:
        """Number of degrees of freedom: six more for a free base."""
    def step(self, q: object, v: object, tau: ArrayLike | None = None, *, dt: float, base: object = None, base_velocity: object = None, base_force: ArrayLike | None = None) -> None:
        """Advances q and v, and base and base_velocity of a free base, where they are, by a step of semi-implicit Euler: v += dt a, and then q += dt v. Limits of joints do not count."""
    @property
    def threads(self) -> int:
        """How many share the states, the caller among them."""
    @threads.setter
    def threads(self, value: int) -> None: ...

class ComputedTorque:
    """Has joints follow a motion by inverse dynamics: errors obey e'' + D e' + P e = 0."""
    def __init__(self, manipulator: Manipulator, gains: ArrayLike, *, compensates_friction: bool = False) -> None:
        """gains: P and D of all joints (2), or a row of them for each (n x 2); see `critically_damped`.
        compensates_friction: whether motors also bring up the friction of their drives.
        The scene is kept as it was. Bases have to be fixed, and drives rigid."""
    @property
    def joint_torques(self) -> NDArray[numpy.float64]:
        """Of the last update (n; N m, or N)."""
    @property
    def motor_torques(self) -> NDArray[numpy.float64]:
        """Of the last update, before gears and friction (n)."""
    def update(self, q: ArrayLike, v: ArrayLike | None, goal: ArrayLike, goal_velocity: ArrayLike | None = None, goal_acceleration: ArrayLike | None = None) -> NDArray[numpy.float64]:
        """The torques at the motors for a state and where joints are to be (n each): what `run` takes from a function. `update(q, v, *trajectory(time))` follows a trajectory."""

class Constraint:
    """A relation between joints that forward dynamics holds: a copy, to be read."""
    @property
    def kind(self) -> str:
        """The name in documents."""
    @property
    def rows(self) -> int:
        """How many freedoms it takes."""
    def to_xml(self) -> str: ...

class Contact(NamedTuple):
    """Two shapes that touch: the links, 'manipulator/link'; the numbers of their shapes; how many points overlap; their middle, and the unit normal from the first to the second, in the system; the depth (m); the sizes of the forces (N); the force on the second (N, in the system); and whether the contact is 'frictionless', 'sticks' or 'slips'."""
    first: Any
    second: Any
    shapes: Any
    points: Any
    point: Any
    normal: Any
    depth: Any
    normal_force: Any
    friction_force: Any
    force: Any
    mode: Any

class Deviation:
    """The greatest deviation between two scenes."""
    @property
    def place(self) -> str:
        """'manipulator/link', or empty."""
    @property
    def state(self) -> int:
        """The number of the state."""
    @property
    def value(self) -> float: ...

class Diagnostic:
    """Something that is told of a document, a model or a call."""
    @property
    def code(self) -> str:
        """The kind, in words joined by hyphens."""
    @property
    def file(self) -> str: ...
    @property
    def line(self) -> int:
        """From 1, or 0."""
    @property
    def path(self) -> str:
        """The elements that lead there, apart by slashes."""
    @property
    def severity(self) -> Severity: ...
    @property
    def text(self) -> str: ...

class Difference:
    """What differs between two documents."""
    @property
    def first(self) -> str | None:
        """The value of the first, or None where it has none."""
    @property
    def path(self) -> str:
        """The elements that lead there, apart by slashes."""
    @property
    def second(self) -> str | None: ...

class Drive:
    """The drive of a joint, as a value: nothing of it is set but by `replace`.

    It has no limits, no inertia and no friction unless it is told, and its command is its torque. Units are those of joints that turn; of those that slide they are N, kg and m."""
    def __eq__(self, other: object) -> bool: ...
    def __getstate__(self) -> object: ...
    def __init__(self, **kwargs: Any) -> None:
        """A drive with parameters by their names."""
    def __setstate__(self, state: Any) -> None: ...
    @property
    def backlash(self) -> float:
        """Of a flexible shaft, at the motor (rad)."""
    @property
    def converter(self) -> str | None:
        """What makes the torque, by its name in documents; None for no drive."""
    @property
    def damping(self) -> float:
        """Of a flexible shaft, at the joint (N m s/rad)."""
    @property
    def efficiency(self) -> float:
        """Of the gear, up to 1."""
    @staticmethod
    def from_xml(document: str) -> Drive: ...
    @property
    def gear_ratio(self) -> float:
        """Position of the motor per position of the joint."""
    @property
    def inertia(self) -> float:
        """Of rotor and gear, at the motor (kg m^2)."""
    @property
    def kinetic_friction(self) -> float:
        """Sliding over static friction, up to 1."""
    @property
    def lower_limit(self) -> float:
        """The least position of the joint (rad, or m); -inf for none."""
    @property
    def max_rate(self) -> float:
        """The greatest velocity of the joint (rad/s, or m/s); inf for none."""
    @property
    def max_torque(self) -> float:
        """The greatest torque at the motor (N m, or N); inf for none."""
    @property
    def min_torque(self) -> float:
        """The least torque at the motor (N m, or N); -inf for none."""
    def replace(self, **kwargs: Any) -> Drive:
        """A copy with other parameters, by their names."""
    @property
    def rigid(self) -> bool:
        """Whether the shaft does not bend."""
    @property
    def static_friction(self) -> float:
        """At which the motor breaks away (N m)."""
    @property
    def stiffness(self) -> float:
        """Of a flexible shaft, at the joint (N m/rad)."""
    def to_xml(self, defaults: bool = True) -> str: ...
    @property
    def upper_limit(self) -> float:
        """The greatest position of the joint (rad, or m); inf for none."""
    @property
    def viscous_friction(self) -> float:
        """At the motor (N m s/rad)."""

class Dynamics:
    """The equations of motion of a manipulator: M(q) a + b(q, v) = tau + what acts from outside.

    Arrays v, a and tau have `size` numbers, one for each degree of freedom. Those of joints stand in the order of their links (rad or m, and N m or N). A free base comes first with six, linear before angular, along the axes of the system: the velocity of the origin of its frame, and the force there. q has the `dof` joints alone; `base` is the frame of the base in the system (4 x 4, or x y z w x y z), if it is another one than in the scene.

    Torques act at the joints. The inertia of drives, springs and dampers counts, and so does the mass of what is attached, where the scene has it; losses of drives do not: `Simulation` has these. `forces` are external ones by link (label, index or `Link`): six numbers each, in the D-H frame of the link.

    It keeps the model as it is now: later edits of the scene do not matter to it."""
    def __init__(self, manipulator: Manipulator) -> None: ...
    def bias(self, q: ArrayLike, v: ArrayLike | None = None, *, base: ArrayLike | None = None, forces: dict[Any, Any] = {}) -> NDArray[numpy.float64]:
        """The torques (`size`) under which nothing accelerates: gravity, centrifugal and Coriolis forces, springs and dampers."""
    @property
    def dof(self) -> int:
        """Number of joints."""
    def forward(self, q: ArrayLike, v: ArrayLike | None = None, tau: ArrayLike | None = None, *, base: ArrayLike | None = None, forces: dict[Any, Any] = {}, solver: str = 'crbi') -> NDArray[numpy.float64]:
        """The accelerations (`size`) under torques: by composite bodies ('crbi'), which heed the constraints of the model, or by articulated bodies ('arbi'), which do not."""
    def forward_derivatives(self, q: ArrayLike, v: ArrayLike | None = None, tau: ArrayLike | None = None, *, base: ArrayLike | None = None, forces: dict[Any, Any] = {}) -> ForwardDerivatives:
        """How the accelerations (rows) change with q, v and tau, likewise. Constraints play no part."""
    gravity: _Numbers
    """In the system (m/s^2), as of a scene: (0, 0, -9.8) pulls down. That of the scene at first."""
    def gravity_torques(self, q: ArrayLike, *, base: ArrayLike | None = None) -> NDArray[numpy.float64]:
        """The torques (`size`) that hold the bodies at rest against gravity alone."""
    def inverse(self, q: ArrayLike, v: ArrayLike | None = None, a: ArrayLike | None = None, *, base: ArrayLike | None = None, forces: dict[Any, Any] = {}) -> NDArray[numpy.float64]:
        """The torques (`size`) under which everything accelerates so. Constraints play no part."""
    def inverse_derivatives(self, q: ArrayLike, v: ArrayLike | None = None, a: ArrayLike | None = None, *, base: ArrayLike | None = None, forces: dict[Any, Any] = {}) -> InverseDerivatives:
        """How the answer of `inverse` (rows) changes with q, v and a: three matrices, `size` x `size` each. The position of a free base is moved and turned along the axes of the system."""
    @property
    def is_free(self) -> bool:
        """Whether the base moves."""
    def mass_matrix(self, q: ArrayLike, *, base: ArrayLike | None = None) -> NDArray[numpy.float64]:
        """What makes torques of accelerations: M (`size` x `size`), with the inertia of drives."""
    @property
    def size(self) -> int:
        """Number of degrees of freedom."""

class Error(RuntimeError):
    """Something could not be done. `diagnostics` tells what was wrong, and where."""
    diagnostics: list[Diagnostic]
    run: Run

class FifthOrderTrajectory(Trajectory):
    """Joints that go from one point to another by polynomials of fifth order."""
    def __init__(self, start: ArrayLike, end: ArrayLike, duration: float, *, start_velocity: ArrayLike | None = None, end_velocity: ArrayLike | None = None, start_acceleration: ArrayLike | None = None, end_acceleration: ArrayLike | None = None) -> None:
        """Positions (n each; rad, or m), in a time (s). Rates that are left out are zeros."""
    @staticmethod
    def least_duration(start: ArrayLike, end: ArrayLike, velocity_limits: ArrayLike, acceleration_limits: ArrayLike) -> float:
        """The least time (s) from rest to rest within limits, a number for all joints or one for each."""

class ForwardDerivatives(NamedTuple):
    """ForwardDerivatives(by_q, by_v, by_tau)"""
    by_q: Any
    by_v: Any
    by_tau: Any

class InputTable:
    """What drives a simulation over time: columns by name, of which the first is time (s, increasing).

    The others are called 'manipulator/link' and, after a space, command, torque, force x, force y, force z, moment x, moment y or moment z; `inputs_of` tells all. Lines hold until the next one, or are joined by straight lines ('linear'). source: the path of a CSV file, or a dict of columns."""
    def __init__(self, scene: Scene, source: object, *, interpolation: str = 'hold') -> None: ...
    @property
    def names(self) -> list[str]: ...
    @property
    def times(self) -> NDArray[numpy.float64]: ...
    @property
    def values(self) -> NDArray[numpy.float64]:
        """A row for each time, a column for each name."""

class InverseDerivatives(NamedTuple):
    """InverseDerivatives(by_q, by_v, by_a)"""
    by_q: Any
    by_v: Any
    by_a: Any

class InverseKinematics:
    """Finds positions of joints that bring links of a manipulator to targets, again and again.

    It keeps the scene as it was when it was made. What it answers follows from model, targets, start, settings and seed alone, to the bit."""
    def __init__(self, manipulator: Manipulator, targets: Target | Sequence[Target] | Mapping[str, ArrayLike] | Mapping[Link, ArrayLike], *, posture: ArrayLike | None = None, joint_weights: ArrayLike | None = None, seed: int = 1, restarts: int = 100, iterations: int = 100, tolerance: float = 1e-09, move_base: bool = False) -> None:
        """targets: a list of `Target`s, or a dict of goals by link, each a position (3 numbers) or a frame.
        posture: positions that joints would rather have where the targets leave freedom (n).
        joint_weights: how much a joint is spared in comparison to others (n), infinite for one that stays.
        seed, restarts: of random starts, which follow when the first one leads nowhere.
        tolerance: error (m and rad) of a target that is met.
        move_base: whether a free base moves, too.

        Limits of joints are kept to the bit, loops are closed, and gears and mimics keep their sums. What cannot be met is met as well as weights allow, and is no failure: see `solved` of the answer."""
    def set_goal(self, target: int, goal: ArrayLike) -> None:
        """Moves the goal of a target, by its number: a position or a frame. Weights stay."""
    def solve(self, start: ArrayLike | None = None) -> InverseKinematicsAnswer:
        """From joints at a start (n), or as they are in the scene. The interpreter's lock is released."""

class InverseKinematicsAnswer:
    """What inverse kinematics has found: true when all targets are met."""
    def __bool__(self) -> bool: ...
    @property
    def base_frame(self) -> NDArray[numpy.float64]:
        """The D-H frame of the base in the system: 4 x 4."""
    @property
    def beyond_reach(self) -> bool:
        """Certain: some target is farther from the base than all links in line."""
    @property
    def constraint_gap(self) -> float:
        """Of equality constraints, the greatest."""
    @property
    def cost(self) -> float:
        """Half of the sum of weighted squares of errors."""
    @property
    def iterations(self) -> int:
        """Over all starts."""
    @property
    def limits(self) -> dict[str, tuple[str, bool]]:
        """Joints at a limit, by link: 'lower' or 'upper', and whether it is in the way."""
    @property
    def obstacle(self) -> str | None:
        """Why targets are not met: 'limits' of joints, 'reach' (too far, or they contradict), 'loops' that cannot be closed, 'time' (more iterations or restarts may do); None when they are."""
    @property
    def orientation_errors(self) -> NDArray[numpy.float64]:
        """By target (rad), likewise."""
    @property
    def position_errors(self) -> NDArray[numpy.float64]:
        """By target (m), of what has a weight."""
    @property
    def posture_best(self) -> bool:
        """Whether the posture is as near as the targets allow."""
    @property
    def q(self) -> NDArray[numpy.float64]:
        """Positions of the joints (rad, or m): n numbers."""
    @property
    def restarts(self) -> int: ...
    @property
    def solved(self) -> bool:
        """Whether all targets are met."""

class Joint:
    """How a link moves on its parent, as a value: nothing of it is set but by `replace`.

    The position q of the joint places the D-H frame of the link in that of its parent:
      craig    [precursor] Tx(a) Rx(alpha) Rz(theta) Tz(d)   (Craig 1986)
      paul     [precursor] Rz(theta) Tz(d) Tx(a) Rx(alpha)   (Paul 1981)
      general  precursor, then Rz(q) or Tz(q)
      screw    precursor, then Tz(q) Rz(2 pi pitch q)
    Here q is theta of a revolute joint and d of a prismatic one. Frames are 4 x 4 matrices, or 7 numbers x y z w x y z."""
    def __eq__(self, other: object) -> bool: ...
    def __getstate__(self) -> object: ...
    def __setstate__(self, state: Any) -> None: ...
    @property
    def a(self) -> float | None:
        """Length along x (m). None without D-H parameters."""
    @property
    def alpha(self) -> float | None:
        """Twist about x (rad). None without D-H parameters."""
    @property
    def convention(self) -> str | None:
        """'craig', 'paul' or 'general'; None for a joint without D-H parameters."""
    @property
    def d(self) -> float | None:
        """Offset along z (m); of a prismatic joint the position takes its place. None without D-H parameters."""
    @staticmethod
    def from_xml(document: str) -> Joint:
        """A joint of any kind, from the text of `to_xml`."""
    @property
    def kind(self) -> str:
        """'revolute', 'prismatic', 'screw', or the name in documents."""
    @property
    def pitch(self) -> float | None:
        """Turns per length of a screw (1/m), or None."""
    @property
    def precursor(self) -> NDArray[numpy.float64] | None:
        """What stands before the joint: 4 x 4, or None."""
    @property
    def primary_frame(self) -> NDArray[numpy.float64]:
        """Of the link, in its D-H frame: 4 x 4."""
    @staticmethod
    def prismatic(a: float = 0.0, alpha: float = 0.0, theta: float = 0.0, convention: str = 'craig', precursor: ArrayLike | None = None, primary_frame: ArrayLike | None = None) -> Joint:
        """A joint that slides along z."""
    def replace(self, **kwargs: Any) -> Joint:
        """A copy with other parameters, by their names."""
    @staticmethod
    def revolute(a: float = 0.0, alpha: float = 0.0, d: float = 0.0, convention: str = 'craig', precursor: ArrayLike | None = None, primary_frame: ArrayLike | None = None) -> Joint:
        """A joint that turns about z."""
    @staticmethod
    def screw(pitch: float, precursor: ArrayLike | None = None, primary_frame: ArrayLike | None = None) -> Joint:
        """A joint that slides along z and turns about it, `pitch` times (1/m)."""
    @property
    def theta(self) -> float | None:
        """Angle about z (rad); of a revolute joint the position takes its place. None without D-H parameters."""
    def to_xml(self, defaults: bool = True) -> str: ...
    def transform(self, q: float) -> NDArray[numpy.float64]:
        """The D-H frame of the link in that of its parent: 4 x 4."""
    @property
    def unit(self) -> str:
        """Of the position: 'rad' or 'm'."""

class Link:
    """A link of a manipulator, with the joint that moves it."""
    def __eq__(self, other: object) -> bool: ...
    def __hash__(self) -> int: ...
    def acceleration(self, a: ArrayLike, base: ArrayLike | None = None) -> NDArray[numpy.float64]:
        """Acceleration (m/s^2) of the origin of the primary frame and angular acceleration (rad/s^2), in the axes of the system: 6 numbers.

        `a` has the accelerations of all n joints, `base` the 6 numbers of the base, which has none otherwise. Gravity plays no part."""
    def add_copy(self, other: Link) -> Link:
        """Adds a copy of a link, of any scene, with all below it, and answers it."""
    def add_link(self, label: str, joint: Joint, mass: MassProperties | None = None, shape: Shape | None = None, drive: Drive | None = None) -> Link:
        """Adds a link below this one, and answers it. Without a drive it has one that exerts what it is told, without limits."""
    def add_sag_joints(self) -> list[Link]:
        """Puts three links behind this one that turn about x, y and z, and answers them."""
    @property
    def added_masses(self) -> dict[str, MassProperties]:
        """Further masses by name, in the primary frame: a copy, to be set as a whole."""
    @added_masses.setter
    def added_masses(self, value: dict[str, MassProperties]) -> None: ...
    @property
    def children(self) -> list[Link]:
        """The links that this one carries."""
    @property
    def dh_frame(self) -> NDArray[numpy.float64]:
        """The D-H frame in the system: 4 x 4."""
    def distance(self, other: Link) -> tuple[float, NDArray[numpy.float64], NDArray[numpy.float64]]:
        """How far another link is (m), below zero for links that overlap, and the nearest or deepest point of each in the system (m). A link without a shape is an `Error`."""
    @property
    def drive(self) -> Drive:
        """What drives the joint, with its limits."""
    @drive.setter
    def drive(self, value: Drive) -> None: ...
    def flip_joint(self) -> None:
        """Has the joint turn or slide in the other sense; nothing moves."""
    @property
    def frame(self) -> NDArray[numpy.float64]:
        """The primary frame in the system, in which masses, shapes and points are told: 4 x 4."""
    @property
    def index(self) -> int | None:
        """That of the joint in `q`; None for the base."""
    def jacobian(self, point: ArrayLike | None = None, axes: str = 'mixed') -> NDArray[numpy.float64]:
        """The matrix (6 x N) from velocities to those of a point of the link, 3 numbers in its primary frame (m), linear before angular.

        N is `dof`: a free base has the first six columns, along its own axes. The answer is in the axes of the system ('mixed'), in those of the D-H frame ('local'), or of the point that passes the origin of the system ('system')."""
    def jacobian_rate(self, point: ArrayLike | None = None, axes: str = 'mixed') -> NDArray[numpy.float64]:
        """The rate of `jacobian` (1/s): 6 x N."""
    @property
    def joint(self) -> Joint | None:
        """The joint, with the primary frame; None for the base. A new one takes the place of the old one as a whole."""
    @joint.setter
    def joint(self, value: Joint) -> None: ...
    @property
    def label(self) -> str:
        """Unique in the manipulator. Views of the link follow a change."""
    @label.setter
    def label(self, value: str) -> None: ...
    @property
    def limits(self) -> tuple[float, float]:
        """The least and the greatest position of the joint (rad, or m), infinite for none."""
    @limits.setter
    def limits(self, value: tuple[float, float]) -> None: ...
    @property
    def manipulator(self) -> Manipulator: ...
    @property
    def mass(self) -> MassProperties:
        """Of the bare link, in its primary frame."""
    @mass.setter
    def mass(self, value: MassProperties) -> None: ...
    def move(self, frame: ArrayLike) -> None:
        """Moves the link and all below it with respect to its parent: what was at x in the D-H frame of that comes to frame x."""
    def move_contents(self, frame: ArrayLike) -> None:
        """Moves mass, shape, points and frames of the link in its primary frame."""
    @property
    def named_frames(self) -> dict[str, NDArray[numpy.float64]]:
        """Frames by name, 4 x 4 each, in the primary frame: a copy, to be set as a whole."""
    @named_frames.setter
    def named_frames(self, value: dict[str, ArrayLike]) -> None: ...
    @property
    def parent(self) -> Link | None:
        """The link that carries this one; None for the base."""
    @property
    def points(self) -> dict[str, NDArray[numpy.float64]]:
        """Points by name, 3 numbers each, in the primary frame (m): a copy, to be set as a whole."""
    @points.setter
    def points(self, value: dict[str, ArrayLike]) -> None: ...
    @property
    def q(self) -> float:
        """The position of the joint (rad, or m)."""
    @q.setter
    def q(self, value: float) -> None: ...
    def remove(self) -> None:
        """Removes the link and all below it."""
    def replace(self, other: Link) -> Link:
        """Replaces the link and all below it by a copy of another one, with all below that."""
    def set_primary_frame(self, frame: ArrayLike, contents_move: bool = False) -> None:
        """Changes the primary frame, which is told in the D-H frame. Mass, shape and points are told anew, so that nothing moves, unless `contents_move`."""
    @property
    def shape(self) -> Shape | None:
        """In the primary frame; None for no body."""
    @shape.setter
    def shape(self, value: Shape | None) -> None: ...
    @property
    def total_mass(self) -> MassProperties:
        """`mass` with all `added_masses`."""
    @property
    def v(self) -> float:
        """The velocity of the joint (rad/s, or m/s)."""
    @v.setter
    def v(self, value: float) -> None: ...
    @property
    def velocity(self) -> NDArray[numpy.float64]:
        """Velocity (m/s) of the origin of the primary frame and angular velocity (rad/s), in the axes of the system: 6 numbers."""

class Loss:
    """What a conversion from or to URDF could not carry over."""
    @property
    def element(self) -> str:
        """The element or the property."""
    @property
    def kind(self) -> str:
        """'lost', or 'changed': told otherwise, to another effect."""
    @property
    def line(self) -> int:
        """In the document that was read, from 1; or 0."""
    @property
    def place(self) -> str:
        """Of what it was, as "link 'forearm'"."""
    @property
    def text(self) -> str: ...

class Manipulator:
    """A manipulator of a scene: a tree of links on a base.

    Link i has joint i. Arrays of joints are in this order."""
    def __contains__(self, label: str) -> bool: ...
    def __eq__(self, other: object) -> bool: ...
    @overload
    def __getitem__(self, index: int) -> Link: ...
    @overload
    def __getitem__(self, label: str) -> Link: ...
    def __hash__(self) -> int: ...
    def __iter__(self) -> Iterator[Link]: ...
    def __len__(self) -> int: ...
    def accelerations(self, a: ArrayLike, base: ArrayLike | None = None) -> NDArray[numpy.float64]:
        """`acceleration` of each link: n x 6."""
    @property
    def base(self) -> Link:
        """The link that has no joint."""
    base_frame: _Numbers
    """The D-H frame of the base in the system: 4 x 4."""
    base_velocity: _Numbers
    """Velocity (m/s) and angular velocity (rad/s) of the base, in the axes of the system: 6 numbers."""
    @property
    def carrier(self) -> Link | None:
        """The link that the manipulator is attached to, or None."""
    @property
    def center_of_mass(self) -> NDArray[numpy.float64]:
        """Of the base and all links, in the system (m): 3 numbers."""
    @property
    def center_of_mass_jacobian(self) -> NDArray[numpy.float64]:
        """From velocities to that of the center of mass, in the axes of the system: 3 x N."""
    @property
    def constraints(self) -> list[Constraint]:
        """The relations between joints that forward dynamics holds."""
    def convert(self, form: str) -> None:
        """Tells joints and frames in another convention; nothing moves.

        'craig': by Craig's D-H parameters; 'precursor': without parameters; 'identity-frames': with the D-H frame of each link as its primary frame."""
    @property
    def dh_frames(self) -> NDArray[numpy.float64]:
        """The D-H frames of the links in the system: n x 4 x 4."""
    @property
    def dof(self) -> int:
        """Degrees of freedom: N = n, or n + 6 with a free base."""
    @property
    def fixed_base(self) -> bool:
        """Whether the base stays where it is; a free one has six degrees of freedom."""
    @fixed_base.setter
    def fixed_base(self, value: bool) -> None: ...
    @property
    def frames(self) -> NDArray[numpy.float64]:
        """The primary frames of the links in the system: n x 4 x 4."""
    @property
    def index(self) -> int:
        """The place in the scene."""
    def inverse_kinematics(self, targets: Target | Sequence[Target] | Mapping[str, ArrayLike] | Mapping[Link, ArrayLike], *, posture: ArrayLike | None = None, joint_weights: ArrayLike | None = None, seed: int = 1, restarts: int = 100, iterations: int = 100, tolerance: float = 1e-09, move_base: bool = False, start: ArrayLike | None = None) -> InverseKinematicsAnswer:
        """Positions of joints that bring links to targets; nothing moves until `q` is set to those of the answer.

        start: positions to start from, else those of the scene.
        targets: a list of `Target`s, or a dict of goals by link, each a position (3 numbers) or a frame.
        posture: positions that joints would rather have where the targets leave freedom (n).
        joint_weights: how much a joint is spared in comparison to others (n), infinite for one that stays.
        seed, restarts: of random starts, which follow when the first one leads nowhere.
        tolerance: error (m and rad) of a target that is met.
        move_base: whether a free base moves, too.

        Limits of joints are kept to the bit, loops are closed, and gears and mimics keep their sums. What cannot be met is met as well as weights allow, and is no failure: see `solved` of the answer."""
    @property
    def kinetic_energy(self) -> float:
        """Of the bodies, without motors (J)."""
    @property
    def label(self) -> str:
        """Unique in the scene. Views of the manipulator follow a change."""
    @label.setter
    def label(self, value: str) -> None: ...
    @property
    def limits(self) -> NDArray[numpy.float64]:
        """`limits` of all joints: n x 2. A copy that cannot be written."""
    @property
    def links(self) -> list[Link]:
        """The links below the base, by the index of their joint."""
    @property
    def mass(self) -> float:
        """Of the base and all links (kg), without what is attached."""
    @property
    def momentum(self) -> NDArray[numpy.float64]:
        """Linear momentum (kg m/s) and angular momentum about the center of mass (kg m^2/s), in the axes of the system: 6 numbers."""
    @property
    def momentum_matrix(self) -> NDArray[numpy.float64]:
        """From velocities to `momentum`: 6 x N."""
    placement: _Numbers
    """The frame in the system in which the state tells that of the base: 4 x 4."""
    @property
    def potential_energy(self) -> float:
        """Of the bodies in gravity, zero at the origin of the system (J)."""
    q: _Numbers
    """Positions of the joints (rad, or m): n numbers. What is answered is a copy that cannot be written: set the whole, or `q` of a link."""
    def recenter_limits(self, centers: Sequence[float]) -> None:
        """Tells positions of joints by whole turns more or less, so that the middles of their limits come near to n centers (rad)."""
    def relabel(self, labels: dict[str, str]) -> None:
        """Labels links anew, by their old labels, all at once."""
    def save_urdf(self, path: str | os.PathLike[str], *, meshes: str | os.PathLike[str] | None = None, mesh_uri: str | None = None, strict: bool = False) -> list[Loss]:
        """Writes the manipulator, with what is attached to its links, as URDF; answers the losses, and warns of them.

        meshes: a folder for files of triangles; without one, shapes that URDF does not have are lost.
        mesh_uri: how the document names that folder, as 'package://NAME/meshes/'; else by the relative path.
        strict: an `Error` if anything would be lost, and no document."""
    def scale(self, factor: float) -> None:
        """Makes the manipulator a greater or smaller one of the same kind, at the same density."""
    @property
    def scene(self) -> Scene: ...
    v: _Numbers
    """Velocities of the joints (rad/s, or m/s): n numbers, as `q`."""
    @property
    def velocities(self) -> NDArray[numpy.float64]:
        """`velocity` of each link: n x 6."""

class MassProperties:
    """The mass of a rigid body in the primary frame of its link, as a value."""
    def __add__(self, arg0: MassProperties) -> MassProperties: ...
    def __eq__(self, other: object) -> bool: ...
    def __getstate__(self) -> object: ...
    def __init__(self, mass: float, center: ArrayLike | None = None, inertia: ArrayLike | None = None) -> None:
        """A mass (kg), its center (m, 3 numbers), and the inertia about the center in the axes of the primary frame (kg m^2, 3 x 3), with products of inertia as they stand in the matrix."""
    def __setstate__(self, state: Any) -> None: ...
    @property
    def center(self) -> NDArray[numpy.float64]:
        """The center of mass (m): 3 numbers."""
    @property
    def inertia(self) -> NDArray[numpy.float64]:
        """About the center of mass (kg m^2): 3 x 3."""
    @property
    def inertia_at_origin(self) -> NDArray[numpy.float64]:
        """About the origin of the primary frame (kg m^2): 3 x 3."""
    @property
    def mass(self) -> float:
        """In kg."""
    @staticmethod
    def of_shape(shape: Shape, mass: float | None = None, density: float | None = None) -> MassProperties:
        """The body that fills a shape, of a mass (kg) or of a density (kg/m^3)."""
    def transformed(self, frame: ArrayLike) -> MassProperties:
        """The body moved by a frame."""

class MotionDifference:
    """How far two scenes come apart in the same states."""
    @property
    def acceleration(self) -> Deviation:
        """Of joints and free bases under gravity, relative to the greatest."""
    @property
    def inertia(self) -> Deviation:
        """Of links about their centers of mass (kg m^2)."""
    def is_within(self, tolerance: float) -> bool: ...
    @property
    def mass(self) -> Deviation:
        """Of links (kg)."""
    @property
    def only_in_first(self) -> list[str]: ...
    @property
    def only_in_second(self) -> list[str]: ...
    @property
    def orientation(self) -> Deviation:
        """Of links (rad)."""
    @property
    def position(self) -> Deviation:
        """Of links (m)."""

class OperationalSpace:
    """Moves a point of a link in the space of its task, with joints led to a posture in the null space."""
    def __init__(self, link: Link, gains: ArrayLike, *, task: str = 'pose', point: ArrayLike | None = None, posture: ArrayLike | None = None, posture_gains: ArrayLike | None = None, least_eigenvalue: float = 0.001, compensates_friction: bool = False) -> None:
        """gains, posture_gains: P (1/s^2) and D (1/s) of the task, and of the joints behind it.
        task: 'position', 'orientation' or 'pose' of a point of the link (m, in its primary frame).
        posture: where joints are to be as far as the task lets them (n).
        least_eigenvalue: below which a direction next to a singularity is damped, of a mean of 1.
        The scene is kept as it was. Bases have to be fixed, and drives rigid."""
    @property
    def damped(self) -> bool:
        """Whether a direction was damped in the last update."""
    @property
    def joint_torques(self) -> NDArray[numpy.float64]:
        """Of the last update (n; N m, or N)."""
    @property
    def motor_torques(self) -> NDArray[numpy.float64]:
        """Of the last update, before gears and friction (n)."""
    def update(self, q: ArrayLike, v: ArrayLike | None, goal: ArrayLike, goal_velocity: ArrayLike | None = None, goal_acceleration: ArrayLike | None = None) -> NDArray[numpy.float64]:
        """The torques at the motors for a state (n each), and a frame, or a position where the task is no more, for the point; its velocity and acceleration (6 each, along the axes of the system)."""

class PdGravity:
    """Brings joints to a posture by springs and dampers (N m/rad, N m s/rad), while gravity is held."""
    def __init__(self, manipulator: Manipulator, gains: ArrayLike, *, compensates_friction: bool = False) -> None:
        """gains: P and D of all joints (2), or a row of them for each (n x 2); see `critically_damped`.
        compensates_friction: whether motors also bring up the friction of their drives.
        The scene is kept as it was. Bases have to be fixed, and drives rigid."""
    @property
    def joint_torques(self) -> NDArray[numpy.float64]:
        """Of the last update (n; N m, or N)."""
    @property
    def motor_torques(self) -> NDArray[numpy.float64]:
        """Of the last update, before gears and friction (n)."""
    def update(self, q: ArrayLike, v: ArrayLike | None, goal: ArrayLike) -> NDArray[numpy.float64]:
        """The torques at the motors for a state and a posture (n each)."""

class Scene:
    """A system of manipulators with its state: what a document holds.

    Its manipulators are found by index or by label, and are views: they show the scene as it is, and keep it alive."""
    def _repr_html_(self) -> str | None: ...
    def save_page(self, path: str | os.PathLike[str], title: str = '') -> None: ...
    def __contains__(self, label: str) -> bool: ...
    def __copy__(self) -> Scene: ...
    def __deepcopy__(self, memo: dict[Any, Any]) -> Scene: ...
    def __delitem__(self, label: str) -> None: ...
    def __eq__(self, other: object) -> bool: ...
    @overload
    def __getitem__(self, index: int) -> Manipulator: ...
    @overload
    def __getitem__(self, label: str) -> Manipulator: ...
    def __getstate__(self) -> object: ...
    def __init__(self) -> None:
        """An empty scene."""
    def __iter__(self) -> Iterator[Manipulator]: ...
    def __len__(self) -> int: ...
    def __setstate__(self, state: Any) -> None: ...
    def add(self, manipulator: Manipulator, label: str | None = None) -> Manipulator:
        """Adds a copy of a manipulator, of any scene, in its state, and answers it."""
    def add_shape(self, label: str, shape: Shape, frame: ArrayLike | None = None, mass: MassProperties | None = None) -> Manipulator:
        """Adds a body of a shape as a manipulator, and answers it. With a mass it is free."""
    def append(self, other: Scene) -> None:
        """Adds copies of all manipulators of another scene, with all that acts between them."""
    def attach(self, manipulator: Manipulator, link: Link, frame: ArrayLike | None = None, name: str = '') -> None:
        """Hangs a manipulator on a link of another one, in whose primary frame it stands at the frame."""
    def check(self, step: float | None = None) -> list[Diagnostic]:
        """What is odd about the scene, for a simulation by steps of a length (s)."""
    def closest_pairs(self, margin: float = ..., all: bool = False) -> list[Separation]:
        """The pairs of links with shapes that are no further apart than a margin (m), the nearest first: those that may collide, or `all`."""
    def collides(self, margin: float = 0.0) -> bool:
        """Whether two links that may collide are within a margin (m) of each other."""
    def combine(self, manipulator: Manipulator, link: Link, frame: ArrayLike | None = None) -> None:
        """Makes a manipulator a part of another one: its base becomes a part of the link, in whose primary frame that of the base stands at the frame. The manipulator is gone then."""
    def detach(self, manipulator: Manipulator) -> None:
        """Takes it off its carrier; it stays where it is."""
    @staticmethod
    def from_xml(document: str) -> Scene:
        """Reads a scene from the text of a document."""
    gravity: _Numbers
    """The acceleration of what falls (m/s^2): 3 numbers, which point down."""
    @property
    def losses(self) -> list[Loss]:
        """What was lost when the scene was read from URDF."""
    @property
    def manipulators(self) -> list[Manipulator]: ...
    def new_manipulator(self, label: str, base: str = 'base', fixed_base: bool = True) -> Manipulator:
        """Adds a manipulator that is a base alone, and answers it."""
    def remove(self, manipulator: Manipulator) -> None: ...
    def save(self, path: str | os.PathLike[str], defaults: bool = True) -> None:
        """Writes the document. The file is the old one or the new one, whatever fails."""
    def separate(self, label: str) -> Manipulator:
        """Takes a manipulator that was combined off again, and answers it."""
    @property
    def state(self) -> State:
        """A copy of the state, to be kept and to be set again."""
    @state.setter
    def state(self, value: State) -> None: ...
    @property
    def time(self) -> float:
        """The time of the state (s)."""
    @time.setter
    def time(self, value: float) -> None: ...
    def to_xml(self, defaults: bool = True) -> str:
        """The text of the document; without `defaults`, what equals its default is left out."""
    @property
    def variation(self) -> tuple[int, int] | None:
        """Seed and number of the sample of a scene that was varied; otherwise None."""
    def vary(self, study: VariationStudy, seed: int, sample: int = 0) -> Scene:
        """A scene that is varied as a study tells. It follows from the seed and the number of the sample alone."""

class Separation:
    """How near two links are."""
    @property
    def distance(self) -> float:
        """In m; of links that overlap, minus the least translation that parts them."""
    @property
    def first(self) -> Link: ...
    @property
    def normal(self) -> NDArray[numpy.float64]:
        """From the first to the second, in the system: 3 numbers of length 1."""
    @property
    def points(self) -> tuple[NDArray[numpy.float64], NDArray[numpy.float64]]:
        """The point of each that is nearest to the other, or deepest in it, in the system."""
    @property
    def second(self) -> Link: ...

class Severity:
    """What a diagnostic says of what it tells."""
    ERROR: ClassVar[Severity]
    WARNING: ClassVar[Severity]
    NOTE: ClassVar[Severity]
    @property
    def name(self) -> str: ...
    @property
    def value(self) -> int: ...
    def __int__(self) -> int: ...

class Shape:
    """The shape of a body, as a value, in the frame of whoever holds it. Lengths are in m."""
    def __eq__(self, other: object) -> bool: ...
    def __getstate__(self) -> object: ...
    def __setstate__(self, state: Any) -> None: ...
    @property
    def bounds(self) -> NDArray[numpy.float64]:
        """The least and the greatest x y z: 2 x 3."""
    @staticmethod
    def box(size: ArrayLike, frame: ArrayLike | None = None) -> Shape:
        """By its whole lengths along x, y and z (m)."""
    @staticmethod
    def capsule(radius: float, start: ArrayLike, end: ArrayLike) -> Shape:
        """A line segment swept by a ball."""
    @staticmethod
    def cone(radius: float, start: ArrayLike, end: ArrayLike, end_radius: float = 0.0) -> Shape:
        """A cone, or a frustum of one."""
    @staticmethod
    def cylinder(radius: float, start: ArrayLike, end: ArrayLike) -> Shape:
        """By the middles of its flat ends."""
    @staticmethod
    def ellipsoid(semi_axes: ArrayLike, frame: ArrayLike | None = None) -> Shape: ...
    @staticmethod
    def from_xml(document: str) -> Shape:
        """A shape of any kind, from the text of `to_xml`."""
    @staticmethod
    def half_space(point: ArrayLike, normal: ArrayLike) -> Shape:
        """All behind a plane."""
    @staticmethod
    def hull(points: ArrayLike) -> Shape:
        """The convex hull of points (m): n x 3."""
    @property
    def kind(self) -> str:
        """The name in documents: 'box', 'triangleMesh' and so on."""
    @property
    def members(self) -> list[Shape]:
        """The shapes of a union; of another shape that itself."""
    @staticmethod
    def mesh(vertices: ArrayLike, triangles: ArrayLike) -> Shape:
        """Triangles by their vertices (m, n x 3) and the three indices of each (m x 3), counter-clockwise seen from outside."""
    @property
    def name(self) -> str: ...
    def scaled(self, factor: float) -> Shape:
        """A copy of another size, about the origin."""
    @staticmethod
    def sphere(radius: float, center: ArrayLike | None = None) -> Shape: ...
    @property
    def surfaces(self) -> dict[str, dict[str, float | str]]:
        """Values (material, friction, color) by name, by the name of the surface: '0' is all."""
    def to_xml(self, defaults: bool = True) -> str: ...
    def transformed(self, frame: ArrayLike) -> Shape:
        """A copy that is moved by a frame."""
    @property
    def triangles(self) -> NDArray[numpy.int64] | None:
        """Of a mesh, by index of vertices: m x 3; otherwise None."""
    @staticmethod
    def union(members: Sequence[Shape]) -> Shape:
        """A shape made of shapes."""
    @property
    def vertices(self) -> NDArray[numpy.float64] | None:
        """Of a hull or a mesh: n x 3; otherwise None."""
    @property
    def volume(self) -> float:
        """In m^3; infinite for a half-space, of a union the sum over its members."""
    def with_name(self, name: str) -> Shape:
        """A copy with another `name`."""
    def with_surfaces(self, surfaces: dict[str, dict[str, float | str]]) -> Shape:
        """A copy with other `surfaces`."""

class Simulation:
    """The state of a scene on its way through time: one call, one step.

    It begins at the state of the scene, which it copies. Arrays of joints (rad or m) have those of all manipulators one after the other, as `joints` names them; arrays of bases have a row for each manipulator. Links are told by 'manipulator/link', or as a `Link` of the scene. What drives it, commands, torques and forces, is set between steps and holds until it is set anew.

    solver: 'crbi', which heeds constraints, or 'arbi', for long chains. integrator: 'euler' (semi-implicit), 'midpoint' (implicit) or 'rk4'. energy: whether `energy_book` is kept. contact, interactions: whether links touch, and whether anything acts between them. coupling: whether what is attached acts back. loops: whether loops of constraints are held closed.

    Steps release the interpreter's lock. A simulation serves one thread at a time; others wait."""
    def __copy__(self) -> Simulation: ...
    def __deepcopy__(self, memo: dict[Any, Any]) -> Simulation: ...
    def __getstate__(self) -> object: ...
    def __init__(self, scene: Scene, *, solver: str = 'crbi', integrator: str = 'euler', energy: bool = False, contact: bool = True, coupling: bool = True, loops: bool = True, interactions: bool = True) -> None: ...
    def __setstate__(self, state: Any) -> None: ...
    @property
    def a(self) -> NDArray[numpy.float64]:
        """Accelerations of joints (rad/s^2 or m/s^2), which takes an evaluation of the present. A joint that rests in a limit accelerates here as if it were free."""
    def attach(self, manipulator: object, link: object, frame: ArrayLike | None = None, name: str = '') -> None:
        """Hangs a manipulator, with all that hangs on it, on a link of another one: as it stands, or with an in the primary frame of the link."""
    @property
    def base(self) -> NDArray[numpy.float64]:
        """The frame of each base in the system (x y z, w x y z)."""
    @property
    def base_acceleration(self) -> NDArray[numpy.float64]:
        """Likewise."""
    @property
    def base_velocity(self) -> NDArray[numpy.float64]:
        """Of the origin of each base, linear before angular, in the axes of the system."""
    @property
    def bodies(self) -> list[str]:
        """The labels of the manipulators."""
    commands: _Numbers
    """To the power converters: a voltage, a valve opening, a torque."""
    def constraint_forces(self, manipulator: object = 0) -> NDArray[numpy.float64]:
        """One number for each row of the constraints of a manipulator."""
    @property
    def contact_step_limit(self) -> float:
        """The longest step (s) for which the contacts of the present are stable; infinite without any."""
    def contacts(self) -> list[Contact]:
        """What touches and may move, as `Contact`s."""
    def detach(self, manipulator: object) -> None:
        """Releases a manipulator, which goes on as it moves."""
    @property
    def divergence(self) -> Any:
        """What was not finite, and when; or None."""
    @property
    def energy(self) -> dict[str, float]:
        """kinetic, potential (in gravity) and total (J)."""
    @property
    def energy_book(self) -> dict[str, Any]:
        """Where the energy is, where it came from and went (J): held, held_at_start, work, lost, each by its parts, and the remainder, which is the integrator's."""
    @property
    def fired_criteria(self) -> list[tuple[str, str, float]]:
        """Stopping criteria that were met: manipulator, description, time (s)."""
    def force(self, link: object) -> NDArray[numpy.float64]:
        """The external force that was set."""
    def frame(self, link: object) -> NDArray[numpy.float64]:
        """The primary frame of a link in the system (4 x 4)."""
    @staticmethod
    def from_xml(document: str) -> Simulation:
        """Goes on from the text of a checkpoint."""
    @property
    def greatest_depth(self) -> Any:
        """The deepest contact so far, or None."""
    @property
    def greatest_gap(self) -> Any:
        """The greatest gap of a loop so far, or None."""
    @property
    def joints(self) -> list[str]:
        """The names of all joints, 'manipulator/link'."""
    @property
    def limit_hits(self) -> dict[str, float]:
        """The joints that were at a limit, each with the first time (s)."""
    @property
    def motor_torques(self) -> NDArray[numpy.float64]:
        """Torques at the motors (N m or N): of power converters and given ones."""
    @property
    def q(self) -> NDArray[numpy.float64]:
        """Positions of joints (rad or m)."""
    @staticmethod
    def resume(path: str | os.PathLike[str]) -> Simulation:
        """A simulation that goes on from a checkpoint, to the same bits as if it had never ended."""
    def run(self, duration: float | None = None, dt: float = 0.001, *, until: float | None = None, inputs: object = None, record: Iterable[str] = ('q', 'v', 'base', 'energy'), every: int = 1, replay: bool = True, title: str = '') -> Run:
        """Takes steps of a length dt (s) for a duration, or until a time, and answers a `Run` of what was recorded: at the start, after every so many steps, and at the end. Steps end at multiples of dt, as those of `zqsim run`; the first and the last may be shorter.

        inputs: an `InputTable`; an array of torques at the motors that are held (joints), or a row of them a step (steps x joints); or a function, which is called with the simulation before each step, sets what it likes and may return such torques. Without a function the interpreter's lock is released throughout.

        record: names out of q, v, a, motor_torques, base, base_velocity, base_acceleration, energy, contacts. replay: whether the `Run` can show itself moving.

        What diverges raises an `Error`, of which `run` has what there was until then. A stopping criterion ends the run. Ctrl-C interrupts it between two steps."""
    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes a checkpoint: all that the next step depends on."""
    @property
    def scene(self) -> Scene:
        """A new scene, with the state as it is now."""
    def set_command(self, joint: object, command: float) -> None:
        """As `commands`, of one joint."""
    def set_force(self, link: object, force: ArrayLike) -> None:
        """The external force on a link or base: six numbers (N, N m), in its D-H frame."""
    def set_torque(self, joint: object, torque: float) -> None:
        """As `torques`, of one joint."""
    @property
    def settings(self) -> dict[str, Any]:
        """As the arguments."""
    @property
    def slips(self) -> int:
        """How often a contact that stuck began to slip."""
    def step(self, dt: float) -> None:
        """Steps by a length of time (s). What diverges raises an `Error`, and the state stays."""
    def step_to(self, time: float) -> None:
        """Steps to a later time (s), likewise."""
    @property
    def steps(self) -> int:
        """That were done."""
    @property
    def substituted_steps(self) -> int:
        """Those that the integrator has left to 'euler'."""
    @property
    def time(self) -> float:
        """In s."""
    def to_xml(self) -> str:
        """The text of a checkpoint."""
    torques: _Numbers
    """What acts at the motors beside the power converters (N m or N): before the gears."""
    @property
    def v(self) -> NDArray[numpy.float64]:
        """Velocities of joints (rad/s or m/s)."""

class State:
    """Positions and velocities of all manipulators of a scene at a time, as a value."""
    def __eq__(self, other: object) -> bool: ...
    def __getstate__(self) -> object: ...
    def __len__(self) -> int: ...
    def __setstate__(self, state: Any) -> None: ...
    @property
    def time(self) -> float:
        """In s."""

class Target:
    """What is wanted of a link in inverse kinematics."""
    @staticmethod
    def axis(link: str | Link, goal: ArrayLike, *, on: ArrayLike) -> Target:
        """A direction of the link (`on`, in its primary frame) comes along one of the system, whatever the position."""
    @property
    def link(self) -> str: ...
    @staticmethod
    def pose(link: str | Link, goal: ArrayLike, *, on: ArrayLike | None = None, position_weights: ArrayLike | None = None, orientation_weights: ArrayLike | None = None) -> Target:
        """A frame on the link, by default its primary frame, comes to a frame in the system (4 x 4 each).

        Weights are a number or 3, along and about the axes of the goal: how much errors count, with 1 m as 1 rad; zero for a direction that is free."""
    @staticmethod
    def position(link: str | Link, goal: ArrayLike, *, on: ArrayLike | None = None, weights: ArrayLike | None = None) -> Target:
        """A point of the link (m, in its primary frame) comes to one of the system, whatever the orientation."""

class Trajectory:
    """A motion of joints over time, in closed form: any time may be asked for. It rests before and after."""
    def __call__(self, time: ArrayLike) -> TrajectoryPoint:
        """Where joints are at a time since the start (s): q, v and a (n each). At k times: k x n each."""
    def __len__(self) -> int: ...
    @property
    def duration(self) -> float:
        """In s."""

class TrajectoryPoint(NamedTuple):
    """TrajectoryPoint(q, v, a)"""
    q: Any
    v: Any
    a: Any

class TrapezoidalTrajectory(Trajectory):
    """Joints that go from way point to way point, at rest in each, as fast as limits allow."""
    def __init__(self, way_points: ArrayLike, velocity_limits: ArrayLike, acceleration_limits: ArrayLike) -> None:
        """Way points are k x n; limits a number for all joints or one for each."""
    @property
    def times(self) -> NDArray[numpy.float64]:
        """When it is at each way point (s since the start)."""

class VariationStudy:
    """How uncertain a scene is: standard deviations of its properties, as a document."""
    def __eq__(self, other: object) -> bool: ...
    def __getstate__(self) -> object: ...
    def __init__(self, *, mass: float = 0.0, translation: float = 0.0, angle: float = 0.0, limits: float = 0.0, torque_limits: float = 0.0, velocity_limits: float = 0.0, q: float = 0.0, v: float = 0.0, base_position: float = 0.0, base_angle: float = 0.0, base_velocity: float = 0.0, base_angular_velocity: float = 0.0) -> None:
        """Standard deviations of every link and joint; documents also tell those of single ones.

        Of links: mass (kg), the place of the joint (translation in m, angle in rad), and limits of positions, torques and rates. Of the state: q, v and the base."""
    def __setstate__(self, state: Any) -> None: ...
    @staticmethod
    def from_xml(document: str) -> VariationStudy: ...
    @staticmethod
    def load(path: str | os.PathLike[str]) -> VariationStudy: ...
    def to_xml(self, defaults: bool = True) -> str: ...

class Warning(UserWarning):
    """Something is odd, or was repaired."""
    ...

__version__: str

def _page(arg0: str, arg1: Sequence[str]) -> str: ...

def _picture(scene: Scene, title: str = '') -> str: ...

def critically_damped(frequency: ArrayLike) -> NDArray[numpy.float64]:
    """The gains (P, D) = (f^2, 2 f) of errors that go to zero as fast as they can at a frequency (rad/s) without passing beyond; of n frequencies, n x 2."""

def difference(first: Scene, second: Scene, tolerance: float = 0.0, relative: float = 0.0, ignored: Sequence[str] = []) -> list[Difference]:
    """What differs between the documents of two scenes.

    Numbers are equal within tolerance + relative max(|a|, |b|); what stands at or below an element that is ignored is passed over."""

def inputs_of(scene: Scene) -> list[str]:
    """The names of all columns that an `InputTable` of the scene may have, but for time."""

def load(path: str | os.PathLike[str], *, packages: Mapping[str, str | os.PathLike[str]] | None = None, free_base: bool = False, strict: bool = False) -> Scene:
    """Reads a scene from a document, or a robot from a document in URDF, as its root element tells.

    What had to be repaired is warned of. What URDF has and a scene has not is in its `losses`, and warned of; with strict it is an `Error`.
    packages: directories by name, for 'package://NAME/...'.
    free_base: whether the base of a robot is free where URDF does not say so."""

def motion_difference(first: Scene, second: Scene, states: int = 100, seed: int = 1) -> MotionDifference:
    """Whether two scenes move alike, whatever their conventions: in states by chance."""

def torques_along(trajectory: Trajectory, manipulator: Manipulator, dt: float = 0.001) -> InputTable:
    """The torques at the motors that take a manipulator along a trajectory, as inputs of a run that begins on it. Nothing corrects errors."""
