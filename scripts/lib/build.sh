# build.sh: sourced by scripts/orkan and scripts/test: install what is missing, configure and build into build/.
#
# $root is the project's folder, set by the caller. Nothing here reads standard input. Sourced, so the caller's
# environment and file descriptors are changed only inside the subshells below.
# shellcheck shell=sh
# shellcheck disable=SC2154

build=$root/build
# As old as the start of the last build of the command that succeeded; holds the project's folder at that time, for
# in a copied tree the ages say nothing.
stamp=$build/.command-built

# What the command is made of; folders are in it too, so a file that comes or goes is seen.
sources_newer_than_stamp() {
    [ -n "$(find "$root/src" "$root/include" "$root/programs" "$root/CMakeLists.txt" -newer "$stamp" -print -quit)" ]
}

stamp_is_ours() {
    [ -f "$stamp" ] && IFS= read -r built_in <"$stamp" && [ "$built_in" = "$root" ]
}

command_is_current() {
    [ -x "$build/orkan" ] && [ -e "$build/liborkan.so.3" ] && stamp_is_ours && ! sources_newer_than_stamp
}

# A build folder that was made for another place (a copied or moved tree) is configured anew.
made_elsewhere() {
    [ -f "$build/CMakeCache.txt" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$build/CMakeCache.txt"
}

# configure [cmake arguments]
configure() {
    if made_elsewhere || [ ! -f "$build/CMakeCache.txt" ]; then
        set -- --fresh "$@"
        command -v make >/dev/null || set -- -G Ninja "$@"
    fi
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release "$@"
}

# Builds the command only: needs no GoogleTest. A build folder that already has the tests keeps them.
build_command() {
    "$root/scripts/setup" build || return
    printf '%s\n' "$root" >"$stamp.new" || return
    if made_elsewhere || { [ ! -f "$build/Makefile" ] && [ ! -f "$build/build.ninja" ]; }; then
        configure -DORKAN_TESTS=OFF || return
    else
        configure || return
    fi
    cmake --build "$build" --parallel "$(nproc)" --target orkan_command || return
    mv -f "$stamp.new" "$stamp"
}

# Builds everything, tests included.
build_all() {
    "$root/scripts/setup" build test || return
    printf '%s\n' "$root" >"$stamp.new" || return
    configure -DORKAN_TESTS=ON || return
    cmake --build "$build" --parallel "$(nproc)" || return
    mv -f "$stamp.new" "$stamp"
}

# locked FUNCTION: calls it while no other call builds. The lock is not handed on to what the function starts, and
# a make that calls us is none of the build's business.
locked() (
    mkdir -p "$build" || exit
    unset MAKEFLAGS MFLAGS MAKELEVEL
    exec 9>"$build/.lock"
    flock 9 || exit
    "$1" </dev/null 9>&-
)
