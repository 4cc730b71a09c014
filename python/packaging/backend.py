"""Builds wheels and source archives of zqmanipulator (PEP 517) with CMake, Ninja and the standard library.

A wheel has the compiled module with the library and what that needs inside. It is built below `build/` in the source
tree, so that a second one takes no longer than what has changed.
"""

import base64
import csv
import gzip
import hashlib
import io
import os
import re
import shutil
import subprocess
import sys
import sysconfig
import tarfile
import zipfile
from pathlib import Path
from typing import Any, Optional

ROOT = Path(__file__).resolve().parents[2]
NAME = "zqmanipulator"
#: What a wheel is built from.
SOURCES = ["CMakeLists.txt", "README.md", "CHANGELOG.md", "pyproject.toml", "apps", "cmake", "python", "zqManipulator"]
LEFT_OUT = {"__pycache__", "node_modules", ".mypy_cache", ".pytest_cache"}
Settings = Optional[dict[str, Any]]
#: Libraries that every system with Python has.
EVERYWHERE = r"(linux-vdso|ld-linux.*|lib(c|m|dl|rt|z|gcc_s|pthread|stdc\+\+))\.so\b"


def version() -> str:
    found = re.search(r"VERSION (\d[\d.]*\d)\n", (ROOT / "CMakeLists.txt").read_text().split("project(", 1)[1])
    assert found, "CMakeLists.txt tells no version"
    return found[1]


def metadata() -> str:
    return (
        f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {version()}\n"
        "Summary: Modelling, queries and simulation of robotic manipulators\n"
        "Requires-Python: >=3.9\nRequires-Dist: numpy\n"
        "Description-Content-Type: text/markdown\n\n" + (ROOT / "README.md").read_text()
    )


def tag() -> str:
    interpreter = f"cp{sys.version_info.major}{sys.version_info.minor}"
    return f"{interpreter}-{interpreter}-" + re.sub(r"[-.]", "_", sysconfig.get_platform())


def run(*command: str) -> None:
    if shutil.which(command[0]) is None:
        sys.exit(f"{command[0]} is needed to build {NAME}: ./cmake/installDependencies.sh installs all that is")
    subprocess.run(command, check=True)


def compiled() -> Path:
    """Builds the package, and answers its folder."""
    build = ROOT / "build" / f"wheel-{sys.implementation.cache_tag}"
    options = {"CMAKE_BUILD_TYPE": "Release", "Python3_EXECUTABLE": sys.executable, "ZQ_BUILD_PYTHON": "ON",
               "ZQ_BUNDLE_DEPENDENCIES": "ON", "ZQ_BUILD_TESTS": "OFF", "ZQ_BUILD_BENCHMARKS": "OFF",
               "ZQ_BUILD_EXAMPLES": "OFF", "ZQ_BUILD_APPS": "OFF", "ZQ_INSTALL": "OFF"}
    run("cmake", "-G", "Ninja", "-S", str(ROOT), "-B", str(build), *(f"-D{name}={value}" for name, value in options.items()))
    run("cmake", "--build", str(build), "--target", "zqPython", "-j", os.environ.get("ZQ_JOBS", "2"))
    package = build / "python" / NAME
    bundle(package)
    # Bundling the page may need a network, and must not wait for one.
    once = dict(os.environ, npm_config_fetch_retries="0", npm_config_fetch_timeout="20000")
    subprocess.run(["cmake", "--build", str(build), "--target", "zqPythonPage"], env=once, check=False)
    if not (package / "replay.html").exists():
        print(f"{NAME}: the page in which scenes and runs show themselves is left out: that takes node, npm and, "
              "once, a network. `make run` bundles it, too.")
    return package


def bundle(package: Path) -> None:
    """Puts the libraries that the module needs beside it, where it looks for them."""
    for old in package.glob("lib*.so*"):
        old.unlink()
    for module in package.glob("_core.*.so"):
        told = subprocess.run(["ldd", str(module)], check=True, capture_output=True, text=True).stdout
        for name, found in re.findall(r"(\S+) => (.*?)(?: \(0x\w+\))?\n", told):
            if found == "not found":
                sys.exit(f"{name}, which the module needs, was not found")
            if not re.match(EVERYWHERE, name):
                shutil.copyfile(found, package / name)


def build_wheel(wheel_directory: str, config_settings: Settings = None, metadata_directory: Optional[str] = None) -> str:
    package = compiled()
    if not list(package.glob("_core.*.so")):
        sys.exit("The module was not built: are the headers of Python and pybind11 installed?")
    files = {f"{NAME}/{path.name}": path.read_bytes() for path in sorted(package.iterdir()) if path.is_file()}
    info = f"{NAME}-{version()}.dist-info"
    files[f"{info}/METADATA"] = metadata().encode()
    files[f"{info}/WHEEL"] = f"Wheel-Version: 1.0\nGenerator: {NAME}\nRoot-Is-Purelib: false\nTag: {tag()}\n".encode()
    record = io.StringIO()
    rows = csv.writer(record, lineterminator="\n")
    for name, data in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        rows.writerow([name, f"sha256={digest}", len(data)])
    rows.writerow([f"{info}/RECORD", "", ""])
    files[f"{info}/RECORD"] = record.getvalue().encode()

    result = f"{NAME}-{version()}-{tag()}.whl"
    with zipfile.ZipFile(Path(wheel_directory) / result, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, data in files.items():
            entry = zipfile.ZipInfo(name, (1980, 1, 1, 0, 0, 0))
            entry.external_attr = (0o755 if ".so" in name else 0o644) << 16
            archive.writestr(entry, data, zipfile.ZIP_DEFLATED)
    return result


def build_sdist(sdist_directory: str, config_settings: Settings = None) -> str:
    top = f"{NAME}-{version()}"

    def kept(entry: tarfile.TarInfo) -> Optional[tarfile.TarInfo]:
        if LEFT_OUT & set(Path(entry.name).parts):
            return None
        entry.uid = entry.gid = entry.mtime = 0
        entry.uname = entry.gname = ""
        return entry

    content = io.BytesIO()
    with tarfile.open(fileobj=content, mode="w", format=tarfile.PAX_FORMAT) as archive:
        for source in SOURCES:
            archive.add(ROOT / source, f"{top}/{source}", filter=kept)
        info = tarfile.TarInfo(f"{top}/PKG-INFO")
        data = metadata().encode()
        info.size = len(data)
        archive.addfile(info, io.BytesIO(data))
    (Path(sdist_directory) / f"{top}.tar.gz").write_bytes(gzip.compress(content.getvalue(), mtime=0))
    return f"{top}.tar.gz"
