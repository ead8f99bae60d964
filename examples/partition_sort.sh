#!/bin/sh
# partition_sort.sh range|merge PARTS START,LENGTH INPUT OUTPUT [ORKAN OPTION...]: sorts lines by several orkan
# processes at once, as an engine for many machines would.
#
#   range   samples the keys, sends every line to the part of its range, sorts the parts, joins them end to end
#   merge   cuts the input anywhere between two lines, sorts the pieces, merges them with -M
#
# Both give what one run of `orkan -S -K START,LENGTH` gives. The key is text, ascending. Every orkan has a temporary
# file of its own, named after its process, so they share one folder. Further options go to each of them, e.g. -W 64M.
set -eu
here=$(dirname -- "$(readlink -f -- "$0")")
orkan=${ORKAN:-$here/../scripts/orkan}
export LC_ALL=C # bytes, as orkan compares them

refuse() {
    echo "partition_sort.sh: $1" >&2
    exit 1
}

[ $# -ge 5 ] || refuse "usage: partition_sort.sh range|merge PARTS START,LENGTH INPUT OUTPUT [ORKAN OPTION...]"
how=$1 parts=$2 key=$3 input=$4 output=$5
shift 5
start=${key%,*} length=${key#*,}
case $start:$length in :* | *: | *[!0-9:]*) refuse "[$key] is not START,LENGTH" ;; esac
case $parts in '' | *[!0-9]* | 0*) refuse "[$parts] is no number of parts" ;; esac
if [ ! -f "$input" ] || [ ! -r "$input" ]; then refuse "[$input] cannot be read"; fi

folder=$(mktemp -d "${TMPDIR:-/tmp}/partition_sort.XXXXXX")
processes=
trap 'rm -rf -- "$folder"' EXIT
trap 'kill $processes 2>/dev/null; exit 1' HUP INT TERM

numbers() { seq -f %04.0f 1 "$parts"; }

# The lines of piece $1 of the input, cut between two lines.
piece() { split -n "l/$1/$parts" -- "$input"; }

# Waits for every process started; fails when one of them has failed.
wait_for_all() {
    failed=0
    for process in $processes; do
        wait "$process" || failed=1
    done
    processes=
    [ "$failed" -eq 0 ] || refuse "a part could not be sorted"
}

# One key less than there are parts: every 16th line's key, sorted, at equal distances.
choose_bounds() {
    awk -v start="$start" -v len="$length" 'NR % 16 == 1 { print substr($0, start + 1, len) }' "$input" |
        "$orkan" -A -T "$folder" -O "$folder/sample"
    [ -f "$folder/sample" ] || : >"$folder/sample"
    sampled=$(wc -l <"$folder/sample")
    awk -v n="$sampled" -v parts="$parts" 'int(NR * parts / n) > int((NR - 1) * parts / n) && NR < n' \
        "$folder/sample" >"$folder/bounds"
}

# Sends the lines of piece $1 to the files $1.0001, $1.0002, ...: one for each part.
distribute() {
    piece "$1" | awk -v start="$start" -v len="$length" -v bounds="$folder/bounds" -v to="$folder/$1" '
        BEGIN { n = 0; while ((getline bound < bounds) > 0) key[++n] = bound "" }
        {
            mine = substr($0, start + 1, len) ""
            part = 1
            while (part <= n && mine >= key[part]) ++part
            print > sprintf("%s.%04d", to, part)
        }'
}

# The lines of part $1, in input order.
part() {
    for from in "$folder"/????."$1"; do
        [ ! -f "$from" ] || cat "$from"
    done
}

# sort_all SOURCE [OPTION...]: what SOURCE gives for each number into the file sorted.NUMBER, all at once. Empty files
# go, for an empty input would end the list of -M. A file that is not there although there were lines is a failure:
# orkan ends with status 0 when an option is mistyped.
sort_all() {
    source=$1
    shift
    for number in $(numbers); do
        "$source" "$number" | "$orkan" -S -K "$key" -T "$folder" "$@" -O "$folder/sorted.$number" &
        processes="$processes $!"
    done
    wait_for_all
    for number in $(numbers); do
        [ -f "$folder/sorted.$number" ] || [ "$("$source" "$number" | head -c 1 | wc -c)" -eq 0 ] ||
            refuse "part $number is missing"
    done
    find "$folder" -name 'sorted.*' -empty -delete
}

by_range() {
    choose_bounds
    for number in $(numbers); do
        distribute "$number" &
        processes="$processes $!"
    done
    wait_for_all
    sort_all part "$@"
    find "$folder" -name 'sorted.*' -print0 | sort -z | xargs -0 -r cat >"$output"
}

by_merge() {
    sort_all piece "$@"
    : >"$output"
    [ -z "$(find "$folder" -name 'sorted.*')" ] ||
        "$orkan" -M -S -K "$key" -T "$folder" "$@" -O "$output" "$folder"/sorted.*
}

case $how in
range) by_range "$@" ;;
merge) by_merge "$@" ;;
*) refuse "[$how] is neither range nor merge" ;;
esac
