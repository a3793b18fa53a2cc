#!/usr/bin/env bash
# Runs every benchmark under bench/ with the built module; prints their ratios.
set -u
here=$(cd "$(dirname "$0")" && pwd)
status=0
for b in "$here"/*.py; do
  case "$(basename "$b")" in benchlib.py) continue ;; esac
  PYTHONPATH="$PYTHONPATH:$here" "$PY2" "$b" || status=1
done
# C++ benchmark programs built next to the module.
for b in "$here"/../"${BUILD_DIR:-build}"/bench/log_bench "${BUILD_DIR:-}"/bench/log_bench; do
  [ -x "$b" ] && { "$b" || status=1; break; }
done
exit $status
