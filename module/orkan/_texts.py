"""Texts and paths that reach the library exactly as they are, or not at all.

The library takes NUL-terminated UTF-8 and trims white space off both ends of option arguments.
"""

from __future__ import annotations

import os

Path = str | bytes | os.PathLike[str] | os.PathLike[bytes]

# What the library trims.
WHITE_SPACE = " \t\n\v\f\r"


def checked_text(name: str, text: str) -> str:
    """The text, which C can hold and UTF-8 can express."""
    if not isinstance(text, str):
        raise TypeError(f"{name} must be a text, not {text!r}")
    if "\0" in text:
        raise ValueError(f"{name}: a NUL character in {text!r}")
    try:
        text.encode("utf-8")
    except UnicodeEncodeError:
        raise ValueError(f"{name}: {text!r} cannot be expressed in UTF-8") from None
    return text


def operand(name: str, path: Path) -> str:
    """A path as an input: not empty, and the same bytes for Python and the library."""
    text = checked_text(name, os.fsdecode(path))
    if not text:
        raise ValueError(f"{name}: an empty path")
    if os.fsencode(text) != text.encode("utf-8"):
        raise ValueError(f"{name}: {text!r} needs a file system encoding of UTF-8")
    return text


def option_path(name: str, path: Path) -> str:
    """A path as an option's argument, which keeps its blanks."""
    text = operand(name, path)
    if text[-1] in WHITE_SPACE:
        raise ValueError(f"{name}: white space at the end of {text!r}")
    return os.path.join(os.curdir, text) if text[0] in WHITE_SPACE else text


def is_special(path: str) -> bool:
    """Whether there is something at the path that is no regular file."""
    return os.path.exists(path) and not os.path.isfile(path)


def same_file(a: str, b: str) -> bool:
    """Whether two paths, of files that may not exist yet, lead to one file."""
    if os.path.exists(a) and os.path.exists(b):
        return os.path.samefile(a, b)
    return os.path.realpath(a) == os.path.realpath(b)
