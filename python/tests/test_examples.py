"""What the examples and the documentation show is what comes out."""

import doctest
import os
import pathlib
import subprocess
import sys

import pytest
import zqmanipulator

root = pathlib.Path(__file__).resolve().parents[2]
examples = sorted((root / "python" / "examples").glob("*.py"))


@pytest.mark.parametrize("example", examples, ids=[path.stem for path in examples])
def test_example(example: pathlib.Path, tmp_path: pathlib.Path) -> None:
    command = [sys.executable, "-W", "error", str(example)]
    environment = os.environ | {"PYTHONPATH": str(pathlib.Path(zqmanipulator.__file__).parents[1])}
    done = subprocess.run(command, cwd=tmp_path, env=environment, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    assert done.stdout


def test_documentation(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(root)
    document = pathlib.Path("docs", "python.md")
    text = document.read_text(encoding="utf-8")
    test = doctest.DocTestParser().get_doctest(text, {}, str(document), str(document), 0)
    assert len(test.examples) > 30
    told: list[str] = []
    runner = doctest.DocTestRunner(optionflags=doctest.NORMALIZE_WHITESPACE | doctest.ELLIPSIS)
    runner.run(test, out=told.append)
    assert not told, "".join(told)
    assert all(f"({os.path.join('..', 'python', 'examples', path.name)})" in text for path in examples)
