"""options.py: the options as each place that lists them tells, for the tests that compare the places.

Every reader gives a dictionary: the option without its hyphen (a letter or a word) -> whether an argument follows.
`-Verbose` is the letter V with an attached argument to the scanner and a word of its own to everybody else.
"""

import re
import subprocess


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def of_scanner(root):
    """From the option string in the source."""
    letters = re.search(r'kOptions = "([^"]+)"', read(f"{root}/src/kx_paras/kx_options.cpp")).group(1)
    found = {letter: bool(colon) for letter, colon in re.findall(r"([A-Za-z])(:?)", letters)}
    capitals = {letter: argument for letter, argument in found.items() if letter.isupper()}
    assert {letter.upper(): argument for letter, argument in found.items() if letter.islower()} == capitals
    return capitals


def of_product(root):
    """What users are to be told of: every letter, and the word."""
    return {**of_scanner(root), "Verbose": False}


def help_text(command, language):
    run = subprocess.run([command, "--help"], env={"LANG": language}, stderr=subprocess.PIPE, check=False)
    assert run.returncode == 1
    return run.stderr.decode("utf-8")


def of_usage_lines(text):
    """From the bracketed options at the top of the help text, where V shows no argument."""
    usage = text[: text.index("\n  -")]
    return {name: bool(argument) for name, argument in re.findall(r"\[-([A-Za-z]+)( [^\]]+)?\]", usage)}


def of_help_list(text):
    return {name: bool(argument) for name, argument in re.findall(r"^  -([A-Za-z]+)( \S+)?\t", text, re.MULTILINE)}


def of_manual_list(text):
    """From the tagged list of a manual's section OPTIONS."""
    section = re.search(r"^\.Sh OPTIONS$(.*?)^\.Sh ", text, re.MULTILINE | re.DOTALL).group(1)
    return {name: bool(argument) for name, argument in re.findall(r"^\.It Fl (\w+)( Ar \S+)?$", section, re.MULTILINE)}


def of_manual_synopsis(text):
    section = re.search(r"^\.Sh SYNOPSIS$(.*?)^\.Sh ", text, re.MULTILINE | re.DOTALL).group(1)
    found = {}
    for name, argument in re.findall(r"^\.(?:Op )?Fl (\w+)( Ar \S+| Qq)?$", section, re.MULTILINE):
        names = [name] if argument or name == "Verbose" else name
        found.update({each: bool(argument) for each in names})
    return found


def of_readme(text):
    """The options in the code of the table "Options at a glance"."""
    table = text[text.index("## Options at a glance") :]
    rows = [line for line in table[: table.index("\n\nA key is")].splitlines() if line.startswith("|")]
    code = " ".join(" ".join(re.findall(r"`([^`]*)`", row)) for row in rows)
    return set(re.findall(r"(?:^|\s)-(Verbose|[A-Z])", code))


def of_bash_completion(text):
    names = re.search(r"_orkan_options='([^']*)'", text).group(1).replace("-", "").split()
    with_argument = re.search(r"_orkan_with_argument='([^']*)'", text).group(1)
    capitals = {letter for letter in with_argument if letter.isupper()}
    assert set(with_argument) - capitals == {letter.lower() for letter in capitals}
    return {name: name in capitals for name in names}


def of_zsh_completion(text):
    return {name: bool(plus) for name, plus in re.findall(r"^    '(?:\([^)]*\))?\*?-(\w+)(\+?)\[", text, re.MULTILINE)}


def of_fish_completion(text):
    found = {}
    for name, more in re.findall(r"^__orkan_complete (\w) '[^']*'(.*)$", text, re.MULTILINE):
        found[name] = "-x" in more or "-r" in more
    for name in re.findall(r"^    complete -c \$name -o (\w+) ", text, re.MULTILINE):
        found[name] = False
    return found
