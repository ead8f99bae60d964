"""build_backend.py: what `pip install .` calls. It makes a wheel with setuptools alone; setuptools' own backend needs
the package `wheel` for that, which a fresh virtual environment does not have and cannot get without a network."""

import base64
import csv
import hashlib
import io
import os
import shutil
import sysconfig
import zipfile
from pathlib import Path

import setuptools.build_meta  # first: newer interpreters have no distutils but setuptools'
from distutils.core import run_setup

build_sdist = setuptools.build_meta.build_sdist


def get_requires_for_build_sdist(config_settings=None):
    return []


def get_requires_for_build_wheel(config_settings=None):
    return []


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    shutil.rmtree("build/python", ignore_errors=True)  # nothing of an earlier wheel
    distribution = run_setup("setup.py", ["--quiet", "build", "egg_info"])
    built = Path(distribution.get_command_obj("build").build_lib)
    metadata = Path(distribution.get_command_obj("egg_info").egg_info)
    tag = wheel_tag()
    stem = f"{distribution.get_name()}-{distribution.get_version()}"
    contents = [(str(path.relative_to(built)), path.read_bytes()) for path in sorted(files_of(built))]
    contents += [
        (f"{stem}.dist-info/METADATA", (metadata / "PKG-INFO").read_bytes()),
        (f"{stem}.dist-info/LICENSE", Path("LICENSE").read_bytes()),
        (f"{stem}.dist-info/WHEEL", wheel_file(tag).encode()),
    ]
    name = f"{stem}-{tag}.whl"
    write_wheel(os.path.join(wheel_directory, name), contents, f"{stem}.dist-info/RECORD")
    return name


def files_of(folder):
    return (path for path in folder.rglob("*") if path.is_file() and "__pycache__" not in path.parts)


def wheel_tag():
    """The module is for this very interpreter and machine."""
    python = "cp" + sysconfig.get_config_var("py_version_nodot")
    machine = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"{python}-{python}-{machine}"


def wheel_file(tag):
    return f"Wheel-Version: 1.0\nGenerator: orkan\nRoot-Is-Purelib: false\nTag: {tag}\n"


def digest(data):
    return "sha256=" + base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()


def write_wheel(path, contents, record_name):
    record = io.StringIO()
    rows = csv.writer(record, lineterminator="\n")
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data in contents:
            wheel.writestr(name, data)
            rows.writerow([name, digest(data), len(data)])
        rows.writerow([record_name, "", ""])
        wheel.writestr(record_name, record.getvalue())
