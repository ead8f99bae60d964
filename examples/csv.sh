#!/bin/sh
# csv.sh [OUTPUT]: CSV with quoted fields, commas and line ends in them. Sorts the customers by country, those of one
# country by balance, the largest first, into OUTPUT (sorted_customers.csv in the working directory).
#
#   -C -H       CSV; the first line is a header and stays in front
#   -K 6        first key: column 6, the country
#   -K 7nd      second key: column 7, the balance, as a number, descending
#   -S          stable: what is equal in both keys stays in input order
#   -T, -O      folder for a temporary file, in case the data do not fit into memory; output file
set -eu
here=$(dirname -- "$(readlink -f -- "$0")")
"${ORKAN:-$here/../scripts/orkan}" -C -H -K 6 -K 7nd -S -T "${TMPDIR:-/tmp}" -O "${1:-sorted_customers.csv}" \
    "$here/customers.csv"
