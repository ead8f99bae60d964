#!/bin/sh
# soname_test.sh FOLDER COMMAND: the library's files in the folder, the name it asks to be loaded by, and that the
# command loads it by that name.
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
expect "needed by the command" "$(dynamic "$2" NEEDED | grep liborkan)" liborkan.so.3
exit $status
