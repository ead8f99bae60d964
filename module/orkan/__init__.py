"""Sorts large files of fixed-length records, lines or CSV within the memory you give it.

    import orkan

    orkan.sort("in.csv", "out.csv", csv=True, header=True, keys=orkan.Key("price", numeric=True, descending=True))
    records = orkan.sort(["a.log", "b.log"], keys=(0, 19))

`sort` and `is_sorted` check every argument, run the sort in a child process and raise `SortError` when it fails.
`raw` is the plain call beneath: a list of command-line arguments in, a status out.
"""

from collections.abc import Callable

import _orkan

from ._errors import SortError
from ._key import Key
from ._sort import is_sorted, sort

__all__ = ["Key", "SortError", "is_sorted", "raw", "sort"]
__version__ = "3.0.0"

raw: Callable[[list[str]], int] = _orkan.orkan
