#!/bin/sh
# fixed.sh [OUTPUT]: fixed-length records. Sorts the orders by order number, those of one number by date, the latest
# first, into OUTPUT (sorted_orders.dat in the working directory).
#
#   -L 100      every record has 100 bytes, the newline at its end included
#   -K 0,10     first key: 10 bytes from byte 0, the order number
#   -K 10,10d   second key: 10 bytes from byte 10, the date, descending
#   -S          stable: what is equal in both keys stays in input order
#   -T, -O      folder for a temporary file, in case the data do not fit into memory; output file
set -eu
here=$(dirname -- "$(readlink -f -- "$0")")
"${ORKAN:-$here/../scripts/orkan}" -L 100 -K 0,10 -K 10,10d -S -T "${TMPDIR:-/tmp}" -O "${1:-sorted_orders.dat}" \
    "$here/orders.dat"
