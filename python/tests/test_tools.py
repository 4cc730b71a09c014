"""Inverse kinematics, URDF, trajectories and controllers against other numbers."""

import pathlib
import struct
from typing import Any, Callable

import numpy as np
import pytest

import zqmanipulator as zq

Q = np.array([0.3, -0.7, 0.5, 0.4, -0.9, 0.2])  # within the limits
GAINS = (100.0, 20.0)


def test_inverse_kinematics_meets_its_targets(puma: zq.Manipulator) -> None:
    puma.q = Q
    goal = puma["flange"].frame
    elbow = puma["forearm"].frame[:3, 3]
    puma.q = np.zeros(6)
    answer = puma.inverse_kinematics({"flange": goal}, seed=3)
    again = puma.inverse_kinematics([zq.Target.pose(puma["flange"], goal)], seed=3)
    assert answer and answer.solved and answer.obstacle is None and np.array_equal(answer.q, again.q)
    assert answer.position_errors.max() < 1e-9 and answer.orientation_errors.max() < 1e-9
    assert (puma.q == 0).all() and (answer.q >= puma.limits[:, 0]).all() and (answer.q <= puma.limits[:, 1]).all()
    puma.q = answer.q
    assert np.allclose(puma["flange"].frame, goal, atol=3e-9) and np.array_equal(answer.base_frame, puma.base_frame)

    both = puma.inverse_kinematics([zq.Target.pose("flange", goal), zq.Target.position("forearm", elbow)], start=Q + 0.1)
    assert both and np.allclose(both.q, Q, atol=1e-8) and both.position_errors.shape == (2,)
    away = Q + [0, 0.2, -0.1, 0.3, 0.1, -0.2]
    kept = puma.inverse_kinematics({"flange": goal[:3, 3]}, start=away, joint_weights=[np.inf, 1, 1, 1, 1, 1], posture=Q)
    assert kept and kept.posture_best and kept.q[0] == Q[0] and np.allclose(kept.q, Q, atol=1e-6)
    tip = [0.0, 0.0, 0.1]
    tool = zq.InverseKinematics(puma, [zq.Target.position("flange", [0.4, 0.2, 0.3], on=tip), zq.Target.axis("flange", [0, 0, -1], on=[0, 0, 1])])
    for point in ([0.4, 0.2, 0.3], [0.4, 0.2, 0.25]):
        tool.set_goal(0, point)
        found = tool.solve(Q)
        puma.q = found.q
        frame = puma["flange"].frame
        assert found and np.allclose((frame @ [*tip, 1.0])[:3], point, atol=3e-9) and frame[2, 2] == pytest.approx(-1, abs=1e-9)

    far = puma.inverse_kinematics({"flange": [9.0, 0, 0]})
    assert not far and far.beyond_reach and far.obstacle in ("reach", "limits") and far.position_errors[0] > 7
    for link in puma.links:
        link.limits = (link.q, link.q)
    stuck = puma.inverse_kinematics({"flange": goal}, restarts=0)
    assert not stuck and stuck.obstacle == "limits" and any(is_in_the_way for _, is_in_the_way in stuck.limits.values())


def test_a_free_base_may_move() -> None:
    chain = zq.load(pathlib.Path(__file__).parents[2] / "examples" / "models" / "freeChain.xml")[0]
    goal = chain.links[-1].frame[:3, 3] + [50.0, 0, 0]
    assert not chain.inverse_kinematics({chain.links[-1]: goal}, restarts=0)
    answer = chain.inverse_kinematics({chain.links[-1]: goal}, move_base=True)
    chain.q, chain.base_frame = answer.q, answer.base_frame
    assert answer and np.allclose(chain.links[-1].frame[:3, 3], goal, atol=1e-8)


URDF = """<robot name="robot">
  <link name="stand"/>
  <link name="arm">
    <inertial><origin xyz="0 0 0.5"/><mass value="2"/><inertia ixx="0.1" ixy="0" ixz="0" iyy="0.1" iyz="0" izz="0.01"/></inertial>
    <collision><geometry><mesh filename="package://parts/tetrahedron.stl" scale="2 2 2"/></geometry></collision>
  </link>
  <joint name="shoulder" type="revolute">
    <parent link="stand"/><child link="arm"/><origin xyz="1 0 2"/><axis xyz="0 1 0"/>
    <limit lower="-1" upper="2" effort="10" velocity="3"/>
    {loss}
  </joint>
</robot>
"""
LOSS = '<safety_controller k_velocity="1"/>'


def written(folder: pathlib.Path, loss: str = "") -> pathlib.Path:
    """A robot, and a package with its mesh."""
    package = folder / "elsewhere"
    package.mkdir(exist_ok=True)
    corners = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], dtype="<f4")
    with open(package / "tetrahedron.stl", "wb") as file:
        file.write(bytes(80) + struct.pack("<I", 4))
        for triangle in ([0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]):
            file.write(bytes(12) + corners[triangle].tobytes() + bytes(2))
    robot = folder / "robot.urdf"
    robot.write_text(URDF.format(loss=loss))
    return robot


def test_urdf_is_read_and_written(tmp_path: pathlib.Path) -> None:
    scene = zq.load(written(tmp_path), packages={"parts": tmp_path / "elsewhere"}, strict=True)
    (arm,) = scene["robot"]
    assert scene.losses == [] and arm.label == "arm" and arm.limits == (-1.0, 2.0) and arm.mass.mass == 2.0
    assert arm.shape is not None and arm.shape.volume == pytest.approx(8 / 6, rel=1e-6)
    arm.q = 0.5
    c, s = np.cos(0.5), np.sin(0.5)
    assert np.allclose(arm.frame, [[c, 0, s, 1], [0, 1, 0, 0], [-s, 0, c, 2], [0, 0, 0, 1]], atol=1e-15)
    arm.q = 0.0
    saved = tmp_path / "saved.urdf"
    losses = scene[0].save_urdf(saved, meshes=tmp_path / "meshes", mesh_uri="package://copy/")
    again = zq.load(saved, packages={"copy": tmp_path / "meshes"})
    assert losses == [] and zq.motion_difference(scene, again).is_within(1e-12)
    assert again[0][0].shape is not None and again[0][0].shape.volume == pytest.approx(8 / 6, rel=1e-6)
    with pytest.raises(zq.Error, match="the base is free and has no mass"):
        zq.load(saved, packages={"copy": tmp_path / "meshes"}, free_base=True)


def test_losses_of_urdf_are_told(tmp_path: pathlib.Path) -> None:
    robot = written(tmp_path, LOSS)
    packages = {"parts": tmp_path / "elsewhere"}
    with pytest.warns(zq.Warning, match="1 loss"):
        scene = zq.load(robot, packages=packages)
    (loss,) = scene.losses
    line = 1 + robot.read_text()[: robot.read_text().index("<safety")].count("\n")
    assert (loss.kind, loss.place, loss.element, loss.line) == ("lost", "joint 'shoulder'", "safety_controller", line)
    with pytest.raises(zq.Error, match="safety_controller") as caught:
        zq.load(robot, packages=packages, strict=True)
    assert [one.line for one in caught.value.diagnostics] == [line]
    saved = tmp_path / "saved.urdf"
    with pytest.raises(zq.Error):
        scene[0].save_urdf(saved, strict=True)
    assert not saved.exists()
    with pytest.warns(zq.Warning, match="loss"):
        assert len(scene[0].save_urdf(saved)) > 0
    assert saved.exists()
    saved.write_text("<robot name='r'><link name='a'/><link name='b'/></robot>")
    with pytest.raises(zq.Error):
        zq.load(saved)


def test_trajectories_are_their_formulas() -> None:
    start, end = np.array([0.1, -0.2]), np.array([1.1, 0.8])
    quintic = zq.FifthOrderTrajectory(start, end, 2.0)
    s = np.linspace(0, 1, 5)
    q, v, a = quintic(2.0 * s)
    assert q == pytest.approx(start + np.outer(10 * s**3 - 15 * s**4 + 6 * s**5, end - start), abs=1e-15)
    assert v[2] == pytest.approx((15 / 8) / 2.0 * (end - start)) and np.array_equal(quintic(2.0).q, end) and len(quintic) == 2
    assert zq.FifthOrderTrajectory.least_duration(start, end, 0.5, 100.0) == pytest.approx(15 / 8 / 0.5)
    moving = zq.FifthOrderTrajectory(start, end, 2.0, start_velocity=[1, 2], end_acceleration=[3, 4])
    assert moving(0.0).v.tolist() == [1, 2] and moving(2.0).a.tolist() == [3, 4]
    ramps = zq.TrapezoidalTrajectory([start, end, start], 0.5, [1.0, 2.0])
    assert ramps.times == pytest.approx([0, 2.5, 5.0]) and ramps.duration == ramps.times[-1]
    assert ramps(1.25).v[0] == pytest.approx(0.5) and np.array_equal(ramps(2.5).q, end)


def test_controllers_are_their_formulas(puma: zq.Manipulator) -> None:
    dynamics = zq.Dynamics(puma)
    random = np.random.default_rng(4)
    v, goal, goal_v, goal_a = random.normal(size=(4, 6))
    P, D = GAINS
    computed = zq.ComputedTorque(puma, GAINS)
    motors = computed.update(Q, v, goal, goal_v, goal_a)
    expected = dynamics.inverse(Q, v, goal_a + D * (goal_v - v) + P * (goal - Q))
    assert computed.joint_torques == pytest.approx(expected, rel=1e-9) and np.array_equal(motors, computed.motor_torques)
    gains = np.array([[P + i, D + i] for i in range(6)])
    posture = zq.PdGravity(puma, gains)
    posture.update(Q, v, goal)
    assert posture.joint_torques == pytest.approx(gains[:, 0] * (goal - Q) - gains[:, 1] * v + dynamics.gravity_torques(Q), rel=1e-9)
    assert zq.critically_damped([10.0, 3.0]).tolist() == [[100, 20], [9, 6]]

    hand = zq.OperationalSpace(puma["flange"], GAINS, task="position", posture=np.zeros(6), posture_gains=(4.0, 4.0))
    puma.q, puma.v = Q, v
    place, rate = puma["flange"].frame[:3, 3], puma["flange"].velocity[:3]
    wanted = P * np.array([0.1, 0, 0]) - D * rate
    hand.update(Q, v, place + [0.1, 0, 0])
    reached = puma.accelerations(dynamics.forward(Q, v, hand.joint_torques))[5, :3]
    assert not hand.damped and reached == pytest.approx(wanted, rel=1e-8, abs=1e-8)


def test_torques_along_a_trajectory_take_the_arm_there() -> None:
    scene = zq.load(pathlib.Path(__file__).parents[2] / "examples" / "models" / "planarTwoLink.xml")
    scene[0].v = np.zeros(2)
    end = scene[0].q + 0.5
    table = zq.torques_along(zq.FifthOrderTrajectory(scene[0].q, end, 1.0), scene[0], 1e-3)
    run = zq.Simulation(scene, integrator="rk4").run(1.0, dt=1e-3, inputs=table)
    assert np.abs(run.q[-1] - end).max() < 1e-4


NAN = float("nan")
TEXT: Any = "abc"


@pytest.mark.parametrize("error, action", [
    (KeyError, lambda arm: arm.inverse_kinematics({"nothing": [0, 0, 0]})),
    (ValueError, lambda arm: arm.inverse_kinematics({"flange": [NAN, 0, 0]})),
    (ValueError, lambda arm: arm.inverse_kinematics({"flange": np.ones((4, 4))})),
    (ValueError, lambda arm: arm.inverse_kinematics({"flange": [0, 0, 0]}, start=[0.0])),
    (zq.Error, lambda arm: arm.inverse_kinematics({})),
    (zq.Error, lambda arm: arm.inverse_kinematics({"flange": [0, 0, 0]}, tolerance=0.0)),
    (zq.Error, lambda arm: arm.inverse_kinematics({"flange": [0, 0, 0]}, posture=[0.0])),
    (zq.Error, lambda arm: arm.inverse_kinematics([zq.Target.axis("flange", [0, 0, 0], on=[0, 0, 1])])),
    (zq.Error, lambda arm: zq.InverseKinematics(arm, {"flange": [0, 0, 0]}).set_goal(1, [0, 0, 0])),
    (ValueError, lambda arm: arm.scene.save("robot.urdf")),
    (zq.Error, lambda arm: arm.save_urdf("/nowhere/x.urdf")),
    (ValueError, lambda arm: zq.load("examples/models/puma560.xml", packages={"a": "b"})),
    (zq.Error, lambda arm: zq.FifthOrderTrajectory([0.0], [1.0], 0.0)),
    (zq.Error, lambda arm: zq.FifthOrderTrajectory([0.0], [1.0, 2.0], 1.0)),
    (zq.Error, lambda arm: zq.TrapezoidalTrajectory([[0.0]], 0.0, 1.0)),
    (ValueError, lambda arm: zq.FifthOrderTrajectory([0.0], [1.0], 1.0)(NAN)),
    (ValueError, lambda arm: zq.ComputedTorque(arm, [1.0, 2.0, 3.0])),
    (ValueError, lambda arm: zq.ComputedTorque(arm, GAINS).update(np.zeros(5), None, np.zeros(6))),
    (zq.Error, lambda arm: zq.ComputedTorque(arm, GAINS).update(np.zeros(6), None, np.zeros(5))),
    (ValueError, lambda arm: zq.OperationalSpace(arm["flange"], GAINS, task=TEXT)),
    (ValueError, lambda arm: zq.VariationStudy(mass=-1.0)),
    # Neither complex numbers nor text are numbers.
    (TypeError, lambda arm: arm.accelerations(np.zeros(6) + 1j)), (TypeError, lambda arm: arm.accelerations(["1"] * 6)),
    (TypeError, lambda arm: zq.Simulation(arm.scene).run(0.1, inputs=np.zeros(6) * 1j)),
])
def test_what_cannot_be_is_refused(puma: zq.Manipulator, monkeypatch: pytest.MonkeyPatch, error: type[Exception],
                                   action: Callable[[zq.Manipulator], object]) -> None:
    monkeypatch.chdir(pathlib.Path(__file__).parents[2])
    with pytest.raises(error):
        action(puma)
