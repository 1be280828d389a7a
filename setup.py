"""The Python package as a wheel: the project's CMake builds the libraries, the extension and
the built-in dictionary, and installs them into the package's own folder (libraries under
xsddict/lib, the dictionary under xsddict/share), where the extension's run path and the
library's data path find them. Nothing is downloaded."""
import os
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


def version():
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as cmake:
        return re.search(r"project\(\w+ VERSION ([0-9.]+)", cmake.read()).group(1)


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = os.path.abspath(os.path.join(self.build_temp, "cmake"))
        stage = os.path.abspath(os.path.join(self.build_temp, "stage"))
        package = os.path.dirname(os.path.abspath(self.get_ext_fullpath(ext.name)))
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
                        "-DBUILD_TESTING=OFF", f"-DPython3_EXECUTABLE={sys.executable}",
                        f"-DCMAKE_INSTALL_PREFIX={stage}", "-DCMAKE_INSTALL_LIBDIR=xsddict/lib",
                        "-DCMAKE_INSTALL_DATADIR=xsddict/share",
                        "-DVELMAR_PYTHON_INSTALL_DIR=."], check=True)
        subprocess.run(["cmake", "--build", build, "-j", jobs], check=True)
        shutil.rmtree(stage, ignore_errors=True)
        subprocess.run(["cmake", "--install", build], check=True, stdout=subprocess.DEVNULL)
        # What a C++ program builds against stays out of the wheel.
        for extra in ("lib/cmake", "lib/pkgconfig"):
            shutil.rmtree(os.path.join(stage, "xsddict", extra), ignore_errors=True)
        shutil.copytree(os.path.join(stage, "xsddict"), package, dirs_exist_ok=True)


setup(
    version=version(),
    packages=["xsddict"],
    package_dir={"xsddict": "python/xsddict"},
    package_data={"xsddict": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("xsddict._xsddict", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    zip_safe=False,
)
