"""Builds the wheel with libmorvex-m inside it.

The build step compiles the library from the repository this package sits in
(one level up) with CMake, installs it into a scratch prefix (which gives
libmorvex-m its $ORIGIN run path) and copies the three shared libraries into
morvex/_libs. MORVEX_M_BUILD_DIR names an existing CMake build folder to
install from instead, so that CI does not compile the library twice.
"""
import os
import re
import shutil
import subprocess
import tempfile
from pathlib import Path

from setuptools import setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
LIBS = ("libmorvex-core.so.0", "libmorvex-tp.so.0", "libmorvex-m.so.0")


def library_version():
    """The version, kept once in the library's CMakeLists.txt."""
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"project\(morvex-m VERSION ([0-9.]+)", text).group(1)


def run(*cmd):
    try:
        subprocess.run([str(c) for c in cmd], check=True)
    except FileNotFoundError:
        raise SystemExit(f"morvex: {cmd[0]} is needed to build the library (apt-get install cmake ninja-build)")


class BuildWithLibrary(build_py):
    """build_py, then the shared libraries beside the package's modules."""

    def run(self):
        super().run()
        build_dir = os.environ.get("MORVEX_M_BUILD_DIR")
        if build_dir:
            build_dir = Path(build_dir).resolve()
            if not (build_dir / "CMakeCache.txt").exists():
                raise SystemExit(f"morvex: MORVEX_M_BUILD_DIR={build_dir} is not a CMake build folder")
        else:
            build_dir = Path(self.get_finalized_command("build").build_temp).resolve() / "cmake"
            generator = ["-G", "Ninja"] if shutil.which("ninja") and not (build_dir / "CMakeCache.txt").exists() else []
            run("cmake", "-S", ROOT, "-B", build_dir, *generator, "-DCMAKE_BUILD_TYPE=Release",
                "-DMORVEX_BUILD_TESTS=OFF", "-DMORVEX_BUILD_BENCH=OFF", "-DMORVEX_BUILD_EXAMPLES=OFF")
            run("cmake", "--build", build_dir, "--parallel", os.cpu_count() or 1)
        dest = Path(self.build_lib) / "morvex" / "_libs"
        dest.mkdir(parents=True, exist_ok=True)
        with tempfile.TemporaryDirectory() as stage:
            run("cmake", "--install", build_dir, "--prefix", stage)
            for name in LIBS:
                found = sorted(Path(stage).rglob(name))
                if not found:
                    raise SystemExit(f"morvex: {name} is missing from the installed tree of {build_dir}")
                shutil.copyfile(found[0], dest / name)  # the file itself under its SONAME: wheels hold no links


class PlatformWheel(bdist_wheel):
    """A wheel for this platform (it carries x86-64 code) and any Python 3."""

    def finalize_options(self):
        super().finalize_options()
        self.root_is_pure = False

    def get_tag(self):
        return ("py3", "none") + super().get_tag()[2:]


setup(version=library_version(), packages=["morvex"], zip_safe=False,
      cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": PlatformWheel})
