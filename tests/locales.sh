#!/bin/sh
# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# Makes the locales that the tests run under in the folder $1, which LOCPATH then names; those that
# it has already stay as they are. Needs localedef and its sources (Debian: libc-bin and locales).
set -eu
mkdir -p "$1" && cd "$1"

make_locale() { # NAME SOURCE CHARMAP
  test -d "$1" || { localedef -i "$2" -f "$3" "./$1.new" && mv "$1.new" "$1"; }
}

make_renamed() { # CHARMAP NAME SOURCE
  gzip -dc "/usr/share/i18n/charmaps/$1.gz" |
    sed "s/^<code_set_name>.*/<code_set_name> \"$2\"/" >"$2.charmap"
  make_locale "$3.$2" "$3" "./$2.charmap"
}

for name in ISO-8859-1 ISOLATIN1 NOWHERE; do # the same characters under three names of their set
  make_renamed ISO-8859-1 "$name" de_DE
done
make_renamed ANSI_X3.4-1968 GB18030 en_US # its own 88,000 characters take seconds; the name counts
for name in de_DE en_US ps_AF; do         # the last one's decimal point has two bytes
  make_locale "$name.UTF-8" "$name" UTF-8
done
make_locale ja_JP.EUC-JP ja_JP EUC-JP
