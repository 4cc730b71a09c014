"""What links are asked for, against formulas in NumPy."""

import numpy as np
import pytest
from numpy.typing import NDArray

import zqmanipulator as zq
from conftest import MODELS

Numbers = NDArray[np.float64]
STEP = 1e-6  # of central differences, whose error is then about 1e-10
NEAR = 1e-8


def turned(axis: int, angle: float) -> Numbers:
    frame = np.eye(4)
    i, j = (axis + 1) % 3, (axis + 2) % 3
    frame[i, i] = frame[j, j] = np.cos(angle)
    frame[i, j], frame[j, i] = -np.sin(angle), np.sin(angle)
    return frame


def moved(*place: float) -> Numbers:
    frame = np.eye(4)
    frame[:3, 3] = place
    return frame


def dh_transform(joint: zq.Joint, q: float) -> Numbers:
    assert joint.kind == "revolute" and joint.precursor is not None
    a, alpha, d = joint.a or 0.0, joint.alpha or 0.0, joint.d or 0.0
    first = moved(a, 0, 0) @ turned(0, alpha)
    second = turned(2, q) @ moved(0, 0, d)
    whole = first @ second if joint.convention == "craig" else second @ first
    return np.asarray(joint.precursor @ whole)


def rates(arm: zq.Manipulator, quantity: str) -> Numbers:
    """How a quantity changes along the velocities of the joints."""
    q = arm.q.copy()
    values = []
    for sign in (1, -1):
        arm.q = q + sign * STEP * arm.v
        values.append(np.array(getattr(arm, quantity)))
    arm.q = q
    return np.asarray((values[0] - values[1]) / (2 * STEP))


def test_frames_are_products_of_joints(puma: zq.Manipulator) -> None:
    frame = puma.base_frame
    for link, q, dh, primary in zip(puma, puma.q, puma.dh_frames, puma.frames):
        assert link.joint is not None
        frame = frame @ dh_transform(link.joint, q)
        assert np.allclose(link.joint.transform(q), dh_transform(link.joint, q), atol=1e-15)
        assert np.allclose(dh, frame, atol=1e-14) and np.allclose(link.dh_frame, frame, atol=1e-14)
        assert np.allclose(primary, frame @ link.joint.primary_frame, atol=1e-14)
        assert np.array_equal(link.frame, primary)


def test_velocities_and_accelerations_are_rates(puma: zq.Manipulator) -> None:
    frame_rates = rates(puma, "frames")
    for link, rate, velocity in zip(puma, frame_rates, puma.velocities):
        spin = rate[:3, :3] @ link.frame[:3, :3].T
        expected = [*rate[:3, 3], spin[2, 1], spin[0, 2], spin[1, 0]]
        assert np.allclose(velocity, expected, atol=NEAR) and np.array_equal(velocity, link.velocity)
        assert np.allclose(link.jacobian() @ puma.v, velocity, atol=1e-13)
    # With the joints at constant rates, velocities change as accelerations of zero tell.
    assert np.allclose(puma.accelerations(np.zeros(6)), rates(puma, "velocities"), atol=NEAR)
    flange = puma["flange"]
    a = np.arange(6.0)
    expected = flange.jacobian() @ a + flange.jacobian_rate() @ puma.v
    assert np.allclose(flange.acceleration(a), expected, atol=1e-12)


def test_a_jacobian_of_a_point_is_that_of_the_origin_with_a_lever(puma: zq.Manipulator) -> None:
    flange, point = puma["flange"], np.array([0.1, -0.2, 0.3])
    origin = flange.jacobian()
    lever = flange.frame[:3, :3] @ point
    assert np.allclose(flange.jacobian(point)[:3], origin[:3] + np.cross(origin[3:].T, lever).T, atol=1e-14)
    inverse = flange.dh_frame[:3, :3].T
    assert np.allclose(flange.jacobian(point, "local")[:3], inverse @ flange.jacobian(point)[:3], atol=1e-14)


def test_mass_momentum_and_energy_are_sums_over_links(puma: zq.Manipulator) -> None:
    bodies = [(link.total_mass, link.frame, link.velocity) for link in [puma.base, *puma]]
    mass = sum(body.mass for body, _, _ in bodies)
    centers = [(frame @ [*body.center, 1.0])[:3] for body, frame, _ in bodies]
    center = sum(body.mass * c for (body, _, _), c in zip(bodies, centers)) / mass
    momentum, energy = np.zeros(6), 0.0
    for (body, frame, velocity), c in zip(bodies, centers):
        omega = velocity[3:]
        v = velocity[:3] + np.cross(omega, c - frame[:3, 3])
        spin = frame[:3, :3] @ body.inertia @ frame[:3, :3].T @ omega
        momentum += [*(body.mass * v), *(spin + body.mass * np.cross(c - center, v))]
        energy += (body.mass * v @ v + omega @ spin) / 2
    assert puma.mass == pytest.approx(mass, rel=1e-14)
    assert np.allclose(puma.center_of_mass, center, atol=1e-14)
    assert np.allclose(puma.momentum, momentum, atol=1e-12)
    assert np.allclose(puma.momentum_matrix @ puma.v, momentum, atol=1e-12)
    assert np.allclose(puma.center_of_mass_jacobian @ puma.v, momentum[:3] / mass, atol=1e-13)
    assert puma.kinetic_energy == pytest.approx(energy, rel=1e-12)
    assert puma.potential_energy == pytest.approx(-mass * puma.scene.gravity @ center, rel=1e-12)


def test_a_free_base_has_six_columns_before_the_joints() -> None:
    scene = zq.load(MODELS / "freeChain.xml")
    chain = scene[0]
    chain.base_velocity = [0.1, 0.2, -0.3, 0.4, -0.5, 0.6]
    assert chain.dof == len(chain) + 6
    turn = chain.base_frame[:3, :3].T
    velocity = np.concatenate([turn @ chain.base_velocity[:3], turn @ chain.base_velocity[3:], chain.v])
    for link in chain:
        assert np.allclose(link.jacobian() @ velocity, link.velocity, atol=1e-12)
    assert np.allclose(chain.momentum_matrix @ velocity, chain.momentum, atol=1e-12)


def test_distances_are_those_of_spheres() -> None:
    scene = zq.Scene()
    first = scene.add_shape("one", zq.Shape.sphere(0.5))
    scene.add_shape("other", zq.Shape.sphere(0.25), [2, 0, 0, 1, 0, 0, 0])
    (pair,) = scene.closest_pairs()
    distance, *points = first.base.distance(pair.second if pair.first == first.base else pair.first)
    assert distance == pytest.approx(1.25, abs=1e-12) == pair.distance
    assert np.allclose(points, [[0.5, 0, 0], [1.75, 0, 0]], atol=1e-12)
    assert scene.collides(1.3) and not scene.collides(1.2) and not scene.closest_pairs(1.2)
    scene["other"].base_frame = [0.6, 0, 0, 1, 0, 0, 0]
    assert scene.collides() and scene.closest_pairs()[0].distance == pytest.approx(-0.15, abs=1e-9)
