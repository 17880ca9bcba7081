#!/usr/bin/env bash
# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# Runs qxtree on several processes beside itself on one, and ends runs early: qxtree_mpi_test.sh PROGRAM DATA.
# shellcheck disable=SC2016,SC2053 # the shell of each process expands what is quoted; patterns are meant
set -u; program=$(realpath "$1") data=$(realpath "$2") here=${HOSTNAME%%.*}
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT && mkdir "$work/temp" "$work/mpi" && cd "$work" || exit 1
failed=0 processes=3 in=/dev/null prepare=true # `prepare`: what each process does before it starts

# Open MPI takes more processes than there are cores, and root. Its files lie here, and it needs no network.
export OMPI_MCA_rmaps_base_oversubscribe=1 OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
export OMPI_MCA_orte_tmpdir_base=$work/mpi OMPI_MCA_btl_vader_backing_directory=$work/mpi
export OMPI_MCA_plm=isolated OMPI_MCA_pml=ob1 OMPI_MCA_btl=self,vader OMPI_MCA_btl_vader_single_copy_mechanism=none
export LSAN_OPTIONS=detect_leaks=0 # Open MPI leaks, and takes its modules away before the names are looked up

fail() { failed=1; echo "FAILED: $*"; }
table() { awk "BEGIN { srand(7); print \"$1\"; for (i = 0; i < $2; i++) print $3 }"; } # HEADER ROWS CELLS

start() { # ARGUMENT...: in place of this shell, as many processes as `processes` says, which leave their ids
  exec timeout -k 5 20 mpirun -n "$processes" \
    sh -c 'echo $$ >"pid.$OMPI_COMM_WORLD_RANK"; echo $PPID >pid.mpirun; eval "$0"; exec "$@"' \
    "$prepare" "$program" --temp temp "$@" <"$in" >out 2>err
}

ended() { # STATUS FOLDERS WHAT: in time, without processes, and with so many folders left
  local id tries=0
  while read -r id; do
    until [[ ! -e /proc/$id/exe ]] || ((++tries > 500)); do sleep 0.01; done # a zombie has none
  done < <(cat pid.*); rm pid.*
  ((tries <= 500)) || fail "$3: a process goes on"
  [[ $1 != 124 && ($1 != 137 || $2 == 1) && $(find temp -mindepth 1 -maxdepth 1 | wc -l) == "$2" ]] ||
    fail "$3: status $1, $(find temp -mindepth 1) and not $2 folders: $(<err)"
}

alone() { # ARGUMENT...
  "$program" --temp temp --model one.model --dot one.dot "$@" >one.out 2>one.err || fail "$*: $(<one.err)"
  sed -i '/^peak/d' one.err
}

same() { # "PROCESSES..." ARGUMENT...: the results and warnings of the last run alone
  local file status
  for processes in $1; do
    rm -f model dot; (start --model model --dot dot "${@:2}"); status=$?; ended $status 0 "${*:2}"
    sed -i '/^peak/d' err; for file in out err model dot; do cmp $file one.$file || status=1; done
    ((status == 0)) || fail "${*:2}, $processes processes: $(<err)"
  done
  processes=3
}

both() { alone "${@:2}"; same "$@"; }

refuse() { # PATTERN ARGUMENT...: of the one line beside those of mpirun
  (start "${@:2}"); local status=$? said; said=$(grep ^qxtree err); ended $status 0 "${*:2}"
  [[ $status != 0 && ! -s out && $said == $1 && $said != *$'\n'* ]] ||
    fail "${*:2}: status $status, no '$1' in: $(<err)"
}

alike() { # PATTERN ARGUMENT...: of what stands before the words of one process
  "$program" --temp temp "${@:2}" 2>one.err && fail "${*:2}: is accepted"
  local said; said=$(<one.err); refuse "qxtree: $1${said#qxtree: }" "${@:2}"
}

# The sample as it is; with other line ends, but none at the end; in pieces, some of them compressed.
both "1 2 3 5" --config "${data%csv}conf"
sed 's/$/\r/' "$data" | head -c -2 >ends.csv; both "2 5" --input ends.csv --target weather
sed 1d "$data" >rows; split -d -a 1 -n l/5 rows rows.
for i in {0..4}; do { head -n 1 "$data"; cat "rows.$i"; } >"part-$i.csv"; done
gzip -c part-1.csv >zipped; mv zipped part-1.csv; zstd -q --rm part-2.csv; mv part-2.csv.zst part-2.csv
alone --input "$data" --target weather; same "1 2 3 7" --input 'part-*.csv' --target weather
same 5 --input 'part-{rank}.csv' --target weather

# Each process hands over as many counts as there are bins, missing cells, classes and nodes to be split.
for depth in 1 2; do
  (start --config "${data%csv}conf" --depth $depth)
  counts=$(awk '/^records/ { exit } NR > 1 && $6 ~ /^[0-9]+$/ { bins += $6 + 1 } END { print bins }' out)
  classes=$(awk '/^cases predicted:/ { print NF - 3 }' out)
  grep -q "sent bytes of histograms $((8 * counts * classes * (2 ** depth - 1)))," err || fail "histograms: $(<err)"
done

# Each byte of rows with quoted line ends and an empty line is the first one of a part, in one size or another.
unit=$'"u\r\n1,""2\n",2,x\r\n\nu,,y\n' units=23
declare -A cuts=()
printf '\xef\xbb\xbf"a\nb",n,t\n' >head.csv; first=$(stat -c %s head.csv)
for ((i = 0; i < units; i++)); do printf %s "$unit"; done >units.csv
for ((bytes = 6; ${#cuts[@]} < ${#unit}; bytes += 6)); do
  { cat head.csv units.csv; printf "%0${bytes}d,z,x\n" 0; } >cut.csv; size=$(stat -c %s cut.csv)
  both 5 --input cut.csv --target t --number n --holdout 0
  for part in 1 2 3 4; do
    ((at = part * ((size - first) / 5), at >= units * ${#unit})) || cuts[$((at % ${#unit}))]=1 # after the header
  done
done

# A header and a cell that are longer than a part, and fewer rows than processes.
{ printf '%0900d,t\n' 0; printf '%d,a\n' 1 2; } >header.csv; both "3 5" --input header.csv --target t --holdout 0
{ printf 'x,t\na,1\n"'; yes 1,1 | head -c 300000; printf '",2\nb,3\n'; } >cell.csv
both "2 5" --input cell.csv --target t --holdout 0 --min-cases 1

# What a column and a target hold is decided by the cells of all.
table n,text,when,c,few,many,none,t 3000 '(i == 2500 ? "x" : i % 50) "," \
  (i == 999 ? "x" : i < 999 ? "0" i % 7 : i % 7) "," (i < 1500 ? "" : i < 2900 ? "2012-01-" 10 + i % 20 : 5) "," \
  (i < 100 ? "first" : i < 2900 ? "middle" : i < 2990 ? "last" : "\351") "," \
  int(i / 150) "," int(i / 142) ",NA," (i % 50 > 20) + (i % 7 > 3)' >kinds.csv
for target in n c few many t; do both 3 --input kinds.csv --target $target --min-cases 2; done

# Sums of fractions, more distinct values and categories than are kept, deep trees, little memory.
table x,w,c,t 100000 'sprintf("%.6f,%d,%s,%.3f", x = 1e4 * rand(), i % 4, i % 9 ? "i" i : "", sin(x / 1000) + rand())' \
  >reals.csv
both "2 3 5" --input reals.csv --target t --weight w --ignore c --depth 12 --holdout 0 --memory 16M
both 3 --input reals.csv --target t --ignore w --bins 1000
table "$(seq -s ,c 39),t" 3000 'line()} function line(  j, cells, sum) {
  for (j = 1; j < 40; j++) {
    x = rand(); sum += j < 4 && x > 0.5; cells = cells (rand() < 0.05 ? "" : int(1e6 * x)) "," }
  return cells sum % 3' >wide.csv
both "2 5" --input wide.csv --target t --depth 30 --min-cases 1 --memory 16M

# What is refused.
"$program" --help >one.out; (start --help); cmp out one.out || fail "help: $(<err)"
sed '2500s/$/,9/' "$data" >late.csv; alike "rank 2 on $here*: " --input late.csv --target weather
sed '900s/,/,"/' "$data" >quote.csv; sed '9s/$/,9/' late.csv >two.csv
refuse "qxtree: rank * on *: 'quote.csv', line 900: a quotation mark is not closed*" --input quote.csv --target weather
refuse "qxtree: rank [02] on *: 'two.csv', line *: more than 7 cells" --input two.csv --target weather
alike '*' --input "$data" --target wether
alike '*' --input nowhere --target weather
gzip -c "$data" >zipped; sed '1s/wind/wand/' part-0.csv >part-5.csv; cp part-0.csv less-0.csv; cp part-3.csv less-1.csv
in=$data refuse "*standard input*" --input - --target weather
while read -r text input; do refuse "*$text*" --input "$input" --target weather; done <<'END'
zipped zipped
part-5 part-*.csv
less-2 less-{rank}.csv
END
prepare='[ $OMPI_COMM_WORLD_RANK != 1 ] || set -- "$@" --depth 3' \
  refuse "qxtree: rank 0 on *: the processes have different settings" --input "$data" --target weather
prepare='[ $OMPI_COMM_WORLD_RANK != 1 ] || ulimit -f 8' OMPI_MCA_btl=self,tcp OMPI_MCA_btl_tcp_if_include=lo \
  refuse "qxtree: rank 1 on *temporary files under 'temp'*" --input wide.csv --target t # as if its disk were full

# A process that is killed, or fails, ends those that wait for it or for their input.
rm part-1.csv part-2.csv; mkfifo part-1.csv; cp part-0.csv part-2.csv
stop() { # SIGNAL WHOM FOLDERS: when process 1 has read a part of its input and waits for more
  exec 3<>part-1.csv
  start --input 'part-{rank}.csv' --target weather & local run=$! status
  timeout 20 cat "$data" >&3 || fail "$1 for $2: process 1 does not read"
  kill -s "$1" "$(cat "pid.$2")"; wait $run; status=$?; exec 3>&-
  ended $status "$3" "$1 for $2"
  [[ $status != 0 && ! -s out && ($1 == TERM || $(<err) == *"rank $2 "*"signal 9"*) ]] ||
    fail "$1 for $2: status $status: $(<err)"
}
stop TERM mpirun 0
stop TERM 2 0
stop KILL 0 1
stop KILL 1 1 # which sweeps what the last one left
echo 1,2,3,4,5,6,7,8 >>part-2.csv; exec 3<>part-1.csv
refuse "qxtree: rank 2 on $here*: 'part-2.csv', line $(wc -l <part-2.csv): more than 7 cells" \
  --input 'part-{rank}.csv' --target weather
exit "$failed"
