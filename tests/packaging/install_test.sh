#!/bin/bash
# install_test.sh ROOT BUILD LIBDIR VERSION SANITIZERS: an installed tree that was moved still runs, and programs are
# built against it with CMake and with pkg-config, in C and in C++.
set -eu
root=$1 build=$2 libdir=$3 version=$4 sanitizers=$5
checks=$root/tests/scripts
for tool in cc c++ make pkg-config readelf; do
    command -v "$tool" >/dev/null || { echo "skipped: $tool is not here"; exit 77; }
done
if [ -n "$sanitizers" ]; then
    echo "skipped: a library with sanitizers needs programs with sanitizers"
    exit 77
fi
box=$(mktemp -d)
trap 'rm -rf "$box"' EXIT
cd "$box"

fail() { printf 'FAILED: %s\n' "$*"; exit 1; }
same() { cmp "$2" "$3" || fail "$1"; }
quiet() { "$@" >log 2>&1 || { cat log; fail "$@"; }; }

# What the programs are to do, done by other means.
{ echo "a,b,c,d,e,country,balance"; awk 'BEGIN { for (i = 0; i < 500; ++i)
    printf "%d,%02d,,,,%s,%d\n", i, i * 31 % 97, substr("FRDEITES", i * 3 % 4 * 2 + 1, 2), i * 7919 % 1000 - 500 }'; } >rows.csv
export LC_ALL=C
sort -s -k1.1,1.10 -t "$(printf '\001')" "$root/examples/orders.dat" >orders.expected
{ head -n 1 rows.csv; tail -n +2 rows.csv | sort -s -t, -k6,6 -k7,7nr; } >rows.expected

sorts() { # sorts FOLDER WHAT: the two programs of the consumer project
    quiet "$1/sort_orders" "$root/examples/orders.dat" orders.out
    same "$2: sort_orders" orders.out orders.expected
    quiet "$1/sort_customers" rows.csv rows.out
    same "$2: sort_customers" rows.out rows.expected
    rm orders.out rows.out
}

quiet cmake --install "$build" --prefix "$box/first place"
moved="$box/second place"
mv "first place" "$moved"

# The tree itself.
"$checks/soname_test.sh" "$moved/$libdir" "$moved/bin/orkan"
if grep -rIlF -e "$box/first place" -e "$build" -e "$root" "$moved"; then
    fail "these files know where they were built or installed"
fi
for file in include/orkan/orkan.h share/man/man1/orkan.1 share/man/man3/orkan_file.3 share/man/ja/man1/orkan.1 \
    share/doc/orkan/LICENSE share/bash-completion/completions/orkan share/zsh/site-functions/_orkan \
    share/fish/vendor_completions.d/orkan.fish; do
    [ -f "$moved/$file" ] || fail "$file is missing"
done
while read -r link target; do
    [ "$(readlink "$moved/$link")" = "$target" ] || fail "$link is no link to $target"
    [ -e "$moved/$link" ] || fail "$link leads nowhere"
done <<END
bin/ORKAN orkan
share/man/man1/ORKAN.1 orkan.1
share/man/ja/man1/ORKAN.1 orkan.1
share/bash-completion/completions/ORKAN orkan
share/fish/vendor_completions.d/ORKAN.fish orkan.fish
END
quiet "$moved/bin/ORKAN" -L 100 -K 0,10 -S -T "$box" -O orders.out "$root/examples/orders.dat"
same "the installed command" orders.out orders.expected

# The header in the two languages, at their strictest.
quiet cc -std=c99 -pedantic -Wall -Wextra -Werror -fsyntax-only -x c "$moved/include/orkan/orkan.h"
quiet c++ -std=c++98 -pedantic -Wall -Wextra -Werror -fsyntax-only -x c++ "$moved/include/orkan/orkan.h"

# CMake: this major version is found, and no other.
mkdir versions
cat >versions/CMakeLists.txt <<END
cmake_minimum_required(VERSION 3.16)
project(versions LANGUAGES NONE)
foreach(wanted IN ITEMS $version ${version%%.*} $((${version%%.*} + 1)) $((${version%%.*} - 1)) ${version%%.*}.9)
  find_package(orkan \${wanted} QUIET CONFIG)
  message("\${wanted} \${orkan_FOUND}")
endforeach()
END
cmake -S versions -B versions/build -Dorkan_DIR="$moved/$libdir/cmake/orkan" >log 2>&1 || { cat log; fail "versions"; }
expected="$version 1
${version%%.*} 1
$((${version%%.*} + 1)) 0
$((${version%%.*} - 1)) 0
${version%%.*}.9 0"
[ "$(grep -E '^[0-9.]+ [01]$' log)" = "$expected" ] || { cat log; fail "versions found"; }

quiet cmake -S "$root/examples/consumer" -B cmake -DCMAKE_PREFIX_PATH="$moved" -DCMAKE_BUILD_TYPE=Release
quiet cmake --build cmake
sorts cmake CMake
readelf -d cmake/sort_orders | grep -qF "[$moved/$libdir]" || fail "the program takes the library from elsewhere"

# pkg-config, which has no way to say that a path has blanks.
mv "$moved" "$box/third"
export PKG_CONFIG_PATH=$box/third/$libdir/pkgconfig
[ "$(pkg-config --modversion orkan)" = "$version" ] || fail "pkg-config's version"
mkdir make
quiet make -C make -f "$root/examples/consumer/Makefile"
sorts make pkg-config

# The example of the library's manual, built as the manual says.
mkdir manual
python3 - "$root" <<'END'
import sys
sys.path.insert(0, sys.argv[1] + "/tests/packaging")
sys.dont_write_bytecode = True
import manual
program, command = manual.examples(sys.argv[1] + "/man/orkan_file.3")
open("manual/example.c", "w").write(program)
open("manual/build", "w").write(command)
END
cd manual
cp ../rows.csv in.csv
quiet sh -e build
LD_LIBRARY_PATH=$box/third/$libdir quiet ./example
[ "$(head -n 1 out.csv)" = "$(head -n 1 in.csv)" ] || fail "the manual's example moves the header"
tail -n +2 out.csv | cut -d, -f2 | sort -c || fail "the manual's example does not sort"
sort in.csv >expected
sort out.csv >found
same "the manual's example" found expected
