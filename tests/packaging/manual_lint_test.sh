#!/bin/sh
# manual_lint_test.sh ROOT: mandoc finds nothing wrong with the manuals.
set -eu
command -v mandoc >/dev/null || { echo "skipped: mandoc is not here"; exit 77; }
cd "$1/man"
exec mandoc -T lint -W warning orkan.1 orkan_file.3 ja/orkan.1
