"""Scenes that are read, copied, built and edited, and the views that look at them."""

import copy
import gc
import pickle
import re
import threading
from pathlib import Path
from typing import Callable

import numpy as np
import pytest

import zqmanipulator as zq
from conftest import MODELS

NOTHING = np.eye(4)


@pytest.mark.parametrize("path", sorted(MODELS.glob("*.xml")), ids=str)
def test_copies_and_documents_are_the_same_scene(path: Path, tmp_path: Path) -> None:
    scene = zq.load(path)
    scene.save(tmp_path / "saved.xml")
    for other in (copy.copy(scene), copy.deepcopy(scene), pickle.loads(pickle.dumps(scene)),
                  zq.Scene.from_xml(scene.to_xml(defaults=False)), zq.load(tmp_path / "saved.xml")):
        assert other == scene and not zq.difference(scene, other) and repr(other) == repr(scene)
        for arm in other:
            if len(arm) > 0:
                arm.q = arm.q + 0.1
                assert other != scene and zq.difference(scene, other)
    assert scene.state == zq.load(path).state


def pendulum(scene: zq.Scene, label: str = "pendulum") -> zq.Manipulator:
    arm = scene.new_manipulator(label)
    bob = zq.MassProperties(2.0, center=[0, 0, -0.5], inertia=np.diag([0.1, 0.2, 0.3]))
    upper = arm.base.add_link("upper", zq.Joint.revolute(alpha=np.pi / 2), mass=bob)
    upper.add_link("lower", zq.Joint.prismatic(a=0.3, convention="paul"), mass=bob, shape=zq.Shape.box([0.1, 0.2, 0.3]))
    return arm


def test_values_are_what_was_set() -> None:
    scene = zq.Scene()
    scene.gravity = np.array([0, 0, -9.81])
    scene.time = 2.5
    arm = pendulum(scene)
    upper, lower = arm
    assert (arm.label, upper.label, upper.index, lower.parent, upper.children, upper.parent) == (
        "pendulum", "upper", 0, upper, [lower], arm.base)
    assert arm.base.index is None and arm.base.parent is None and arm.base.joint is None
    assert scene.gravity.tolist() == [0, 0, -9.81] and scene.state.time == 2.5

    bob = upper.mass
    assert bob.mass == 2.0 and np.allclose(bob.inertia, np.diag([0.1, 0.2, 0.3]), atol=1e-15)
    assert np.allclose(bob.inertia_at_origin, np.diag([0.6, 0.7, 0.3]), atol=1e-15)
    upper.added_masses = {"load": bob}
    assert upper.total_mass.mass == 4.0 and pickle.loads(pickle.dumps(bob)) == bob

    assert upper.limits == (-np.inf, np.inf)
    upper.limits = (-1.0, 2.0)
    upper.drive = upper.drive.replace(gear_ratio=50, inertia=1e-4, max_torque=3.0)
    assert upper.limits == (-1.0, 2.0) and arm.limits.tolist() == [[-1, 2], [-np.inf, np.inf]]
    drive = upper.drive
    assert (drive.gear_ratio, drive.inertia, drive.max_torque, drive.min_torque, drive.rigid) == (50, 1e-4, 3, -np.inf, True)
    assert zq.Drive.from_xml(drive.to_xml()) == drive

    assert lower.joint is not None
    joint = lower.joint.replace(a=0.7, precursor=[1, 0, 0, 1, 0, 0, 0])
    lower.joint = joint
    assert (joint.kind, joint.unit, joint.a, joint.convention, joint.pitch) == ("prismatic", "m", 0.7, "paul", None)
    assert lower.joint == joint == zq.Joint.from_xml(joint.to_xml())
    assert zq.Joint.screw(0.5).transform(0.25)[2, 3] == 0.25
    upper.points = {"tip": np.array([0, 0, -1.0])}
    upper.named_frames = {"grip": NOTHING}
    assert upper.points["tip"].tolist() == [0, 0, -1] and np.array_equal(upper.named_frames["grip"], NOTHING)

    arm.fixed_base = False
    arm.placement = [1, 2, 3, 1, 0, 0, 0]
    arm.base_frame = [1, 2, 3, 1, 0, 0, 0]
    arm.base_velocity = np.arange(6.0)
    lower.q, upper.v = 0.25, -0.5
    assert (arm.q[1], arm.v[0], arm.dof) == (0.25, -0.5, 8)
    assert arm.base_frame[:3, 3].tolist() == [1, 2, 3] and arm.base_velocity.tolist() == list(range(6))
    with pytest.raises(ValueError, match="read-only"):
        arm.q[0] = 1.0


def test_shapes_have_the_volumes_of_formulas() -> None:
    cube = [[x, y, z] for x in (0, 1) for y in (0, 1) for z in (0, 1)]
    tetrahedron = zq.Shape.mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], [[0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]])
    ends = [0, 0, 0], [0, 0, 2]
    for shape, volume in (
        (zq.Shape.box([1, 2, 3]), 6),
        (zq.Shape.sphere(2.0), np.pi * 32 / 3),
        (zq.Shape.cylinder(0.5, *ends), np.pi / 2),
        (zq.Shape.capsule(0.5, *ends), np.pi / 2 + np.pi / 6),
        (zq.Shape.cone(1.0, *ends), np.pi * 2 / 3),
        (zq.Shape.ellipsoid([1, 2, 3]), np.pi * 8),
        (zq.Shape.hull(cube), 1),
        (tetrahedron, 1 / 6),
        (zq.Shape.union([zq.Shape.hull(cube), zq.Shape.sphere(2.0)]), 1 + np.pi * 32 / 3),
    ):
        assert shape.volume == pytest.approx(volume, rel=1e-12), shape
        assert shape.scaled(2).volume == pytest.approx(8 * volume, rel=1e-12)
        away = shape.transformed([10, 0, 0, 1, 0, 0, 0])
        assert np.allclose(away.bounds - shape.bounds, [[10, 0, 0]] * 2, atol=1e-12)
        assert pickle.loads(pickle.dumps(away)) == away != shape
    assert tetrahedron.triangles is not None and tetrahedron.triangles.tolist()[3] == [1, 2, 3]
    assert np.isinf(zq.Shape.half_space([0, 0, 0], [0, 0, 2]).volume)
    painted = zq.Shape.sphere(1).with_surfaces({"0": {"material": "steel", "zqAmbientAlpha": 0.5}}).with_name("ball")
    assert painted.surfaces == {"0": {"material": "steel", "zqAmbientAlpha": 0.5}} and painted.name == "ball"
    solid = zq.MassProperties.of_shape(zq.Shape.box([1, 2, 3]), density=2)
    assert solid.mass == pytest.approx(12) and np.allclose(np.diag(solid.inertia), [13, 10, 5])


def test_edits_keep_what_they_should() -> None:
    scene = zq.Scene()
    arm, other = pendulum(scene), pendulum(scene, "other")
    arm.q = other.q = [0.4, 0.1]
    tip = arm["lower"].frame
    arm.relabel({"upper": "lower", "lower": "upper"})
    assert np.allclose(arm["upper"].frame, tip)

    scene.attach(other, arm["upper"], name="hook")
    assert other.carrier == arm["upper"] and np.allclose(other.base.frame, tip)
    arm.q = [0.2, 0.3]
    assert np.allclose(other.base.frame, arm["upper"].frame, atol=1e-14)
    end = other["lower"].frame
    scene.detach(other)
    assert other.carrier is None and np.allclose(other["lower"].frame, end, atol=1e-14)
    scene.combine(other, arm["upper"])
    assert "other" not in scene and len(arm) == 4 and np.allclose(arm.frames[-1], end, atol=1e-13)
    again = pickle.loads(pickle.dumps(scene))
    for one in (scene, again):
        apart = one.separate("other")
        assert len(one[0]) == 2 and np.allclose(apart["lower"].frame, end, atol=1e-13)

    added = arm.base.add_link("twin", zq.Joint.revolute())
    template = pendulum(zq.Scene())["lower"]
    template.label = "slide"
    added.replace(template)
    assert [link.label for link in arm] == ["lower", "upper", "slide"]
    arm["slide"].remove()
    size = arm.mass
    arm.scale(2.0)
    assert arm.mass == pytest.approx(8 * size)
    before = arm["upper"].frame
    arm["upper"].set_primary_frame([0.1, 0, 0, 1, 0, 0, 0])
    assert not np.allclose(arm["upper"].frame, before) and zq.motion_difference(scene, scene).is_within(0)
    copied = zq.Scene()
    copied.append(scene)
    copied.add(arm, "third")
    del copied["other"]
    assert [one.label for one in copied] == ["pendulum", "third"]


def test_conversions_move_nothing(puma: zq.Manipulator) -> None:
    original = copy.copy(puma.scene)
    before = puma.frames
    puma["forearm"].flip_joint()
    for form in ("precursor", "craig"):
        puma.convert(form)
        assert np.allclose(puma.frames, before, atol=1e-13)
    assert zq.motion_difference(original, puma.scene).is_within(1e-9)
    differences = zq.difference(original, puma.scene)
    assert differences and all(one.first != one.second for one in differences)
    sag = puma["forearm"].add_sag_joints()
    assert len(puma) == 9 and [link.parent for link in sag][1:] == sag[:-1]


def test_varied_scenes_follow_from_seed_and_sample(puma: zq.Manipulator) -> None:
    study = zq.VariationStudy.load(MODELS.parent / "pumaStudy.xml")
    one, same, other = (puma.scene.vary(study, 7, sample) for sample in (3, 3, 4))
    assert one == same != other and one.variation == (7, 3) and puma.scene.variation is None
    assert not zq.motion_difference(one, puma.scene).is_within(1e-9)
    assert pickle.loads(pickle.dumps(study)) == study
    mass = puma["forearm"].mass.mass
    varied = [puma.scene.vary(zq.VariationStudy(mass=0.01 * mass), 1, k)[0]["forearm"].mass.mass for k in range(200)]
    assert np.std(varied) == pytest.approx(0.01 * mass, rel=0.2) and np.array_equal(puma.scene.vary(zq.VariationStudy(), 1)[0].q, puma.q)


def test_checks_and_constraints_are_told() -> None:
    scene = zq.Scene()
    pendulum(scene)["lower"].mass = zq.MassProperties(0.0)
    assert {one.severity for one in scene.check()} and all(one.text and one.code for one in scene.check(1e-3))
    document = zq.load(MODELS / "pendulum.xml").to_xml()
    empty = re.search(r'<(stateEqualityConstraintVector) count="0"/>', document)
    assert empty
    held = zq.Scene.from_xml(document.replace(empty[0], f'<{empty[1]} count="1"><linearStateEqualityConstraint/></{empty[1]}>'))
    (constraint,) = held[0].constraints
    assert (constraint.kind, constraint.rows) == ("linearStateEqualityConstraint", 0) and constraint.kind in constraint.to_xml()


def test_views_keep_their_scene_and_follow_labels() -> None:
    link = zq.load(MODELS / "puma560.xml")["puma560"]["forearm"]
    gc.collect()
    arm = link.manipulator
    frame = link.frame
    assert link == arm["forearm"] != arm["flange"] and len({link, arm["forearm"]}) == 1
    arm.label, link.label = "arm", "second"
    assert (arm.scene["arm"], arm["second"]) == (arm, link) and np.array_equal(link.frame, frame)
    arm.scene.append(arm.scene)
    arm.base.add_link("new", zq.Joint.revolute())
    assert np.array_equal(link.frame, frame)


@pytest.mark.parametrize("action", [
    lambda arm, link: arm.q, lambda arm, link: arm.frames, lambda arm, link: arm.links, lambda arm, link: arm.scale(2.0),
    lambda arm, link: arm.convert("craig"), lambda arm, link: len(arm), lambda arm, link: link.frame,
    lambda arm, link: link.jacobian(), lambda arm, link: setattr(link, "label", "x"), lambda arm, link: link.remove(),
    lambda arm, link: setattr(link, "q", 1.0), lambda arm, link: setattr(link, "limits", (0, 1)),
])
def test_what_is_gone_is_a_reference_error(action: Callable[[zq.Manipulator, zq.Link], object]) -> None:
    arm = zq.load(MODELS / "puma560.xml")["puma560"]
    link = arm["flange"]
    arm.scene.remove(arm)
    assert "gone" in repr(arm)
    with pytest.raises(ReferenceError, match="'puma560' is not in its scene any more"):
        action(arm, link)


def test_threads_read_and_write_scenes_at_once(tmp_path: Path) -> None:
    scene = zq.load(MODELS / "puma560.xml")
    failures: list[Exception] = []

    def work(number: int) -> None:
        try:
            for step in range(20):
                scene.save(tmp_path / f"{number}.xml")
                scene.check()
                scene[0]["forearm"].limits = (-1.0 - number, 1.0 + step)
                assert zq.load(tmp_path / f"{number}.xml")[0].frames.shape == (6, 4, 4)
        except Exception as failure:
            failures.append(failure)

    threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures
