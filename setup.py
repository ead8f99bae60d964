"""setup.py: the Python package with its module, compiled from the library's own sources: `pip install .` needs a
compiler and nothing else. Everything it makes goes to build/python."""

import os
import re
import shutil
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

BUILD = "build/python"
VERSION = re.search(r"project\(orkan VERSION ([0-9.]+)", Path("CMakeLists.txt").read_text(encoding="utf-8"))[1]


class BuildModule(build_ext):
    """Compiles on all processors, and puts the type stub beside the module."""

    def build_extension(self, extension):
        def compiled(source):
            return self.compiler.compile(
                [source],
                output_dir=self.build_temp,
                macros=extension.define_macros,
                include_dirs=extension.include_dirs,
                extra_postargs=extension.extra_compile_args,
                depends=extension.depends,
            )

        with ThreadPoolExecutor(os.cpu_count()) as pool:
            extension.extra_objects = sum(pool.map(compiled, extension.sources), [])
        extension.sources = []
        super().build_extension(extension)
        folder = Path(self.get_ext_fullpath(extension.name)).parent
        shutil.copyfile("module/_orkan.pyi", folder / "_orkan.pyi")


module = Extension(
    "_orkan",
    sources=["module/orkan_module.cpp", *sorted(map(str, Path("src").rglob("*.cpp")))],
    depends=[*sorted(map(str, Path("src").rglob("*.h"))), "include/orkan/orkan.h"],
    include_dirs=["include", "src"],
    define_macros=[("ORKAN_VERSION", f'"{VERSION}"'), ("NDEBUG", None)],
    extra_compile_args=[
        *("-std=c++20", "-O3", "-g0", "-fno-exceptions", "-fno-rtti", "-fvisibility=hidden"),
        *("-fstack-protector-strong", "-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=3"),  # 2 where the C library has no 3
    ],
    # -Bsymbolic: calls the library inside even where another one is loaded.
    extra_link_args=["-Wl,-Bsymbolic", "-Wl,-z,relro", "-Wl,-z,now", "-Wl,-z,noexecstack"],
    language="c++",
)

Path(BUILD).mkdir(parents=True, exist_ok=True)
setup(
    version=VERSION,
    ext_modules=[module],
    cmdclass={"build_ext": BuildModule},
    options={"build": {"build_base": BUILD}, "egg_info": {"egg_base": BUILD}},
)
