#!/usr/bin/env bash
# Compares what a library exports, less what each build of its own adds, with a list: exports.sh LIBRARY LIST
set -euo pipefail
nm --dynamic --defined-only --demangle "$1" | cut -d' ' -f3- |
  grep -Ev '^__odr_asan|(vtable|typeinfo|typeinfo name) for Arbex_800::' |
  LC_ALL=C sort -u | diff "$2" - && echo "the exported symbols are those of the list"
