#!/bin/sh
# Makes the locales that the tests run under in the folder $1, which LOCPATH then names; those that
# it has already stay as they are. Needs localedef and its sources (Debian: libc-bin and locales).
set -eu
folder=$1
mkdir -p "$folder"

make_locale() { # name, source, charmap
  test -d "$folder/$1" && return
  rm -rf "$folder/$1.new"
  localedef -i "$2" -f "$3" "$folder/$1.new"
  mv "$folder/$1.new" "$folder/$1"
}

# A code set whose characters are those of ISO-8859-1, but whose name is another.
make_renamed() { # name, code set name
  gzip -dc /usr/share/i18n/charmaps/ISO-8859-1.gz |
    sed "s/^<code_set_name>.*/<code_set_name> \"$2\"/" >"$folder/$1.charmap"
  make_locale "$1" de_DE "$folder/$1.charmap"
}

make_locale en_US.UTF-8 en_US UTF-8
make_locale de_DE.UTF-8 de_DE UTF-8
make_locale de_DE.ISO-8859-1 de_DE ISO-8859-1
make_locale ps_AF.UTF-8 ps_AF UTF-8 # its decimal point has two bytes
make_renamed iso_in_front ISOLATIN1
make_renamed unknown_code_set NOWHERE
