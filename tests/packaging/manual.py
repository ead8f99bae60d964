"""manual.py: what stands in the literal blocks of a manual's EXAMPLES, as a reader sees it."""

import re


def examples(path):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    section = re.search(r"^\.Sh EXAMPLES$(.*?)^\.Sh ", text, re.MULTILINE | re.DOTALL).group(1)
    blocks = re.findall(r"^\.Bd -literal[^\n]*\n(.*?)^\.Ed$", section, re.MULTILINE | re.DOTALL)
    return [block.replace("\\e", "\\") for block in blocks]
