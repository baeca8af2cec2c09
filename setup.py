# SPDX-License-Identifier: Apache-2.0
"""Builds the Python package with CMake: the module, and the libraries beside it."""

import pathlib
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    """Installs CMake's component of the package where setuptools expects the extension."""

    def build_extension(self, ext: Extension) -> None:
        package_dir = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        build_dir = pathlib.Path(self.build_temp).resolve()
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "CMAKE_INSTALL_PREFIX": package_dir.parent,
            "Python3_EXECUTABLE": sys.executable,
            "TAVIX_BUILD_PYTHON": "ON",
            "TAVIX_PYTHON_BUNDLE": "ON",
            "TAVIX_PYTHON_INSTALL_DIR": ".",
        }
        definitions = [f"-D{name}={value}" for name, value in options.items()]
        subprocess.run(
            ["cmake", "-S", ROOT, "-B", build_dir, "-G", "Ninja", *definitions], check=True
        )
        subprocess.run(["cmake", "--build", build_dir, "--target", "tavix_python"], check=True)
        subprocess.run(["cmake", "--install", build_dir, "--component", "python"], check=True)


setup(ext_modules=[Extension("tavix._tavix", [])], cmdclass={"build_ext": CMakeBuild})
