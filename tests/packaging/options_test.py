"""options_test.py ROOT COMMAND: every place that lists the options lists the same ones."""

import os
import sys
import unittest

import options

ROOT, COMMAND = (os.path.abspath(argument) for argument in sys.argv[1:3])
del sys.argv[1:3]


def read(path):
    return options.read(os.path.join(ROOT, path))


class Options(unittest.TestCase):
    product = options.of_product(ROOT)

    def test_the_product_has_options(self):
        self.assertEqual(len(self.product), 18)
        self.assertEqual(sum(self.product.values()), 9)

    def test_help_text(self):
        """The help shows no argument for the V that prints the version."""
        expected = {**self.product, "V": False}
        for language in ("C", "ja_JP.UTF-8"):
            with self.subTest(language):
                text = options.help_text(COMMAND, language)
                self.assertEqual(options.of_usage_lines(text), expected)
                self.assertEqual(options.of_help_list(text), expected)

    def test_manuals(self):
        for page in ("man/orkan.1", "man/ja/orkan.1"):
            with self.subTest(page):
                self.assertEqual(options.of_manual_list(read(page)), self.product)
                self.assertEqual(options.of_manual_synopsis(read(page)), self.product)

    def test_readme(self):
        self.assertEqual(options.of_readme(read("README.md")), set(self.product))

    def test_completions(self):
        self.assertEqual(options.of_bash_completion(read("completions/orkan.bash")), self.product)
        self.assertEqual(options.of_zsh_completion(read("completions/_orkan")), self.product)
        self.assertEqual(options.of_fish_completion(read("completions/orkan.fish")), self.product)


if __name__ == "__main__":
    unittest.main()
