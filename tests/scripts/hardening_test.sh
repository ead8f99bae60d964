#!/bin/sh
# hardening_test.sh BUILD_TYPE SANITIZERS FILE...: the built programs and libraries have what cmake/hardening.cmake asks
# for. Where sanitizers take the part of canaries and checked copies, only the rest is looked for. Each file has
# functions with arrays, and copies that are not sure to fit; hardening_flags_test.py asks about all sources.
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
    if printf '%s\n' "$segments" | grep -q INTERP; then
        has "$1" "the mark of a program that moves" 'FLAGS_1.*PIE' "$dynamic"
    fi
}

check_calls() {
    symbols=$(readelf --dyn-syms -W "$1")
    has "$1" "the stack check" __stack_chk_fail "$symbols"
    if [ "$build_type" != Debug ]; then
        has "$1" "a checked copy or print" '__[a-z]*_chk@' "$(printf '%s\n' "$symbols" | grep -v __stack_chk_fail)"
    fi
}

build_type=$1 sanitizers=$2
shift 2
[ $# -gt 0 ] || fails "no file" "nothing to check"
for file in "$@"; do
    check_file "$file"
    if [ -z "$sanitizers" ]; then check_calls "$file"; fi
done
exit $status
