#!/usr/bin/env bash
# Compares the symbols that a shared library exports with a list: exports.sh LIBRARY LIST.
# What a build adds by itself is left out: the sanitizers' own, and the vtables and type names of the host
# library's inline classes, which every user of them has.
set -euo pipefail
nm --dynamic --defined-only --demangle "$1" | cut -d' ' -f3- |
  grep -Ev '^__odr_asan|(vtable|typeinfo|typeinfo name) for Arbex_800::' |
  LC_ALL=C sort -u | diff "$2" - && echo "the exported symbols are those of the list"
