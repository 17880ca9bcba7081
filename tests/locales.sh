#!/bin/sh
# Makes the locales that the tests run under in the folder $1, which LOCPATH then names; those that
# it has already stay as they are. Needs localedef and its sources (Debian: libc-bin and locales).
set -eu
mkdir -p "$1" && cd "$1"

make_locale() { # NAME SOURCE CHARMAP
  test -d "$1" || { localedef -i "$2" -f "$3" "./$1.new" && mv "$1.new" "$1"; }
}

for name in ISO-8859-1 ISOLATIN1 NOWHERE; do # the same characters under three names of their set
  gzip -dc /usr/share/i18n/charmaps/ISO-8859-1.gz |
    sed "s/^<code_set_name>.*/<code_set_name> \"$name\"/" >"$name.charmap"
  make_locale "de_DE.$name" de_DE "./$name.charmap"
done
for name in de_DE en_US ps_AF; do # the last one's decimal point has two bytes
  make_locale "$name.UTF-8" "$name" UTF-8
done
