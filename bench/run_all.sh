#!/usr/bin/env bash
# Runs every benchmark under bench/ with the built module; prints their ratios.
set -u
here=$(cd "$(dirname "$0")" && pwd)
status=0
for b in "$here"/*.py; do
  case "$(basename "$b")" in benchlib.py) continue ;; esac
  PYTHONPATH="$PYTHONPATH:$here" "$PY2" "$b" || status=1
done
# Programs built by the benchmarks target.
for p in "${BUILD_DIR:-$here/../build}"/bench/streams_readahead "${BUILD_DIR:-$here/../build}"/bench/records_bench "${BUILD_DIR:-$here/../build}"/bench/log_bench; do
  [ -x "$p" ] && { "$p" || status=1; }
done
exit $status
