"""install_test.py SOURCE: `pip install .` without a network builds the module and installs the package into a fresh
virtual environment; nothing is written beside build/, and the module is hardened like the library."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = os.path.abspath(sys.argv[1])
del sys.argv[1:2]

# What a source archive has, and so what an installation needs.
PARTS = ["CMakeLists.txt", "LICENSE", "MANIFEST.in", "docs", "include", "module", "pyproject.toml", "setup.py", "src"]

CHECKS = os.path.join(SOURCE, "tests", "scripts")
# Interpreters come with flags of their own; without them it is seen what setup.py asks for. No source compiles without
# canaries and checked copies.
NOT_FROM_THE_INTERPRETER = {
    "CFLAGS": "-fno-stack-protector -U_FORTIFY_SOURCE -include " + os.path.join(CHECKS, "hardened.h"),
    "LDFLAGS": "-Wl,-z,norelro -Wl,-z,lazy",
}

SORTS_CSV = """
import importlib.metadata, importlib.resources, os, sys, _orkan, orkan
assert all(module.__file__.startswith(sys.prefix) for module in (_orkan, orkan)), (_orkan, orkan)
assert importlib.metadata.version("orkan") == orkan.__version__
assert importlib.resources.files("orkan").joinpath("py.typed").is_file()
assert os.path.exists(os.path.join(os.path.dirname(_orkan.__file__), "_orkan.pyi"))
key = orkan.Key("price", numeric=True, descending=True)
orkan.sort("in.csv", "out.csv", csv=True, header=True, keys=key)
assert orkan.is_sorted("out.csv", csv=True, header=True, keys=key, in_process=True)
"""


def clean_environment():
    """Not that of the tests, which finds the package in the source tree."""
    dropped = {"PYTHONPATH", "LD_PRELOAD", "ASAN_OPTIONS"}
    environment = {name: value for name, value in os.environ.items() if name not in dropped}
    if shutil.which("ccache"):
        environment |= {"CC": "ccache gcc", "CCACHE_NOHASHDIR": "1"}
    return {**environment, "PIP_DISABLE_PIP_VERSION_CHECK": "1"}


class Install(unittest.TestCase):
    def setUp(self):
        box = tempfile.TemporaryDirectory(prefix="orkan_test_")
        self.addCleanup(box.cleanup)
        self.box = box.name
        self.tree = os.path.join(self.box, "tree")
        self.python = os.path.join(self.box, "environment", "bin", "python")
        os.mkdir(self.tree)
        for part in PARTS:
            source, copy = os.path.join(SOURCE, part), os.path.join(self.tree, part)
            if os.path.isdir(source):
                shutil.copytree(source, copy, ignore=shutil.ignore_patterns("__pycache__"))
            else:
                shutil.copy(source, copy)
        self.run_in(self.box, sys.executable, "-m", "venv", "environment")

    def run_in(self, folder, *command, **more_environment):
        environment = clean_environment() | more_environment
        run = subprocess.run(command, cwd=folder, env=environment, capture_output=True, text=True, check=False)
        self.assertEqual(run.returncode, 0, " ".join(command) + "\n" + run.stdout + run.stderr)
        return run.stdout

    def files(self, folder):
        return sorted(os.path.relpath(os.path.join(place, name), folder)
                      for place, _, names in os.walk(folder) for name in names)

    def test_source_archive_wheel_and_installation(self):
        sources = self.files(self.tree)
        make_archive = f"import build_backend; build_backend.build_sdist({self.box!r})"
        self.run_in(self.tree, self.python, "-B", "-c", "import sys; sys.path.insert(0, 'module'); " + make_archive)
        self.assertEqual([name for name in self.files(self.tree) if not name.startswith("build/")], sources)

        self.run_in(self.box, "tar", "xzf", "orkan-3.0.0.tar.gz")
        unpacked = os.path.join(self.box, "orkan-3.0.0")
        before = self.files(unpacked)
        self.assertEqual([name for name in before if name.startswith("src")],
                         [name for name in sources if name.startswith("src")])
        self.run_in(unpacked, self.python, "-m", "pip", "install", "--no-index", "--no-build-isolation", ".",
                    **NOT_FROM_THE_INTERPRETER)
        after = self.files(unpacked)
        self.assertEqual([name for name in after if not name.startswith(("build/", "module/__pycache__/"))],
                         [name for name in before if not name.startswith("build/")])
        with open(os.path.join(self.box, "in.csv"), "w", encoding="ascii") as file:
            file.write("name,price\ncheap,5\ndear,10\n")
        self.run_in(self.box, self.python, "-c", SORTS_CSV)
        with open(os.path.join(self.box, "out.csv"), encoding="ascii") as file:
            self.assertEqual(file.read(), "name,price\ndear,10\ncheap,5\n")
        module = self.run_in(self.box, self.python, "-c", "import _orkan; print(_orkan.__file__)").strip()
        self.run_in(self.box, os.path.join(CHECKS, "hardening_test.sh"), "Release", "", module)
        self.run_in(self.box, self.python, "-m", "pip", "check")
        installed = self.run_in(self.box, self.python, "-m", "pip", "show", "-f", "orkan")
        self.assertIn("Version: 3.0.0\n", installed)
        self.run_in(self.box, self.python, "-m", "pip", "uninstall", "-y", "orkan")
        self.assertEqual([name for name in self.files(os.path.join(self.box, "environment")) if "orkan" in name], [])


if __name__ == "__main__":
    unittest.main()
