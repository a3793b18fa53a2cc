#!/usr/bin/env bash
# A tour of the quarry command-line tool. Run from a build directory or give
# QUARRY=/path/to/quarry.
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

echo; echo "\$ seq 1 5000 | quarry records write -z zstd $dir/numbers.rec"
seq 1 5000 | "$Q" records write -z zstd "$dir/numbers.rec"
step records count "$dir/numbers.rec"
echo; echo "\$ quarry records cat $dir/numbers.rec | tail -3"; "$Q" records cat "$dir/numbers.rec" | tail -3
seq 1 2000 | "$Q" records write "$dir/plain.rec"
echo; echo "# damage two bytes of $dir/plain.rec"
printf 'XX' | dd of="$dir/plain.rec" bs=1 seek=3000 conv=notrunc status=none
echo; echo "\$ quarry records verify $dir/numbers.rec $dir/plain.rec   # exit status 1 for damage"
"$Q" records verify "$dir/numbers.rec" "$dir/plain.rec" || echo "(exit status $?)"

step sha1 "$dir/numbers.txt"
step archive -e rs_5_8 -u 64 "$dir/numbers.txt"
echo; echo "# lose one shard and damage another"
rm "$dir/.numbers.txt.rs-01-of-08"
printf 'XX' | dd of="$dir/.numbers.txt.rs-04-of-08" bs=1 seek=5000 conv=notrunc status=none
step sha1 "$dir/numbers.txt"
step repair "$dir/numbers.txt"
step rm -r "$dir/copies"
step ls "$dir"
