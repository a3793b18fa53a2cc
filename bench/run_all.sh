#!/usr/bin/env bash
# Runs every benchmark under bench/ with the built module; prints their ratios.
set -u
here=$(cd "$(dirname "$0")" && pwd)
status=0
for b in "$here"/*.py; do
  case "$(basename "$b")" in benchlib.py) continue ;; esac
  PYTHONPATH="$PYTHONPATH:$here" "$PY2" "$b" || status=1
done
# C++ benchmark programs built by the benchmarks target.
for b in redundancy_bench; do
  "${BUILD_DIR:-$here/../build}/bench/$b" || status=1
done
exit $status
