#!/usr/bin/env bash
# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# Compares what a library exports, each name under the version QXUTILS_8, with a list: exports.sh LIBRARY LIST
set -euo pipefail
nm --dynamic --defined-only --demangle --with-symbol-versions "$1" | cut -d' ' -f2- |
  sed '/^A QXUTILS_8$/d; s/^. //' | LC_ALL=C sort -u |
  diff <(sed 's/$/@@QXUTILS_8/' "$2" | LC_ALL=C sort) - && echo "the exported symbols are those of the list"
