"""completion_test.py ROOT SHELL: what the shell (bash, zsh or fish) offers once the completion is loaded.

A question is a command line up to the cursor; the answer is what the shell offers there. Exits with 77 where the shell
is absent.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import options

ROOT, SHELL = os.path.abspath(sys.argv[1]), sys.argv[2]
del sys.argv[1:3]

FILES = ["data one.csv", "data.csv"]
FOLDERS = ["folder", "other"]


def bash(box, line):
    """Calls the completion function as bash does. What it leaves to bash itself ("compopt -o default" or "dirnames")
    is asked of compgen, which answers alike."""
    words = line.split(" ")
    script = """
        source "$1"; shift
        asked=
        compopt() { asked+=" $*"; }
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
        handler=$(complete -p "$1" | sed 's/.*-F \\([^ ]*\\).*/\\1/')
        "$handler" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf '%s\\n' "${COMPREPLY[@]}"
        case $asked in
            *default*) compgen -f -- "${COMP_WORDS[COMP_CWORD]}" ;;
            *dirnames*) compgen -d -- "${COMP_WORDS[COMP_CWORD]}" ;;
        esac"""
    path = os.path.join(ROOT, "completions", "orkan.bash")
    command = ["bash", "--norc", "-c", script, "bash", path, *words]
    return [(name, "") for name in subprocess.check_output(command, cwd=box, text=True).splitlines() if name]


# Types each question into an interactive shell and hands on what stands between the marks in its answer.
ZSH_SCRIPT = """
    zmodload zsh/zpty
    zpty shell zsh -f -i
    zpty -w shell "fpath=(${(qq)1} \\$fpath); cd ${(qq)2}; source ${(qq)3}"
    while IFS= read -r line; do
        zpty -w -n shell "$line"$'\\t'
        zpty -r -m shell text $'*\\1*\\2*'
        print -r -- ${${text##*$'\\1'}%%$'\\2'*}
        print end
        zpty -w -n shell $'\\C-U'
    done
"""

# Runs in the shell that is asked: records what the completion system adds instead of showing it.
ZSH_RECORDER = r"""
PS1= RPS1= PS2=
unsetopt zle_bracketed_paste
autoload -Uz compinit && compinit -D -u
zstyle ':completion:*' verbose yes
_record() {
    local -a names texts array
    builtin compadd -O names "$@"
    local i=${@[(i)-d]}
    (( i <= $# )) && texts=( ${(P)@[i+1]} )
    for (( i = 1; i <= $#names; ++i )); do answers+=( "$names[i]"$'\t'"${texts[i]#*-- }" ); done
}
compadd() {
    (( ${@[(I)-(O|A|D)]} )) || _record "$@"
    builtin compadd "$@"
}
_answer() {
    local -a answers
    _main_complete
    compstate[insert]= compstate[list]=
    print -rn -- $'\1'"${(pj:\n:)answers}"$'\2'
}
zle -C answer complete-word _answer
bindkey '^I' answer
"""


class Zsh:
    """One shell for all questions: starting its completion system takes long."""

    def __init__(self):
        self.shell = None

    def start(self, box):
        recorder = os.path.join(os.path.dirname(box), "recorder.zsh")
        with open(recorder, "w", encoding="ascii") as file:
            file.write(ZSH_RECORDER)
        command = ["zsh", "-f", "-c", ZSH_SCRIPT, "zsh", os.path.join(ROOT, "completions"), box, recorder]
        self.shell = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def __call__(self, box, line):
        if self.shell is None:
            self.start(box)
        self.shell.stdin.write(line + "\n")
        self.shell.stdin.flush()
        rows = {}  # each once: paths are added in several steps
        for row in self.shell.stdout:
            if row == "end\n":
                return [tuple((row + "\t").split("\t")[:2]) for row in rows if row]
            rows[row.strip("\r\n")] = True
        raise AssertionError("zsh does not answer")

    def close(self):
        if self.shell is not None:
            self.shell.stdin.close()
            self.shell.wait()
            self.shell.stdout.close()


zsh = Zsh()


def fish(box, line):
    path = os.path.join(ROOT, "completions", "orkan.fish")
    command = ["fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]", path, line]
    home = os.path.join(os.path.dirname(box), "home")
    env = {**os.environ, "HOME": home, "XDG_CONFIG_HOME": home, "XDG_DATA_HOME": home}
    rows = subprocess.check_output(command, cwd=box, text=True, env=env).splitlines()
    return [tuple((row + "\t").split("\t")[:2]) for row in rows]


ask = {"bash": bash, "zsh": zsh, "fish": fish}[SHELL]


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.box = os.path.join(cls.folder.name, "box")
        os.mkdir(cls.box)
        for name in FILES:
            with open(os.path.join(cls.box, name), "w", encoding="ascii"):
                pass
        for name in FOLDERS:
            os.mkdir(os.path.join(cls.box, name))

    @classmethod
    def tearDownClass(cls):
        zsh.close()
        cls.folder.cleanup()

    def names(self, line):
        return sorted(name.rstrip("/").replace("\\ ", " ") for name, _ in ask(self.box, line))

    def options(self, line):
        return {name[1:] for name, _ in ask(self.box, line)}

    def test_options(self):
        product = set(options.of_product(ROOT))
        self.assertEqual(self.options("orkan -"), product | {"-help"})
        self.assertEqual(self.options("ORKAN -"), product | {"-help"})
        self.assertLessEqual({"C", "O", "Verbose"}, self.options("orkan -S -W 64M -"))
        self.assertNotIn("-help", self.options("orkan -S -"))
        self.assertEqual(self.options("orkan -Verb"), {"Verbose"})

    @unittest.skipIf(SHELL == "bash", "bash shows no descriptions")
    def test_descriptions(self):
        texts = [text for _, text in ask(self.box, "orkan -")]
        self.assertEqual(len(set(texts)), len(options.of_product(ROOT)) + 1)
        self.assertTrue(all(len(text) > 5 for text in texts))

    def test_files(self):
        for line in ("orkan ", "orkan -S ", "orkan -O ", "ORKAN -E ", "orkan -o ", "orkan -C -- "):
            with self.subTest(line):
                self.assertEqual(self.names(line), sorted(FILES + FOLDERS))
        self.assertEqual(self.names("orkan -O dat"), FILES)

    def test_folders(self):
        for line in ("orkan -T ", "orkan -C -t "):
            with self.subTest(line):
                self.assertEqual(self.names(line), FOLDERS)
        self.assertEqual(self.names("orkan -T ot"), ["other"])

    @unittest.skipIf(SHELL == "fish", "fish completes attached arguments by itself or not at all")
    def test_attached_arguments(self):
        for line, found in {"orkan -Tot": "other", "orkan -C -Odata.": "data.csv"}.items():
            with self.subTest(line):
                names = self.names(line)
                self.assertEqual(len(names), 1)
                self.assertTrue(names[0].endswith(found))

    def test_newline_codes(self):
        self.assertEqual(
            {name.replace("\\\\", "\\") for name in self.names("orkan -P ")}, {"\\n", "\\r", "\\r\\n"}
        )

    def test_nothing_for_numbers_and_texts(self):
        for letter in "WLKDVwlkdv":
            with self.subTest(letter):
                self.assertEqual(self.names(f"orkan -{letter} "), [])


if __name__ == "__main__":
    if shutil.which(SHELL) is None:
        print(f"skipped: {SHELL} is not here")
        sys.exit(77)
    unittest.main()
