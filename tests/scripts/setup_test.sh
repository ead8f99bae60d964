#!/bin/bash
# setup_test.sh ROOT: scripts/setup asks for exactly the packages that are missing, as root or through sudo, and for
# nothing when everything is there. Package tools that only take notes stand in for the real ones.
set -u
root=$1
box=$(mktemp -d)
trap 'rm -rf "$box"' EXIT
failures=0

expect() { # expect WHAT ACTUAL EXPECTED
    if [ "$2" != "$3" ]; then
        printf 'FAILED: %s\n  actual:   [%s]\n  expected: [%s]\n' "$1" "$2" "$3"
        failures=$((failures + 1))
    fi
}

stand_in() { # stand_in NAME: a program from standard input
    cat >"$box/bin/$1"
    chmod +x "$box/bin/$1"
}

fresh_machine() { # fresh_machine USER_ID TOOL...: only these tools and what every system has
    rm -rf "${box:?}/bin" "$box/notes"
    mkdir "$box/bin"
    for tool in sh env find cat grep; do
        ln -s "$(command -v $tool)" "$box/bin/$tool"
    done
    touch "$box/notes"
    stand_in id <<<"#!/bin/sh
echo $1"
    shift
    for tool in "$@"; do
        stand_in "$tool" <<<'#!/bin/sh'
    done
    # Refuses an install as long as $box/stale exists, which an update removes: lists that name vanished packages.
    stand_in apt-get <<END
#!/bin/sh
while [ "\$1" != update ] && [ "\$1" != install ]; do shift; done
echo "\${DEBIAN_FRONTEND-} \$*" >>"$box/notes"
[ "\$1" = update ] && { rm -f "$box/stale"; exit 0; }
! [ -e "$box/stale" ]
END
    ln -s "$(command -v rm)" "$box/bin/rm"
}

setup() { # setup [PURPOSE...]: its status; output in $box/out
    PATH=$box/bin CXX=c++ "$root/scripts/setup" "$@" >"$box/out" 2>"$box/err" <<<"input of somebody else"
}

# Whether an update comes first depends on the machine's own package lists.
installs() { grep -v ' update$' "$box/notes" | sort -u; }

fresh_machine 0
setup
expect "status on a fresh machine" $? 0
expect "packages for a build" "$(installs)" "noninteractive install -y --no-install-recommends cmake g++ make"
expect "standard output" "$(cat "$box/out")" ""

fresh_machine 0 cmake g++
setup build test
expect "packages for the tests" "$(installs)" \
    "noninteractive install -y --no-install-recommends make libgtest-dev python3 python3-dev python3-venv binutils mandoc pkg-config"

fresh_machine 0 clang-format clang-tidy shellcheck
setup dev
expect "packages for development" "$(installs)" \
    "noninteractive install -y --no-install-recommends clang libclang-rt-dev libbenchmark-dev"

fresh_machine 0 cmake c++ ninja
setup
expect "status with another compiler and ninja" $? 0
expect "apt-get calls when all is there" "$(installs)" ""

fresh_machine 0 cmake g++
touch "$box/stale"
setup
expect "status with stale package lists" $? 0
expect "the last two steps" "$(tail -n 2 "$box/notes")" "noninteractive update
noninteractive install -y --no-install-recommends make"

fresh_machine 1000 cmake g++
setup
expect "status for a user without sudo" $? 1
expect "what the user is told" "$(grep -c 'please install: make' "$box/err")" 1
expect "apt-get calls of a user without sudo" "$(installs)" ""

fresh_machine 1000 cmake g++
stand_in sudo <<END
#!/bin/sh
echo sudo >>"$box/notes"
exec "\$@"
END
setup
expect "status for a user with sudo" $? 0
expect "the last install of a user with sudo" "$(tail -n 2 "$box/notes")" "sudo
noninteractive install -y --no-install-recommends make"

fresh_machine 0 cmake g++
rm "$box/bin/apt-get"
setup
expect "status without apt-get" $? 1
expect "what is said without apt-get" "$(grep -c 'please install.* make$' "$box/err")" 1

fresh_machine 0
setup nonsense
expect "status for an unknown purpose" $? 2

[ $failures -eq 0 ]
