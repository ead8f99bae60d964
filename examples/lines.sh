#!/bin/sh
# lines.sh [OUTPUT [ERRORS]]: lines. Brings the log of three servers into the order of time, into OUTPUT
# (sorted_access.log in the working directory). Lines too short to hold the key go to ERRORS (short_access.log).
#
#   -K 0,19     key: 19 bytes from byte 0, the time
#   -S          stable: lines of one second stay in input order
#   -E          file for the records that end before the key does
#   -T, -O      folder for a temporary file, in case the data do not fit into memory; output file
set -eu
here=$(dirname -- "$(readlink -f -- "$0")")
"${ORKAN:-$here/../scripts/orkan}" -K 0,19 -S -T "${TMPDIR:-/tmp}" -E "${2:-short_access.log}" \
    -O "${1:-sorted_access.log}" "$here/access.log"
