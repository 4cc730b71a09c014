"""Equations of motion, batches and simulations against formulas, and how long things live."""

import copy
import gc
import os
import pathlib
import pickle
import subprocess
import threading
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest
import zqmanipulator as zq

models = pathlib.Path(__file__).resolve().parents[2] / "examples" / "models"
Floats = Any  # an array of float64
names = ["puma560", "freeChain", "quadruped"]


def load(name: str) -> zq.Scene:
    return zq.load(models / f"{name}.xml")


def random_state(dynamics: zq.Dynamics, seed: int = 7) -> tuple[Floats, ...]:
    """Positions, the frame of the base (7), velocities and torques."""
    random = np.random.default_rng(seed)
    q = random.uniform(-1, 1, dynamics.dof)
    base = random.normal(size=7)
    base[3:] /= np.linalg.norm(base[3:])
    v, tau = random.normal(size=(2, dynamics.size))
    return q, base, v, tau


def rotated(base: Floats, turn: Floats) -> Floats:
    """The frame after a little turn (rad) along the axes of the system."""
    half = np.linalg.norm(turn) / 2
    w, u = np.cos(half), np.sinc(half / np.pi) / 2 * np.asarray(turn)
    W, U = base[3], base[4:]
    return np.r_[base[:3], w * W - u @ U, w * U + W * u + np.cross(u, U)]


@pytest.mark.parametrize("name", names)
def test_equations_of_motion_are_consistent(name: str) -> None:
    dynamics = zq.Dynamics(load(name)[0])
    q, base, v, tau = random_state(dynamics)
    M = dynamics.mass_matrix(q, base=base)
    bias = dynamics.bias(q, v, base=base)
    forces = {0: np.arange(6.0)}
    scale = 1e-12 * np.linalg.cond(M) * (1 + np.linalg.norm(np.linalg.solve(M, tau - bias)))
    assert np.linalg.eigvalsh(M).min() > 0
    for solver in ("crbi", "arbi"):
        a = dynamics.forward(q, v, tau, base=base, solver=solver)
        assert a == pytest.approx(np.linalg.solve(M, tau - bias), abs=scale)
        pushed = dynamics.forward(q, v, tau, base=base, solver=solver, forces=forces)
        torques = dynamics.inverse(q, v, pushed, base=base, forces=forces)
        assert torques == pytest.approx(tau, abs=1e-12 * np.abs(M).max() * (1 + np.abs(pushed).max()))
        assert np.abs(pushed - a).max() > 1e-3
    assert dynamics.gravity_torques(q, base=base)[-dynamics.dof :] == pytest.approx(
        dynamics.bias(q, base=base)[-dynamics.dof :], abs=1e-9
    )


@pytest.mark.parametrize("name", names)
def test_derivatives_are_those_of_differences(name: str) -> None:
    dynamics = zq.Dynamics(load(name)[0])
    q, base, v, given = random_state(dynamics)
    free = dynamics.size - dynamics.dof
    h = 1e-5

    def differences(function: Callable[..., Floats]) -> list[Floats]:
        columns: dict[str, list[Floats]] = {"by_q": [], "by_v": [], "by_given": []}
        for k, unit in enumerate(np.eye(dynamics.size)):
            ends: dict[str, list[Floats]] = {"by_q": [], "by_v": [], "by_given": []}
            for d in (h * unit, -h * unit):
                moved = base.copy()
                if free:
                    moved = rotated(base, d[3:6])
                    moved[:3] += d[:3]
                ends["by_q"].append(function(q + d[free:], v, given, base=moved))
                ends["by_v"].append(function(q, v + d, given, base=base))
                ends["by_given"].append(function(q, v, given + d, base=base))
            for key, (after, before) in ends.items():
                columns[key].append((after - before) / (2 * h))
        return [np.transpose(columns[key]) for key in columns]

    pairs: list[tuple[Any, Any]] = [
        (dynamics.inverse_derivatives, dynamics.inverse),
        (dynamics.forward_derivatives, dynamics.forward),
    ]
    for closed, function in pairs:
        for exact, numeric in zip(closed(q, v, given, base=base), differences(function)):
            assert exact == pytest.approx(numeric, abs=3e-8 * max(1, np.abs(numeric).max()))


@pytest.mark.parametrize("name", names)
def test_batch_agrees_with_single_states(name: str) -> None:
    scene = load(name)
    dynamics, batch = zq.Dynamics(scene[0]), zq.Batch(scene[0], threads=2)
    states = [random_state(dynamics, seed) for seed in range(5)]
    q, base, v, tau = (np.array(column) for column in zip(*states))
    free = batch.size - batch.dof

    def split(array: Floats) -> tuple[Floats, Floats]:
        return np.ascontiguousarray(array[:, free:]), np.ascontiguousarray(array[:, :free])

    of_base = {"base": base} if free else {}
    (v_joints, v_base), (tau_joints, tau_base) = split(v), split(tau)
    if free:
        of_base["base_velocity"] = v_base
    forces = {"base_force": tau_base} if free else {}
    answer = batch.forward(q, v_joints, tau_joints, **of_base, **forces)
    joints = answer[0] if free else answer
    # Springs and dampers are no part of a batch: models of this list have none.
    for i, (q_i, base_i, v_i, tau_i) in enumerate(states):
        single = dynamics.forward(q_i, v_i, tau_i, base=base_i if free else None)
        scale = 1e-11 * (1 + np.abs(single).max())
        assert joints[i] == pytest.approx(single[free:], abs=scale)
        M = batch.mass_matrix(q, base=of_base.get("base"))[i]
        assert M == pytest.approx(dynamics.mass_matrix(q_i, base=base_i), abs=1e-12 * np.abs(M).max())

    out = np.empty_like(q)
    target = (out, np.empty((len(q), 6))) if free else out
    batch.forward(q, v_joints, tau_joints, **of_base, **forces, out=target)
    assert (out == joints).all()
    stepped = q.copy(), v_joints.copy()
    extra = {"base": base.copy(), "base_velocity": v_base.copy()} if free else {}
    batch.step(stepped[0], stepped[1], tau_joints, dt=1e-3, **extra, **forces)
    assert stepped[1] == pytest.approx(v_joints + 1e-3 * joints, abs=1e-14 * (1 + np.abs(joints).max()))


good = np.zeros((3, 6))
wrong_outputs: dict[str, tuple[Any, type[Exception]]] = {
    "shape": (np.zeros((3, 5)), ValueError),
    "dtype": (np.zeros((3, 6), np.float32), TypeError),
    "list": ([[0.0] * 6] * 3, TypeError),
    "order": (np.zeros((6, 3)).T, ValueError),
    "strides": (np.zeros((3, 12))[:, ::2], ValueError),
    "read-only": (np.broadcast_to(0.0, (3, 6)), ValueError),
    "overlap": (good[:3], ValueError),
}


@pytest.mark.parametrize("what", wrong_outputs)
def test_batch_refuses_what_it_cannot_fill(what: str) -> None:
    batch = zq.Batch(load("puma560")[0])
    out, error = wrong_outputs[what]
    with pytest.raises(error, match="out"):
        batch.inverse(good, out=out)
    if what != "overlap":
        with pytest.raises(error, match="v"):
            batch.step(good.copy(), out, dt=1e-3)
    assert (good == 0).all()


def test_wrong_calls_are_told() -> None:
    scene = load("puma560")
    dynamics, batch, simulation = zq.Dynamics(scene[0]), zq.Batch(scene[0]), zq.Simulation(scene)
    calls: list[tuple[type[Exception], Callable[[], object]]] = [
        (ValueError, lambda: dynamics.forward(np.zeros(5))),
        (ValueError, lambda: dynamics.forward(np.full(6, np.nan))),
        (ValueError, lambda: dynamics.forward(np.zeros(6), solver="other")),
        (KeyError, lambda: dynamics.forward(np.zeros(6), forces={"nowhere": np.zeros(6)})),
        (ValueError, lambda: batch.forward(good, good[:2])),
        (zq.Error, lambda: setattr(batch, "threads", 5000)),
        (ValueError, lambda: setattr(batch, "instruction_set", "mmx")),
        (ValueError, lambda: zq.Simulation(scene, integrator="other")),
        (zq.Error, lambda: simulation.step(-1.0)),
        (ValueError, lambda: setattr(simulation, "torques", np.zeros(5))),
        (KeyError, lambda: simulation.set_torque("nowhere", 1.0)),
        (ValueError, lambda: simulation.run(1.0, 0.0)),
        (ValueError, lambda: simulation.run(1.0, 1e-3, record=["nothing"])),
        (ValueError, lambda: simulation.run(1.0, 1e-3, inputs=np.zeros((3, 6)))),
        (ZeroDivisionError, lambda: simulation.run(1.0, 1e-3, inputs=lambda s: 1 / 0)),
        (RuntimeError, lambda: simulation.run(1.0, 1e-3, inputs=lambda s: s.step(1e-3))),
        (zq.Error, lambda: zq.InputTable(scene, {"time": [0.0], "nowhere torque": [1.0]})),
        (zq.Error, lambda: zq.Simulation.from_xml("<a/>")),
        (ValueError, lambda: simulation.energy_book),
    ]
    for number, (error, call) in enumerate(calls):
        with pytest.raises(error):
            call()
            pytest.fail(f"call {number}")
    assert simulation.steps == 0


def test_what_diverges_is_an_error_with_the_run() -> None:
    simulation = zq.Simulation(load("freeChain"))
    torques = np.full((20, len(simulation.joints)), 1e300)
    torques[:2] = 0.0
    with pytest.raises(zq.Error, match="diverged") as failure:
        simulation.run(10.0, 0.5, inputs=torques, record=["q"])
    assert failure.value.run.end == "diverged" and len(failure.value.run) > 1
    assert np.isfinite(simulation.q).all()


def zqsim_table(zqsim: str, tmp_path: pathlib.Path, model: str, *options: object) -> dict[str, Floats]:
    table = tmp_path / "table.csv"
    command = [zqsim, "run", models / f"{model}.xml", "--dt", "1e-3", "--out", table, "--quiet", *options]
    subprocess.run([str(part) for part in command], check=True, capture_output=True)
    with open(table, encoding="utf-8") as lines:
        head = next(lines).rstrip("\n").split(",")
    return dict(zip(head, np.loadtxt(table, delimiter=",", skiprows=1).T))


@pytest.mark.parametrize("model, inputs", [("puma560", None), ("grasp", "grasp.csv")])
def test_steps_are_those_of_zqsim_to_the_bit(model: str, inputs: str | None, tmp_path: pathlib.Path) -> None:
    built = pathlib.Path(zq.__file__).parents[2] / "apps" / "zqsim"
    zqsim = os.environ.get("ZQSIM", str(built))
    if not pathlib.Path(zqsim).exists():
        pytest.skip("zqsim is not built; ZQSIM may name it")
    options = ["--inputs", models / inputs, "--interpolation", "linear"] if inputs else []
    expected = zqsim_table(zqsim, tmp_path, model, "--time", "0.5", *options)
    scene = load(model)
    table = zq.InputTable(scene, models / inputs, interpolation="linear") if inputs else None
    columns = zq.Simulation(scene).run(0.5, 1e-3, inputs=table).columns()
    compared = [name for name in columns if name in expected]
    assert len(compared) > 4
    for name in compared:
        assert (columns[name] == expected[name]).all(), name


def test_simulations_go_on_from_anywhere() -> None:
    scene = load("grasp")
    table = zq.InputTable(scene, models / "grasp.csv")
    again = zq.InputTable(scene, {"time": table.times, **dict(zip(table.names, table.values.T))})
    whole = zq.Simulation(scene, energy=True)
    whole.run(1.0, inputs=table)
    half = zq.Simulation(scene, energy=True)
    half.run(0.5, inputs=again)
    copies = [pickle.loads(pickle.dumps(half)), copy.deepcopy(half), half]
    for simulation in copies:
        simulation.run(until=1.0, inputs=table, replay=False)
        assert (simulation.q == whole.q).all() and (simulation.base == whole.base).all()
        assert simulation.energy_book == whole.energy_book
    book = whole.energy_book
    sums = {key: sum(part.values()) for key, part in book.items() if key != "remainder"}
    left = sums["held"] - sums["held_at_start"] - sums["work"] + sums["lost"]
    assert left == pytest.approx(book["remainder"], abs=1e-12 * abs(sums["held"]))


def test_contacts_carry_a_weight() -> None:
    simulation = zq.Simulation(load("grasp"))
    run = simulation.run(0.5, record=["contacts"])
    on_block = [c for c in simulation.contacts() if c.second == "block/base"]
    # A cube that rests on the table: of 1 kg less what the solver leaves to settle.
    assert sum(c.force for c in on_block)[2] == pytest.approx(9.81, rel=0.05)
    assert run.contacts["time"][-1] == 0.5
    assert run.contacts["normal_force"][-1] > 0


def test_models_outlive_and_ignore_their_scene() -> None:
    scene = load("puma560")
    dynamics, batch, simulation = zq.Dynamics(scene[0]), zq.Batch(scene[0]), zq.Simulation(scene)
    before = [dynamics.bias(np.ones(6)), batch.inverse(np.ones((1, 6)))[0]]
    del scene
    gc.collect()
    assert dynamics.bias(np.ones(6)).tolist() == before[0].tolist()
    assert batch.inverse(np.ones((1, 6)))[0].tolist() == before[1].tolist()
    scene = simulation.scene
    run = simulation.run(0.01)
    q = run.q
    del simulation, run
    gc.collect()
    assert np.isfinite(q).all() and len(scene) == 1


def test_threads_do_not_change_numbers() -> None:
    scene = load("puma560")
    q = np.random.default_rng(1).uniform(-1, 1, (2000, 6))
    shared = zq.Batch(scene[0], threads=2)
    expected = shared.inverse(q)
    expected_run = zq.Simulation(scene).run(0.1).q
    answers: list[bool] = []

    def work(own: bool) -> None:
        batch = zq.Batch(scene[0]) if own else shared
        for _ in range(5):
            answers.append(np.array_equal(batch.inverse(q), expected))
        answers.append(np.array_equal(zq.Simulation(scene).run(0.1).q, expected_run))

    threads = [threading.Thread(target=work, args=(k % 2 == 0,)) for k in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(answers) == 24 and all(answers)


def test_runs_and_scenes_show_themselves(tmp_path: pathlib.Path) -> None:
    scene = load("puma560")
    run = zq.Simulation(scene).run(0.1, record=["q", "energy"])
    if (pathlib.Path(zq.__file__).parent / "replay.html").exists():
        for shown in (scene._repr_html_(), run._repr_html_()):
            assert shown is not None and shown.startswith("<iframe srcdoc=")
            assert "zq-scene" in shown and "puma560" in shown
        run.save_replay(tmp_path / "run.html")
        assert "puma560" in (tmp_path / "run.html").read_text(encoding="utf-8")
    pytest.importorskip("matplotlib")
    figure = run.plot()
    assert [len(axes.lines) for axes in figure.axes] == [6, 3]
    assert (run._repr_png_() or b"").startswith(b"\x89PNG")
    with pytest.raises(ValueError, match="not recorded"):
        run.plot("v")
