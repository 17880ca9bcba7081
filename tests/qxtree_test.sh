#!/usr/bin/env bash
# Runs qxtree on sample data, small files, and what it must refuse: qxtree_test.sh PROGRAM DATA, with LOCPATH.
set -u; program=$(realpath "$1") data=$(realpath "$2")
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT && mkdir "$work/temp" && cd "$work" || exit 1
failed=0 out=out limit='' locale=en_US.UTF-8 # where the output goes, and the greatest file in KiB

fail() { failed=1; echo "FAILED: $*"; }

run() { # STATUS ARGUMENT...
  (ulimit -f "${limit:-$(ulimit -f)}" && TMPDIR=temp exec env LC_ALL="$locale" "$program" "${@:2}") >"$out" 2>err
  [[ $? == "$1" && -z $(ls -A temp) ]] || fail "${*:2}: status, or files stay behind: $(<err)"
}

refuse() { # STATUS TEXT ARGUMENT...: nothing but one line that has the text in it
  run "$1" "${@:3}"
  [[ ! -s $out && $(wc -l <err) == 1 && $(<err) == "qxtree: "*"$2"* ]] || fail "${*:3}: no '$2' in: $(<err)"
}

run 0 --input "$data" --dot dot
grep -q '^peak memory [0-9]* KiB, temporary bytes 420768, open temporary files 3$' err || fail "$(<err)"
[[ $(tail -n 1 out) == "held-out accuracy 0.8518 (753 of 884 cases), commonest class 0.4898" &&
  $(grep -c '=>' out) == 26 && $(grep -c lightgrey dot) == 26 ]] || fail "$(<out)"
mv out sample; printf 'memory=0\nseed=2\nunknown=\ninput=%s' "$data" >conf
for budget in --memory=1K --memory=1G --config=conf; do
  locale=de_DE.UTF-8 run 0 $budget --seed 1; cmp sample out || fail "$budget: another result"
done

# A byte order mark, line ends of two kinds, days that there are not, half a character, a weight below 0.
printf '\xef\xbb\xbf"n, 1",when,text,w,t\r\n1e1,2012-02-29,"x ""y""",2,b\r\n\r\n,2013-02-29,caf\xe9,1.5,a
z,1582-10-13, caf\xc3\xa9 ,2,a\n20,2012-01-01T23:59:59,,-1,a\n7,2012-1-1,caf\xc3\xa9,1,a\n9,,x,1,
8,1582-10-14 00:00:01,x,0.5,a' >small.csv
run 0 --input small.csv --target t --weight w --min-cases 1 --distinct 3 --holdout 0
diff - <(sed '1d; 6d' out) <<'END' || fail "small: wrong output"
n, 1             number         1         1        3     3  7 to 10, mean 8.85714, deviation 1.60357
when             date           1         3        2     2  14-OCT-1582 00:00:01 to 29-FEB-2012 00:00:00, mean 15-APR-1926 14:24:00, deviation 80985.1 days
text             text           1         1        3     3  
w                number         0         0   merged     1  0.5 to 2, mean 1.64286, deviation 0.517549
records 7, without target 1, without weight 1; cases for training 7, held out 0

all: a (5 of 7)
  text in {"x "y""} => b (2 of 2)
  text not in {"x "y""} => a (5 of 5)

held-out accuracy unknown (no held-out cases)
END
printf 'n,t\n3,\xe9\n1,\xe9\n2,x\n5,\xe9\n4,x\n' >latin.csv
locale=de_DE.ISO-8859-1 run 0 --input latin.csv --target t --distinct 2 --holdout 0
[[ $(sed -n '/^all/p; s/^n .*\(merged\).*/\1/p' out) == $'merged\nall => \xe9 (3 of 5)' ]] || fail "Latin-1: $(<out)"

for weight in 1e300 1e-300 1.5; do # cases are squared, and one of a half is drawn
  { echo n,t,w; yes 1,a,$weight$'\n'2,b,$weight | head -n 998; } >weights.csv
  run 0 --input weights.csv --target t --weight w --min-cases 1e-300 --holdout 0.5
  grep -q '^held-out accuracy 1.0000' out || fail "weight $weight: $(<out)"
done; grep -q 'held out 7' out || fail "a fraction: $(<out)"

mkfifo pipe; for signal in KILL INT TERM HUP; do # the second run sweeps up what the first one leaves
  TMPDIR=temp env --default-signal=INT,TERM,HUP "$program" --input pipe >out 2>err &
  exec 3>pipe # waits for the program, which has made its folder then
  [[ -n $(ls -A temp) ]] || fail "$signal: no folder"
  kill -s $signal $! && exec 3>&-
  wait $! 2>/dev/null
  [[ $(kill -l $?) == "$signal" && ! -s out && ! -s err &&
    (-z $(ls -A temp) || $signal == KILL) ]] || fail "$signal"
done

while IFS='|' read -r status text arguments input; do
  printf '%b' "$input" >input
  refuse "$status" "$text" ${arguments:+"$arguments"} --input=input
done <<'END'
1|line 1: no header
1|same name||a,b,a
1|line 3: more than 2 cells||weather,b\n1,2\n1,2,
1|not finite|--weight=b|weather,b\n1,1e308\n2,1e308
1|line 2: a quotation mark||weather,b\n1,"x"y\n
1|no training cases||weather
1|column 'weather': more than 2 categories|--distinct=2|weather\na\nb\nc
1|cannot use 'nowhere'|--temp=nowhere
1|cannot read 'nowhere'|--config=nowhere
2|target: there is no column 'x'|--target=x|weather
2|weight: |--weight=weather|weather
2|'input', key memory: --memory|--config=input|memory=1X
2|'input', key depth: the value ends in a carriage return|--config=input|depth=5\r\n
2|holdout: |--config=input|holdout=nan
END
{ echo weather,bbb; yes 1,x | head -n 16380; printf 'x\ry,z,w\n'; } >input # y, ends the first block
refuse 1 "line 16382: 1 cells, not 2" --input input
{ printf 'weather\n"'; yes x | head -n 600000; } >input && refuse 1 "a cell of more than 1 MiB" --input input
refuse 1 "No such file" --input nowhere.csv; limit=8 refuse 1 "Error writing to file"; out=/dev/full refuse 1 "cannot write to standard output"
exit "$failed"
