#!/usr/bin/env bash
# Runs qxtree on the sample data, and on what it must refuse: qxtree_test.sh PROGRAM DATA
set -u
program=$(realpath "$1") data=$(realpath "$2")
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
mkdir "$work/temp" && cd "$work" || exit 1
failed=0 out=out limit=  # where the output goes, and the greatest file in KiB

run() { # STATUS ARGUMENT...
  (trap '' XFSZ && ulimit -f "${limit:-$(ulimit -f)}" && TMPDIR=temp exec "$program" "${@:2}") >"$out" 2>err
  [[ $? == "$1" && -z $(ls -A temp) ]] || { echo "FAILED: status or files of ${*:2}" && failed=1; }
}

refuse() { # STATUS TEXT ARGUMENT...: nothing but one line that has the text in it
  run "$1" "${@:3}"
  [[ ! -s $out && $(wc -l <err) == 1 && $(<err) == "qxtree: "*"$2"* ]] ||
    { echo "FAILED: ${*:3}: no '$2' in: $(<err)" && failed=1; }
}

printf '\xef\xbb\xbf"a, b",c,d\r\n,"x\ny",\r\n\r\n1e3,z,\r\nz,5,\n\n' >edge.csv
for memory in 0 100 1M 1G; do
  run 0 --input "$data" --memory "$memory" && cat out >all
  run 0 --input edge.csv --memory "$memory" && cat out >>all
  diff - all <<'END' || failed=1
column           kind      records        bytes  missing  first        last
location         text         2922        23376        0  Seattle      New York
date             text         2922        23376        0  2012-01-01   2015-12-31
precipitation    number       2922        23376        0  0            1.5
temp_max         number       2922        23376        0  12.8         11.1
temp_min         number       2922        23376        0  5            6.1
wind             number       2922        23376        0  4.7          5.5
weather          text         2922        23376        0  drizzle      rain
columns: 7, rows: 2922, temporary files open at once while writing: 1
column           kind      records        bytes  missing  first        last
a, b             number          3           24        2  (missing)    (missing)
c                text            3           24        0  x y          5
d                empty           3           24        3  (missing)    (missing)
columns: 3, rows: 3, temporary files open at once while writing: 1
END
done

refuse 1 "No such file" --input nowhere.csv
refuse 1 "line 1: no header" --input /dev/null
refuse 1 "two columns are named 'a'" --input /dev/stdin <<<"a,b,a"
refuse 1 "line 3: cells: 1 in the row, 2 in the header" --input /dev/stdin <<<$'a,b\n1,2\n3'
refuse 1 "line 2: a quotation mark" --input /dev/stdin <<<$'a,b\n1,"x"y\n'
refuse 1 "cannot use 'nowhere'" --temp nowhere
limit=8 refuse 1 "Error writing to file"
out=/dev/full refuse 1 "cannot write to standard output"
refuse 2 "--memory" --memory 1X
refuse 2 "--bogus" --bogus
exit "$failed"
