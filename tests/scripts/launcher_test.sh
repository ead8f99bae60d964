#!/bin/bash
# launcher_test.sh ROOT: scripts/orkan hands on arguments, streams, working directory and status, and builds when it
# must and only then. It runs in a copy of the scripts around a command that tells what it was given.
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

tree="$box/a tree with blanks"
mkdir -p "$tree/src" "$tree/include" "$tree/programs" "$box/elsewhere"
cp -R "$root/scripts" "$tree/"
cat >"$tree/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(stub LANGUAGES CXX)
option(ORKAN_TESTS "As in the real project: on unless the launcher says otherwise" ON)
if(ORKAN_TESTS)
  message(FATAL_ERROR "the launcher must not ask for the tests")
endif()
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
message("noise of the configuration")
add_library(orkan SHARED src/library.cpp)
set_target_properties(orkan PROPERTIES VERSION 3.0.0 SOVERSION 3)
add_executable(orkan_command programs/main.cpp)
set_target_properties(orkan_command PROPERTIES OUTPUT_NAME orkan BUILD_RPATH_USE_ORIGIN ON)
target_link_libraries(orkan_command PRIVATE orkan)
END
cat >"$tree/src/library.cpp" <<'END'
int answer() { return 7; }
END
cat >"$tree/programs/main.cpp" <<'END'
#include <cstdio>
#include <unistd.h>
int answer();
int main(int argc, char **argv) {
    char folder[4096];
    std::printf("%s\n", getcwd(folder, sizeof folder) != nullptr ? folder : "?");
    for (int i = 1; i < argc; ++i) {
        std::printf("<%s>", argv[i]);
    }
    for (int c = std::getchar(); c != EOF; c = std::getchar()) {
        std::putchar(c);
    }
    std::fputs("said to standard error\n", stderr);
    return answer();
}
END

# Two first calls at the same time, from another folder, through links, with data waiting on standard input.
ln -s "$tree/scripts/orkan" "$box/elsewhere/link"
ln -s link "$box/elsewhere/link to link"
cd "$box/elsewhere" || exit 1
printf 'one\n' | ./link 'a  b' '' '*' -K 0,10 "quote'\"" >"$box/out1" 2>"$box/err1" &
first=$!
printf 'two\n' | "$box/elsewhere/link to link" x >"$box/out2" 2>"$box/err2" &
second=$!
wait $first
expect "status of the first call" $? 7
wait $second
expect "status of the call beside it" $? 7
here=$(pwd -P)
expect "output of the first call" "$(cat "$box/out1")" "$here
<a  b><><*><-K><0,10><quote'\">one"
expect "output of the call beside it" "$(cat "$box/out2")" "$here
<x>two"
expect "standard error of the first call" "$(cat "$box/err1")" "said to standard error"
expect "standard error of the call beside it" "$(cat "$box/err2")" "said to standard error"

# A call that needs no build starts none: with no cmake and no compiler in reach it still works.
mkdir "$box/bin"
for tool in sh readlink find; do
    ln -s "$(command -v $tool)" "$box/bin/$tool"
done
expect "a later call" "$(printf 'three' | PATH=$box/bin "$tree/scripts/orkan" 2>/dev/null)" "$here
three"
expect "the build log" "$(grep -c 'noise of the configuration' "$tree/build/build.log")" 1

# A changed source, an added one and a removed one are built in.
sleep 0.02
echo 'int answer() { return 8; }' >"$tree/src/library.cpp"
"$tree/scripts/orkan" </dev/null >"$box/out" 2>&1
expect "status after a change" $? 8
before=$(stat -c %Y%y "$tree/build/.command-built")
sleep 0.02
echo 'int other();' >"$tree/src/other.cpp"
"$tree/scripts/orkan" </dev/null >"$box/out" 2>&1
[ "$before" != "$(stat -c %Y%y "$tree/build/.command-built")" ]
expect "an added source is noticed" $? 0
rm "$tree/src/other.cpp"
before=$(stat -c %Y%y "$tree/build/.command-built")
"$tree/scripts/orkan" </dev/null >"$box/out" 2>&1
[ "$before" != "$(stat -c %Y%y "$tree/build/.command-built")" ]
expect "a removed source is noticed" $? 0

# A source that does not compile: nothing on standard output, the compiler's words on standard error, no old command.
echo 'int answer() { return no_such_name; }' >"$tree/src/library.cpp"
"$tree/scripts/orkan" </dev/null >"$box/out" 2>"$box/err"
expect "status of a failed build" $? 1
expect "output of a failed build" "$(cat "$box/out")" ""
expect "the reason of a failed build" "$(grep -c 'error:.*no_such_name' "$box/err")" 1

# A tree that was copied with its build folder builds for its new place.
echo 'int answer() { return 9; }' >"$tree/src/library.cpp"
cp -R "$tree" "$box/copy"
"$box/copy/scripts/orkan" </dev/null >"$box/out" 2>&1
expect "status in a copied tree" $? 9

if [ $failures -ne 0 ]; then
    sed 's/^/build.log: /' "$tree/build/build.log"
    exit 1
fi
