"""Whatever is wrong is an exception that says so, and leaves the scene as it was."""

import copy
import warnings
from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest

import zqmanipulator as zq
from conftest import MODELS

NAN, INF = float("nan"), float("inf")
REVOLUTE = zq.Joint.revolute
SKEW = np.eye(4) + np.eye(4, k=1) * 1e-6
MIRROR = np.diag([1.0, 1.0, -1.0, 1.0])
XML = "<statedSystem"
NUMBER: Any = 5


def assign(name: str, value: Any, of: Callable[[zq.Manipulator], Any] = lambda arm: arm) -> Callable[[zq.Manipulator], object]:
    return lambda arm: setattr(of(arm), name, value)


def link(arm: zq.Manipulator) -> zq.Link:
    return arm["forearm"]


def scene(arm: zq.Manipulator) -> zq.Scene:
    return arm.scene


@pytest.mark.parametrize("error, action", [
    # Shapes, types and numbers.
    (ValueError, assign("q", [0.0] * 5)), (ValueError, assign("q", np.zeros((6, 1)))), (ValueError, assign("q", 0.0)),
    (ValueError, assign("q", [NAN] * 6)), (ValueError, assign("v", [INF] * 6)), (TypeError, assign("q", "abc")),
    (TypeError, assign("q", ["a"] * 6)), (ValueError, assign("q", None)),
    (TypeError, assign("q", [object()] * 6)), (ValueError, assign("q", [])),
    (ValueError, assign("q", NAN, link)), (TypeError, assign("q", "1", link)),
    (ValueError, assign("base_frame", np.eye(3))), (ValueError, assign("base_frame", SKEW)),
    (ValueError, assign("base_frame", MIRROR)), (ValueError, assign("placement", np.ones((4, 4)))),
    (ValueError, assign("base_frame", [0, 0, 0, 2, 0, 0, 0])), (ValueError, assign("base_velocity", np.ones(6))),
    (ValueError, assign("time", NAN, scene)), (ValueError, assign("gravity", [0, 0], scene)),
    (ValueError, assign("state", zq.Scene().state, scene)),
    (ValueError, lambda arm: link(arm).jacobian([0, 0])), (ValueError, lambda arm: link(arm).jacobian(axes="x")),
    (ValueError, lambda arm: arm.accelerations(np.zeros(7))), (ValueError, lambda arm: arm.scene.closest_pairs(NAN)),
    (ValueError, lambda arm: link(arm).distance(copy.copy(arm.scene)[0][0])),
    # What there is not.
    (KeyError, lambda arm: arm["nothing"]), (IndexError, lambda arm: arm[6]), (IndexError, lambda arm: arm[-7]),
    (KeyError, lambda arm: arm.scene["nothing"]), (IndexError, lambda arm: arm.scene[1]), (TypeError, lambda arm: arm[1.5]),
    (ValueError, lambda arm: arm.base.q), (AttributeError, assign("no_such", 1)),
    (AttributeError, assign("a", 0.5, lambda arm: link(arm).joint)), (KeyError, lambda arm: arm.relabel({"nothing": "x"})),
    # Values that nothing can have.
    (ValueError, lambda arm: REVOLUTE(a=NAN)), (ValueError, lambda arm: REVOLUTE(convention="x")),
    (ValueError, lambda arm: REVOLUTE(a=1.0, convention="general")), (TypeError, lambda arm: REVOLUTE().replace(pitch=1.0)),
    (TypeError, lambda arm: zq.Drive(power=1.0)), (ValueError, lambda arm: zq.Drive(inertia=NAN)),
    (ValueError, lambda arm: zq.MassProperties(-1.0)), (ValueError, lambda arm: zq.MassProperties(1.0, inertia=np.diag([1, 1, 3]))),
    (ValueError, lambda arm: zq.MassProperties(1.0, inertia=np.triu(np.ones((3, 3))))),
    (ValueError, lambda arm: zq.MassProperties.of_shape(zq.Shape.sphere(1.0))),
    (ValueError, lambda arm: zq.Shape.sphere(0.0)), (ValueError, lambda arm: zq.Shape.box([1, -1, 1])),
    (ValueError, lambda arm: zq.Shape.hull(np.zeros((0, 3)))), (ValueError, lambda arm: zq.Shape.mesh(np.zeros((3, 3)), [[0, 1, 3]])),
    (ValueError, assign("limits", (1.0, 0.0), link)), (ValueError, assign("limits", (NAN, 0.0), link)),
    (ValueError, assign("label", "flange", link)), (ValueError, assign("label", "", link)), (ValueError, assign("label", "")),
    (ValueError, assign("joint", REVOLUTE(), lambda arm: arm.base)), (TypeError, assign("joint", None, link)),
    # Edits that cannot be.
    (ValueError, lambda arm: arm.relabel({"forearm": "flange"})), (ValueError, lambda arm: link(arm).add_copy(arm["flange"])),
    (ValueError, lambda arm: arm.base.remove()), (ValueError, lambda arm: link(arm).replace(arm["shoulder"])),
    (ValueError, lambda arm: arm.scene.new_manipulator("puma560")), (ValueError, lambda arm: arm.scene.add(arm)),
    (zq.Error, lambda arm: arm.scale(-1.0)), (zq.Error, lambda arm: arm.scene.attach(arm, arm["flange"])),
    (zq.Error, lambda arm: arm.scene.combine(arm, arm["flange"])), (zq.Error, lambda arm: arm.scene.detach(arm)),
    (zq.Error, lambda arm: arm.scene.separate("nothing")), (ValueError, lambda arm: arm.convert("x")),
    (ValueError, lambda arm: arm.recenter_limits([0.0])), (ValueError, lambda arm: arm.scene.remove(copy.copy(arm.scene)[0])),
    (ValueError, lambda arm: arm.scene.check(0.0)), (ValueError, lambda arm: zq.difference(arm.scene, arm.scene, -1.0)),
    (TypeError, lambda arm: arm.scene.vary(zq.VariationStudy(), -1)),
    # Documents.
    (TypeError, lambda arm: zq.load(NUMBER)), (zq.Error, lambda arm: zq.load(MODELS / "nothing.xml")),
    (zq.Error, lambda arm: zq.Scene.from_xml("")), (zq.Error, lambda arm: zq.Scene.from_xml(XML)),
    (zq.Error, lambda arm: zq.Joint.from_xml(arm.scene.to_xml())), (zq.Error, lambda arm: arm.scene.save("/nowhere/x.xml")),
])
def test_is_refused(puma: zq.Manipulator, error: type[Exception], action: Callable[[zq.Manipulator], object]) -> None:
    before = puma.scene.to_xml()
    with warnings.catch_warnings(), pytest.raises(error) as caught:
        warnings.simplefilter("error", zq.Warning)
        action(puma)
    assert puma.scene.to_xml() == before and str(caught.value)
    if isinstance(caught.value, zq.Error):
        assert isinstance(caught.value.diagnostics, list)


def test_faults_of_documents_have_places(tmp_path: Path) -> None:
    text = (MODELS / "puma560.xml").read_text()
    broken = tmp_path / "broken.xml"
    broken.write_text(text[: len(text) // 2])
    with pytest.raises(zq.Error) as caught:
        zq.load(broken)
    fault = caught.value.diagnostics[0]
    assert fault.severity == zq.Severity.ERROR and fault.line > 1 and str(broken) in str(caught.value)
    cut = text.replace("</statedSystem>", "<unknown/></statedSystem>") if "</statedSystem>" in text else ""
    if cut:
        broken.write_text(cut)
        with pytest.warns(zq.Warning):
            zq.load(broken)
