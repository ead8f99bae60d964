#!/bin/sh
# hardening_test.sh BUILD_TYPE SANITIZERS COMMAND LIBRARY [MODULE]: the built files have what cmake/hardening.cmake asks
# for. Where sanitizers take the part of canaries and checked copies, only the rest is looked for.
set -eu
status=0
fails() {
    echo "$1: $2"
    status=1
}
has() { # has FILE WHAT PATTERN TEXT
    printf '%s\n' "$4" | grep -q "$3" || fails "$1" "$2 is missing"
}
has_not() {
    if printf '%s\n' "$4" | grep -q "$3"; then fails "$1" "$2"; fi
}

check_file() {
    header=$(readelf -h "$1")
    segments=$(readelf -lW "$1")
    dynamic=$(readelf -d "$1")
    has "$1" "position-independent code" 'Type: *DYN' "$header"
    has "$1" "the read-only relocation segment" GNU_RELRO "$segments"
    has "$1" "binding at start" 'BIND_NOW\|FLAGS_1.* NOW' "$dynamic"
    has_not "$1" "relocations in the code" TEXTREL "$dynamic"
    stack=$(printf '%s\n' "$segments" | grep GNU_STACK || true)
    has "$1" "the stack's segment" 'GNU_STACK.* RW ' "$stack"
    has_not "$1" "a segment is writable and executable" ' RWE ' "$segments"
}

build_type=$1 sanitizers=$2 command=$3 library=$4
shift 2
for file in "$@"; do
    check_file "$file"
done
has "$command" "the mark of a program that moves" 'FLAGS_1.*PIE' "$(readelf -d "$command")"
if [ -z "$sanitizers" ]; then
    symbols=$(readelf --dyn-syms -W "$library")
    has "$library" "the stack check" __stack_chk_fail "$symbols"
    if [ "$build_type" != Debug ]; then
        has "$library" "a checked copy or print" '__[a-z]*_chk@' "$(printf '%s\n' "$symbols" | grep -v __stack_chk_fail)"
    fi
fi
exit $status
