"""check_layers_test.py CHECK_LAYERS: the layer check accepts what points downwards and names what does not."""

import os
import subprocess
import sys
import tempfile
import unittest

CHECK_LAYERS = os.path.abspath(sys.argv.pop(1))


class CheckLayers(unittest.TestCase):
    def check(self, files):
        """Status and printed lines for a tree of these files: path -> contents."""
        with tempfile.TemporaryDirectory() as root:
            for path, contents in files.items():
                path = os.path.join(root, path)
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "w", encoding="utf-8") as file:
                    file.write(contents)
            run = subprocess.run([sys.executable, CHECK_LAYERS, root], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout.splitlines()

    def test_downward_and_level_includes_pass(self):
        files = {
            "src/kx_types/kx_bytes.h": "#include <cstddef>\n",
            "src/kx_utils/kx_text.h": '#include "kx_types/kx_bytes.h"\n',
            "src/orkan/orkan.cpp": '#include "kx_utils/kx_text.h"\n#include "orkan/orkan.h"\n',
            "include/orkan/orkan.h": "",
            "programs/orkan_main.cpp": "#include <orkan/orkan.h>\n",
        }
        self.assertEqual(self.check(files), (0, []))

    def test_upward_include_is_named_with_file_and_line(self):
        files = {
            "src/kx_list/kx_ring.h": '\n#  include "kx_memory/kx_memory.h"\n',
            "src/kx_memory/kx_memory.h": '#include "kx_list/kx_list.h"\n#include "kx_list/kx_ring.h"\n',
            "src/kx_list/kx_list.h": "",
        }
        status, lines = self.check(files)
        self.assertEqual(status, 1)
        self.assertIn("src/kx_list/kx_ring.h:2: layer 1 includes kx_memory/kx_memory.h of layer 2", lines)
        self.assertIn("src/kx_memory/kx_memory.h:1: layer 2 includes kx_list/kx_list.h of layer 3", lines)

    def test_include_of_a_file_beside_the_includer(self):
        files = {"src/kx_sort/kx_choose.cpp": '#include "kx_inmemory.h"\n', "src/kx_sort/kx_inmemory.h": ""}
        self.assertEqual(
            self.check(files), (1, ["src/kx_sort/kx_choose.cpp:1: layer 4 includes kx_sort/kx_inmemory.h of layer 7"])
        )

    def test_file_without_a_layer(self):
        status, lines = self.check({"src/kx_new/kx_new.h": ""})
        self.assertEqual(status, 1)
        self.assertIn("src/kx_new/kx_new.h:1: no layer", lines[0])

    def test_missing_file(self):
        self.assertEqual(
            self.check({"src/kx_utils/a.h": '#include "kx_utils/b.h"\n'}),
            (1, ["src/kx_utils/a.h:1: no such file: kx_utils/b.h"]),
        )

    def test_ring_of_includes_within_a_layer(self):
        files = {
            "src/kx_utils/a.h": '#include "kx_utils/b.h"\n',
            "src/kx_utils/b.h": '#include "kx_types/c.h"\n',
            "src/kx_types/c.h": '#include "kx_utils/a.h"\n',
        }
        status, lines = self.check(files)
        self.assertEqual((status, len(lines)), (1, 1))
        self.assertIn("ring of includes: ", lines[0])

    def test_tree_without_sources(self):
        self.assertEqual(self.check({"README.md": ""})[0], 1)


if __name__ == "__main__":
    unittest.main()
