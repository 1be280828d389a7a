"""The package's build backend (PEP 517), in the tree so that pip needs nothing it would have
to download, not even setuptools or wheel: the project's CMake builds the libraries, the
extension and the built-in dictionary and installs them into the package's own folder
(libraries under xsddict/lib, the dictionary under xsddict/share, where the extension's run
path and the library's data path look), and this zips that folder as a wheel."""
import base64
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

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
WORK = os.path.join(ROOT, "build-wheel")


def _version():
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as cmake:
        return re.search(r"project\(\w+ VERSION ([0-9.]+)", cmake.read()).group(1)


def _tag():
    interpreter = f"cp{sys.version_info.major}{sys.version_info.minor}"
    platform = re.sub(r"[-.]", "_", sysconfig.get_platform())
    return f"{interpreter}-{interpreter}-{platform}"


def _metadata():
    with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as readme:
        description = readme.read()
    return (f"Metadata-Version: 2.1\nName: xsddict\nVersion: {_version()}\n"
            "Summary: SMPTE registered-metadata dictionaries, and MXF files read, checked and "
            "edited through them\nRequires-Python: >=3.9\nProvides-Extra: scan\n"
            "Requires-Dist: dask; extra == \"scan\"\nRequires-Dist: distributed; extra == \"scan\"\n"
            f"Description-Content-Type: text/markdown\n\n{description}")


def _dist_info():
    return f"xsddict-{_version()}.dist-info"


def get_requires_for_build_wheel(config_settings=None):
    return []


def get_requires_for_build_sdist(config_settings=None):
    return []


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    folder = os.path.join(metadata_directory, _dist_info())
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "METADATA"), "w", encoding="utf-8") as out:
        out.write(_metadata())
    return _dist_info()


def _build_package():
    build = os.path.join(WORK, "cmake")
    stage = os.path.join(WORK, "stage")
    jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
    subprocess.run(["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
                    "-DBUILD_TESTING=OFF", f"-DPython3_EXECUTABLE={sys.executable}",
                    f"-DCMAKE_INSTALL_PREFIX={stage}", "-DCMAKE_INSTALL_LIBDIR=xsddict/lib",
                    "-DCMAKE_INSTALL_DATADIR=xsddict/share", "-DVELMAR_PYTHON_INSTALL_DIR=."],
                   check=True, stdout=sys.stderr)
    subprocess.run(["cmake", "--build", build, "-j", jobs], check=True, stdout=sys.stderr)
    shutil.rmtree(stage, ignore_errors=True)
    subprocess.run(["cmake", "--install", build], check=True, stdout=subprocess.DEVNULL)
    package = os.path.join(stage, "xsddict")
    # What a C++ program builds against stays out of the wheel.
    for extra in ("lib/cmake", "lib/pkgconfig"):
        shutil.rmtree(os.path.join(package, extra), ignore_errors=True)
    return package


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}\n"


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    package = _build_package()
    name = f"xsddict-{_version()}-{_tag()}.whl"
    record = ""
    # A wheel holds no links: a library goes in once, under the name the extension asks the
    # loader for (its SONAME link's); links for linking against it are left out.
    skipped = set()
    for folder, _, files in os.walk(package):
        for file in files:
            path = os.path.join(folder, file)
            if os.path.islink(path):
                target = os.path.realpath(path)
                skipped.add(path if file.endswith(".so") else target)
    with zipfile.ZipFile(os.path.join(wheel_directory, name), "w",
                         zipfile.ZIP_DEFLATED) as wheel:
        for folder, _, files in sorted(os.walk(package)):
            for file in sorted(files):
                path = os.path.join(folder, file)
                if path in skipped:
                    continue
                inside = "xsddict/" + os.path.relpath(path, package).replace(os.sep, "/")
                with open(path, "rb") as content:
                    data = content.read()
                info = zipfile.ZipInfo(inside, date_time=(2026, 1, 1, 0, 0, 0))
                info.external_attr = (os.stat(path).st_mode & 0o777) << 16
                info.compress_type = zipfile.ZIP_DEFLATED
                wheel.writestr(info, data)
                record += _record_line(inside, data)
        meta = {
            "METADATA": _metadata(),
            "WHEEL": ("Wheel-Version: 1.0\nGenerator: xsddict_build\nRoot-Is-Purelib: false\n"
                      f"Tag: {_tag()}\n"),
            "top_level.txt": "xsddict\n",
        }
        for file, text in meta.items():
            inside = f"{_dist_info()}/{file}"
            wheel.writestr(inside, text)
            record += _record_line(inside, text.encode())
        wheel.writestr(f"{_dist_info()}/RECORD", record + f"{_dist_info()}/RECORD,,\n")
    return name


def build_sdist(sdist_directory, config_settings=None):
    name = f"xsddict-{_version()}"
    listed = subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True,
                            check=True).stdout.split("\n")
    with tarfile.open(os.path.join(sdist_directory, name + ".tar.gz"), "w:gz") as sdist:
        for file in filter(None, listed):
            sdist.add(os.path.join(ROOT, file), arcname=f"{name}/{file}")
        info = tarfile.TarInfo(f"{name}/PKG-INFO")
        data = _metadata().encode()
        info.size = len(data)
        sdist.addfile(info, io.BytesIO(data))
    return name + ".tar.gz"
