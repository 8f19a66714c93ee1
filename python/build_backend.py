"""Builds the wheel by CMake's install: `pip wheel --no-build-isolation --no-deps ./python`."""

import pathlib
import re
import subprocess
import sys
import sysconfig
import tempfile

from wheel.wheelfile import WheelFile

PROJECT = pathlib.Path(__file__).resolve().parents[1]


def _version():
    return re.search(r"project\(\w+ VERSION ([\d.]+)", (PROJECT / "CMakeLists.txt").read_text(encoding="utf-8"))[1]


def _tag():
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    return f"{python}-{python}-{re.sub('[-.]', '_', sysconfig.get_platform())}"


def _cmake(*arguments):
    subprocess.run(["cmake", *map(str, arguments)], check=True, stdout=sys.stderr)


def _build(build):
    _cmake("-S", PROJECT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DKAL_BUILD_TESTS=OFF", "-DKAL_PYTHON=ON",
           f"-DPython_EXECUTABLE={sys.executable}")
    _cmake("--build", build, "--parallel", "--target", "kalmarble_python")


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    """PEP 517. Returns the wheel's file name."""
    name = f"kalmarble-{_version()}-{_tag()}.whl"
    with tempfile.TemporaryDirectory() as scratch:
        build = pathlib.Path(scratch, "build")
        _build(build)
        files = pathlib.Path(scratch, "files")
        _cmake("--install", build, "--component", "python", "--prefix", files, "--strip")
        info = files / f"kalmarble-{_version()}.dist-info"
        info.mkdir()
        (info / "METADATA").write_text(
            f"Metadata-Version: 2.1\nName: kalmarble\nVersion: {_version()}\nRequires-Python: >=3.9\nRequires-Dist: numpy\n"
            "Summary: Exact, repeatable 3-D sound from scenes or an engine, as NumPy arrays\nLicense: MIT\n")
        (info / "WHEEL").write_text(
            f"Wheel-Version: 1.0\nGenerator: build_backend\nRoot-Is-Purelib: false\nTag: {_tag()}\n")
        for text in ("LICENSE", "NOTICE"):
            (info / text).write_bytes((PROJECT / text).read_bytes())
        with WheelFile(pathlib.Path(wheel_directory, name), "w") as wheel:
            wheel.write_files(files)
    return name
