"""What stands around the module: stubs, and the wheel."""

import csv
import io
import re
import subprocess
import sys
import zipfile
from pathlib import Path

import pytest

import zqmanipulator
from conftest import ROOT

PACKAGE = Path(zqmanipulator.__file__).parent
sys.path.insert(0, str(ROOT / "python" / "packaging"))


def test_stubs_and_module_agree() -> None:
    import stubs

    assert (ROOT / "python" / "zqmanipulator" / "_core.pyi").read_text() == stubs.stubs()
    exported = {name for name in dir(zqmanipulator._core) if not name.startswith("_")} | {"__version__"}
    assert exported <= set(zqmanipulator.__all__)


def test_types_are_strict() -> None:
    pytest.importorskip("mypy")
    result = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir", str(PACKAGE.parent / "mypy"), "python/tests",
         "python/zqmanipulator", "python/packaging", "python/examples"],
        cwd=ROOT, capture_output=True, text=True, env={"PATH": "/usr/bin:/bin", "MYPYPATH": "python:python/tests:python/packaging"})
    assert result.returncode == 0, result.stdout + result.stderr


def test_a_wheel_is_whole_and_can_be_installed(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    import backend

    monkeypatch.setattr(backend, "compiled", lambda: PACKAGE)
    wheel = tmp_path / backend.build_wheel(str(tmp_path))
    with zipfile.ZipFile(wheel) as archive:
        (record,) = (name for name in archive.namelist() if name.endswith("/RECORD"))
        rows = list(csv.reader(io.StringIO(archive.read(record).decode())))
        assert sorted(row[0] for row in rows) == sorted(archive.namelist())
        assert all(row[2] == "" or int(row[2]) == archive.getinfo(row[0]).file_size for row in rows)
    # The installer checks the hashes.
    subprocess.run([sys.executable, "-m", "pip", "install", "--no-index", "--no-deps", "--quiet", "--target",
                    str(tmp_path / "site"), str(wheel)], check=True)
    told = subprocess.run([sys.executable, "-c", "import zqmanipulator as zq; print(zq.__version__, zq.__file__)"],
                          env={"PYTHONPATH": str(tmp_path / "site")}, capture_output=True, text=True, check=True).stdout
    assert told.split() == [zqmanipulator.__version__, str(tmp_path / "site" / "zqmanipulator" / "__init__.py")]


def test_a_source_archive_has_what_the_build_needs(tmp_path: Path) -> None:
    import tarfile

    import backend

    with tarfile.open(tmp_path / backend.build_sdist(str(tmp_path))) as archive:
        names = {name.split("/", 1)[1] for name in archive.getnames() if "/" in name}
    lists = [ROOT / "CMakeLists.txt", ROOT / "python" / "CMakeLists.txt"]
    named = {str(path.parent.relative_to(ROOT) / name) for path in lists
             for name in re.findall(r"\b(source/\w+\.cpp|cmake/\w+\.cmake)\b", path.read_text())}
    assert {"pyproject.toml", "PKG-INFO", "python/packaging/backend.py", "python/zqmanipulator/py.typed"} | named <= names
