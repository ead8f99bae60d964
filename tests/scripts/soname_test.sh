#!/bin/sh
# soname_test.sh FOLDER COMMAND [MODULE]: the library's files in the folder, the name it asks to be loaded by, that the
# module loads it by that name and the command, which has the engine within, does not; and that none of them looks for
# libraries in the current folder.
set -eu
status=0
expect() { # expect WHAT ACTUAL EXPECTED
    if [ "$2" != "$3" ]; then
        echo "$1: [$2], expected [$3]"
        status=1
    fi
}
dynamic() { readelf -d "$1" | sed -n "s/.*($2).*\[\(.*\)\]/\1/p"; }

library=$1/liborkan.so.3.0.0
expect "$library" "$(stat -c %F "$library")" "regular file"
expect liborkan.so.3 "$(readlink "$1/liborkan.so.3")" liborkan.so.3.0.0
expect liborkan.so "$(readlink "$1/liborkan.so")" liborkan.so.3
expect SONAME "$(dynamic "$library" SONAME)" liborkan.so.3
expect "needed by the command" "$(dynamic "$2" NEEDED | grep liborkan)" ""
if [ $# -eq 3 ]; then
    expect "needed by the module" "$(dynamic "$3" NEEDED | grep liborkan)" liborkan.so.3
    expect "folders that are not the module's own" \
        "$(dynamic "$3" RUNPATH | tr ':' '\n' | grep -c -v '^\$ORIGIN')" 0
fi
for file in "$library" "$2"; do
    expect "folders of $file" "$(dynamic "$file" RUNPATH)" ""
done
exit $status
