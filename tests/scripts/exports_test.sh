#!/bin/sh
# exports_test.sh LIBRARY: the shared library gives the outside exactly one name.
set -eu
exported=$(nm -D --defined-only "$1" | awk '{ print $2, $3 }')
if [ "$exported" != "T orkan_file" ]; then
    printf 'exported:\n%s\nexpected:\nT orkan_file\n' "$exported"
    exit 1
fi
