# SPDX-License-Identifier: MIT
"""Builds the wheel with libmorvex-m inside it.

The build step compiles the library from the repository this package sits in
(one level up) with CMake, copies the three shared libraries into
morvex/_libs under their SONAMEs and gives libmorvex-m the run path $ORIGIN,
so that it finds its two platform libraries beside itself. MORVEX_M_BUILD_DIR
names an existing CMake build folder to take the libraries from instead, so
that CI does not compile the library twice.
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
        # pip builds in the source tree: start from an empty package folder so
        # that a module removed since the last build does not ride along.
        shutil.rmtree(Path(self.build_lib) / "morvex", ignore_errors=True)
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
                "-DMORVEX_BUILD_TESTS=OFF", "-DMORVEX_BUILD_BENCH=OFF", "-DMORVEX_BUILD_EXAMPLES=OFF",
                "-DMORVEX_BUILD_APPS=OFF")
            # The library and its two platform libraries only: nothing else goes into the wheel.
            run("cmake", "--build", build_dir, "--target", "morvex-m", "--parallel", os.cpu_count() or 1)
        dest = Path(self.build_lib) / "morvex" / "_libs"
        dest.mkdir(parents=True, exist_ok=True)
        for name in LIBS:
            if not (build_dir / name).exists():
                raise SystemExit(f"morvex: {name} is not in {build_dir}; build the target morvex-m there first")
            shutil.copyfile(build_dir / name, dest / name)  # the file itself under its SONAME: wheels hold no links
        # The build tree's run path names the build folder; the wheel's must name the folder the library is in.
        with tempfile.TemporaryDirectory() as tmp:
            script = Path(tmp) / "runpath.cmake"
            script.write_text('file(RPATH_SET FILE "${LIB}" NEW_RPATH "$ORIGIN")\n')
            run("cmake", f"-DLIB={dest / 'libmorvex-m.so.0'}", "-P", script)


class PlatformWheel(bdist_wheel):
    """A wheel for this platform (it carries x86-64 code) and any Python 3."""

    def finalize_options(self):
        super().finalize_options()
        self.root_is_pure = False

    def get_tag(self):
        return ("py3", "none") + super().get_tag()[2:]


setup(version=library_version(), packages=["morvex"], zip_safe=False,
      cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": PlatformWheel})
