#!/usr/bin/env bash
# A tour of the quarry command-line tool. Run from a build directory or give
# QUARRY=/path/to/quarry. (Records and logs come with their families.)
set -euo pipefail
Q=${QUARRY:-$(dirname "$0")/../build/quarry}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
step() { echo; echo "\$ quarry $*"; "$Q" "$@"; }

seq 1 100000 > "$dir/numbers.txt"
step mkdir -p "$dir/copies/deep"
step cp "$dir/numbers.txt" "$dir/copies/deep"
step ls -l "$dir/copies/deep"
step stat "$dir/copies/deep/numbers.txt"
step checksum "$dir/numbers.txt" "$dir/copies/deep/*.txt"
echo; echo "\$ quarry cat $dir/numbers.txt | tail -2"; "$Q" cat "$dir/numbers.txt" | tail -2
echo; echo "\$ quarry cat $dir/missing   # a clear error, exit status 1"
"$Q" cat "$dir/missing" || echo "(exit status $?)"
step rm -r "$dir/copies"
step ls "$dir"
