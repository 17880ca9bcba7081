#!/usr/bin/env bash
# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# Runs qxtree on sample data, made-up tables, and what it must refuse: qxtree_test.sh PROGRAM DATA, with LOCPATH.
set -u; program=$(realpath "$1") data=$(realpath "$2") schema=$(realpath "$(dirname "$0")/../qxtree/model.schema.json")
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT && mkdir "$work/temp" && cd "$work" || exit 1
failed=0 in=/dev/null out=out limit='' locale=en_US.UTF-8 # `limit`: of ulimit

grep -qE '__(asan|tsan|ubsan)_' "$program" && bound='' || bound='-v 80000' # sanitizers need more memory
fail() { failed=1; echo "FAILED: $*"; }
agree() { cmp "$1" "$2" || fail "${*:3}: $1 and $2 differ"; }
leaves() { grep -c '=>' out; }
table() { awk "BEGIN { srand(7); print \"$1\"; for (i = 0; i < $2; i++) print $3 }"; } # HEADER ROWS CELLS

run() { # STATUS ARGUMENT...
  (eval "ulimit ${limit:--c 0}" && TMPDIR=temp exec timeout 60 env LC_ALL="$locale" "$program" "${@:2}") <"$in" >"$out" 2>err
  [[ $? == "$1" && -z $(ls -A temp) ]] || fail "${*:2}: status, or files stay behind: $(<err)"
}

refuse() { # STATUS TEXT ARGUMENT...: nothing but one line that has the text in it
  run "$1" "${@:3}"
  [[ ! -s $out && $(wc -l <err) == 1 && $(<err) == "qxtree: "*"$2"* ]] || fail "${*:3}: no '$2' in: $(<err)"
}

within() { # MIB ARGUMENT...: the memory for the data, and at most 24 MiB more
  run 0 --memory "$1M" --target t "${@:2}"
  peak=$(sed -n 's/^peak memory \([0-9]*\) KiB, temporary bytes [0-9]*$/\1/p' err)
  [[ ! $bound ]] || ((${peak:-1000000} <= ($1 + 24) * 1024)) || fail "${*:2}: $peak KiB"
}

# The same bytes from every form of the sample, by any memory and locale.
sample=(--input "$data" --target weather)
run 0 "${sample[@]}" --model model --dot dot
[[ $(tail -n 1 out) == "held-out accuracy 0.8492 (783 of 922 cases), commonest class 0.4967" &&
  $(leaves) == 24 && $(grep -c lightgrey dot) == 24 ]] || fail "$(<out)"
mv out sample; mkdir sub; cp "$data" sub/weather.csv; tr , '\t' <"$data" >tab; tr , ';' <"$data" >semicolons
gzip -c "$data" >a.gz; (head -c 50000 | zstd -qc; zstd -qc) <"$data" >a.zst # which has two frames
printf 'memory=16M\nseed=2\ntarget=weather\ninput=weather.csv\nmodel=model' >sub/conf
while read -ra arguments; do
  locale=de_DE.UTF-8 in=$data run 0 "${arguments[@]}" --target weather --seed 1 --model again --dot again.dot
  agree out sample "${arguments[@]}"; agree again model "${arguments[@]}"; agree again.dot dot "${arguments[@]}"
done <<<"--config=sub/conf
--input=- --memory=16M
--input=a.gz --memory=1G
--input=a.zst
--input=tab --delimiter=tab
--input=semicolons --delimiter=;"
head -c 9000 a.gz >cut.gz; refuse 1 "it is cut off" --input cut.gz --target weather
[[ $(for gain in 1 0.3 0.02 0; do run 0 "${sample[@]}" --min-gain $gain; leaves; done) == $'1\n2\n4\n24' ]] || fail "min-gain"

# A leaf of the training is that of the prediction, in any order of columns.
run 0 "${sample[@]}" --holdout 0 --model model
expected=$(tr -d '()' <out | awk '/=>/ { right += $(NF - 2); all += $NF } END { print right " of " all " cases" }')
run 0 predict --model model --input "$data"
[[ $(tail -n 1 err) == accuracy*" ($expected), "* && $(wc -l <out) == $(wc -l <"$data") && $(head -n 1 out) == prediction,probability ]] ||
  fail "predict, not $expected: $(<err)"
mv out predicted; awk -F , '{ print $7 ",x," $6 "," $5 "," $4 "," $3 "," $2 "," $1 }' "$data" | sed '1s/,x,/,more,/' >other
run 0 predict --model model --input other; agree out predicted "other columns"
sed '1s/min/mix/' "$data" >other; refuse 1 "there is no column 'temp_min'; the nearest is 'temp_mix' (location, date," predict --model model --input other
table x,t 200 'i % 2 "," i % 2' >xt.csv; run 0 --input xt.csv --target t --model xt
{ cat xt.csv && printf '1,%b\n' "$(printf '\\xce\\xa9\\xc3\\xa9%.0s' {1..9})"; } >omega.csv # a class of which Latin-1 has every other character
run 0 --input omega.csv --target t --model omega --holdout 0
locale=de_DE.ISO-8859-1 run 0 predict --model omega --input xt.csv; tr '\351' e <err >latin
[[ $(head -n 1 latin) == *" 1 ?e?e?e?e?e "*recall && $(tail -n 1 latin) == "accuracy 1.0000 "* ]] || fail "characters that the code set lacks: $(<err)"
{ echo "$(seq -s , 100000),x" && row=$(printf '%0100000d' 0 | tr 0 ,) && for i in {1..100}; do echo "$row$((i % 2))"; done; } >in
in=in limit=$bound run 0 predict --model xt --input -
[[ $(sort out | uniq -c | tr -s ' \n' ' ') == " 50 0,1 50 1,1 1 prediction,probability " ]] || fail "long rows: $(<err)"

# What a column holds, how many of its cells are missing and malformed, by the cells (* repeats one).
while IFS='|' read -r expected cells arguments; do
  { echo c,t; tr ';' '\n' <<<"$cells" | awk -F '*' -v OFS=, '{ for (i = $2 ? $2 : 1; i > 0; i--) print $1, i % 2 }'; } >cells.csv
  run 0 --input cells.csv --target t --holdout 0 ${arguments:+"$arguments"}
  read -r _ kind missing malformed _ < <(sed -n 2p out)
  [[ "$kind $missing $malformed" == "$expected" ]] || fail "$cells: $kind $missing $malformed, not $expected: $(<err)"
done <<'END'
number 0 0|+5;.5;5.;1e3;-0; 7 ;1e-400
number 6 0|NA;NaN;nan;null;?;;1
number 1 6|1*1000;;x;inf;0x10;1e999;+-5;2012-01-01
text 0 0|1*999;x
text 0 0|5;2012-01-01
text 1 0|NA;x;1|--missing=x
text 0 0|1;2|--text=c
number 0 2|x;1;2012-01-01|--number=c
date 0 5|2012-02-29*999;1582-10-14T23:59:59;2013-02-29;1582-10-13;2012-1-1;2012-01-01 24:00:00;1
empty 2 0|NA;
END

# A byte order mark, line ends of two kinds, texts that are not in the locale's code set, weights that do not count.
printf '\xef\xbb\xbf"n, 1",when,text,w,t\r\n1e1,2012-02-29,"x ""y""",2,b\r\n\r\n,2013-02-28,caf\xe9,1.5,a
z,, caf\xc3\xa9 ,2,a\n20,2012-01-01T23:59:59,,-1,a\n7,2012-11-01,caf\xc3\xa9,1,a\n9,,x,two,
8,1582-10-14 00:00:01,x,0.5,a' >small.csv
small=(--input small.csv --target t --weight w --min-cases 1 --holdout 0 --number "n, 1")
run 0 "${small[@]}"; { sed 1d out; head -n 3 err; } | diff - <(cat <<'END'
n, 1             number         1         1        3     3  7 to 10, mean 8.85714, deviation 1.60357
when             date           2         0        4     4  14-OCT-1582 00:00:01 to 28-FEB-2013 00:00:00, mean 29-AUG-1969 00:00:00, deviation 52660.8 days
text             text           1         1        3     3  
w                number         0         1                 weight
t                text           1         0                 target, as classes
records 7, without target 1, without weight 2; cases for training 7

all: a (5 of 7)
  n, 1 <= 9 or missing => a (5 of 5)
  n, 1 > 9 => b (2 of 2)

gain by column
  n, 1             100.00 %

held-out accuracy unknown (no held-out cases)
qxtree: column 'n, 1': 1 of 7 cells are no numbers, the first one 'z' in line 5; they are taken as missing (--text takes the column as texts, --missing tells which texts are meant to be)
qxtree: column 'text': 1 of 7 cells are not in the locale's code set, the first one 'caf\xE9' in line 4; they are taken as missing (set LC_ALL to the file's locale)
qxtree: column 'w': 1 of 7 cells are no numbers, the first one 'two' in line 8; they are taken as missing (their records are not used, --missing tells which texts are meant to be)
END
) || fail "small: wrong output"
mv out small; locale=C run 0 "${small[@]}"; agree out small "UTF-8 in the C locale"; printf 'n,t,\xe9\n\xe9,\xe9,\n1,x,\n' >latin.csv
locale=de_DE.ISO-8859-1 run 0 --input latin.csv --number n --target t --ignore $'\xe9' --holdout 0
[[ $(grep ^all out) == "all => x (1 of 2)" && $(<out) == *$'\n\xe9 '*ignored* && $(<err) == *$'one \'\xe9\' in line 2'* ]] || fail "Latin-1: $(<out) $(<err)"
run 0 --input latin.csv --number n --target t --ignore $'\xe9' --holdout 0
[[ $(<out) == *$'\n\\xE9 '*ignored*"all => x (1 of 1)"* ]] || fail "a name that can't be converted: $(<out)"

# Records with weights give the tree of repeated ones, and heavy ones that of light ones, in the same time and space.
table w,x,c,t 400 'i % 4 "," int(rand() * 50) "," substr("abcdef", 1 + rand() * 6, 1) "," int(rand() * 3)' >weights.csv
awk -F , 'NR == 1; NR > 1 { for (i = 0; i < $1; i++) print }' weights.csv >repeated.csv
sed '2,$s/^[0-9]*/1/' weights.csv >light.csv; sed '2,$s/^[0-9]*/1000000/' weights.csv >heavy.csv
grow() { # FILE ARGUMENT...
  run 0 --input "$1.csv" --target t --depth 7 --model "$1" "${@:2}"
  { sed -n '/^all/,$p' out; grep -o 'temporary.*' err; } >rules
  [[ $(leaves) -gt 15 ]] || fail "$*: $(<out)"
}
for task in --classes --regression; do
  grow weights $task --weight w --holdout 0; grep -v temporary rules >rules.weights
  grow repeated $task --ignore w --holdout 0; grep -v temporary rules | agree - rules.weights "$task, repeated"
  [[ $task == --regression ]] || agree weights repeated "repeated"
  grow light $task --weight w; sed 's/ ([^)]*)//g; /^cases/,/^precision/d' rules >light
  grow heavy $task --weight w --min-cases 10000000; sed 's/ ([^)]*)//g; /^cases/,/^precision/d' rules | agree - light "$task, heavy"
done
for weight in 1e300 1e-300; do # cases are squared
  table n,t,w 100 "i % 2 \",\" i % 2 \",$weight\"" >input; run 0 --input input --target t --weight w --min-cases 1e-300
  grep -q '^held-out accuracy 1.0000' out || fail "weight $weight: $(<out)"
done

# Columns of distinct values decide nothing, too many categories are left out, and 8 are named.
table text,number,x,t 2000 'sprintf("k%d,%d,%d,%d", i, 1e9 * rand(), x = 100 * rand(), (x > 50) != (rand() < 0.1))' >ids.csv
run 0 --input ids.csv --target t --ignore number --ignore text; without=$(sed -n 's/^held-out accuracy 0.\(....\) .*/1\1/p' out)
run 0 --input ids.csv --target t; with=$(sed -n 's/^held-out accuracy 0.\(....\) .*/1\1/p' out)
[[ $with -gt $((without - 200)) && $with -gt 18500 && $(grep -c '^  *text ' out) == 0 ]] || fail "identifiers, else $without: $(<out)"
table text,t 65534 '"k" i "," i % 2' >most.csv; sed '$s/.*/&\nmore,1/' most.csv >toomany.csv
for each in most toomany; do run 0 --input $each.csv --target t; grep -o "^qxtree.*" err; done |
  diff - <(echo "qxtree: column 'text' is left out: more than 65534 categories") || fail "many categories"
refuse 1 "target 'text': more than 65534 categories" --input toomany.csv --target text
table c,t 2000 '"c" i % 20 "," (i % 20 < 10 ? "a" : "b")' >named.csv
run 0 --input named.csv --target t; [[ $(grep -c '"c7"} and 2 more => \|", "c[0-9]*" and 2 more}' out) == 2 ]] || fail "$(<out)"

# Whether a numeric target is classes, and why.
while IFS='|' read -r remark cell arguments; do
  table x,t 420 "i % 21 \",\" $cell" >kinds.csv; run 0 --input kinds.csv --target t --holdout 0 ${arguments:+"$arguments"}
  grep -q "^t  .* target, $remark\$" out || fail "$remark: $(<out)"
done <<'END'
as classes (20 whole numbers)|i % 20
as a number (many values, or fractions)|i % 21
as a number (many values, or fractions)|i % 2 / 2
as classes|i % 21|--classes
as a number|i % 2|--regression
END

# Model files: those that are written fit the schema, and those that do not fit themselves are refused.
run 0 --input "$data" --target wind --model regression # of texts, dates and numbers
/usr/bin/python3 - "$schema" model regression weights <<'END' || fail "schema"
import copy, json, jsonschema, sys
schema, *models = (json.load(open(name)) for name in sys.argv[1:])
jsonschema.Draft7Validator.check_schema(schema)
for model in models:
    jsonschema.Draft7Validator(schema).validate(model)
leaf = next(i for i, node in enumerate(models[0]["nodes"]) if "left" not in node)
edits = """m["format"] = "other"; m["version"] = 2; m["version"] = -1; m["task"] = "else"; m["classes"] = []; m["classes"][0] = m["classes"][1]
m["missing"] = "NA"; m["columns"][1]["name"] = m["target"]; m["columns"][1]["kind"] = "real"; del m["columns"][0]["categories"]
m["columns"][0]["categories"].reverse(); m["columns"] = []; m["nodes"] = []; m["nodes"][0]["left"] = 0; m["nodes"][1]["left"] = 1
m["nodes"][0]["right"] = 3; m["nodes"][0]["left"] = 1e9; m["nodes"][2]["left"], m["nodes"][2]["right"] = 3, 4; del m["nodes"][0]["split"]
m["nodes"][0]["split"]["column"] = 6; m["nodes"][0]["split"]["column"] = 0; m["nodes"][0]["split"]["missing"] = "up"; del m["nodes"][0]["split"]["cut"]
m["nodes"][0]["split"]["cut"] = "0.1"; m["nodes"][0]["split"]["categories"] = [0]; m["nodes"][0]["cases"].pop(); m["nodes"][0]["cases"][0] = -1
m["nodes"][0]["split"] = {"column": 0, "categories": [2], "missing": "left"}; m["nodes"][leaf]["cases"] = [0] * 5; m["nodes"].pop(); m = [m]"""
for number, edit in enumerate(edits.replace("\n", "; ").split("; ")):
    exec(edit, scope := {"m": copy.deepcopy(models[0]), "leaf": leaf})
    json.dump(scope["m"], open(f"hostile.{number}", "w"))
END
head -c 3000 model >hostile.cut; printf '%0100000d' 0 | tr 0 '[' >hostile.deep; printf '"\xff"' >hostile.bytes; sed 's/: 0\.1,/: 1e999,/' model >hostile.large; : >hostile.empty
for hostile in hostile.*; do refuse 1 "'$hostile' is no model of qxtree: " predict --model "$hostile" --input "$data"; done

# Signals leave nothing, and the next run sweeps what SIGKILL leaves.
mkfifo pipe; exec 3<>pipe; tries=0
for signal in INT TERM HUP QUIT USR1 SYS KILL; do
  TMPDIR=temp env --default-signal=INT,TERM,HUP,QUIT,USR1,SYS "$program" --input pipe --target t >out 2>err & pid=$!
  until [[ -n $(ls -A temp) ]] || ((++tries > 6000)); do sleep 0.01; done
  { kill -s $signal $pid; timeout 60 tail --pid $pid -s 0.01 -f /dev/null || kill -s KILL $pid; wait $pid; } 2>/dev/null
  [[ $(kill -l $?) == "$signal" && ! -s out && ! -s err && (-z $(ls -A temp) || $signal == KILL) ]] || fail "$signal: $(<err)"
done; exec 3>&-

# In the memory that is promised.
table x 300 'line(i)} function line(i,  j, cells) {
  cells = i % 2; for (j = 1; j < 2000; j++) cells = cells "," int(1e6 * rand()); return cells' | sed "1s/.*/t$(for i in {1..1999}; do printf ',c%d' "$i"; done)/" >wide.csv
limit='-n 64' within 32 --input wide.csv
table c,t 120000 '"category " i % 60000 ",class " i % 41 % 40' >texts.csv; within 128 --input texts.csv --min-cases 1 --depth 1
table c,t 26000 'sprintf("%0300d,%d", i, i % 2)' | tr 0 '\001' >escaped.csv # which JSON writes in six bytes
within 64 --input escaped.csv --model escaped
table a,b,c,t 50000 'int(1e6 * rand()) "," int(1e3 * rand()) "," int(1e2 * rand()) "," int(2 * rand())' >noise.csv
within 96 --input noise.csv --depth 30 --min-cases 1; mv out noise
within 1024 --input noise.csv --depth 30 --min-cases 1; agree out noise "noise"
refuse 1 "nodes and more need at least" --input noise.csv --target t --depth 30 --min-cases 1 --memory 16M

# What is refused, and where that is said.
while IFS='|' read -r status text arguments input; do
  printf '%b' "$input" >input; read -ra arguments <<<"$arguments"
  refuse "$status" "$text" --input=input --target=t "${arguments[@]}"
done <<'END'
1|line 1: no header
1|'input': no rows after the header||x,t\n
1|two columns have the same name 'eééééééééééééééééééé...'||eéééééééééééééééééééé,t,eéééééééééééééééééééé
1|line 3: more than 2 cells||x,t\n1,2\n1,2,
1|line 3: 1 cells, not 2||x,t\n1,2\n1
1|line 3: a quotation mark is not closed||x,t\n1,2\n"1,2\n1,2\n
1|line 2: a quotation mark is out of place||x,t\n1,"x"y\n
1|total of cases is too large|--weight=x|x,t\n1.7976931348623157e308,1
1|no training cases|--weight=x|x,t\n0,1\n
1|target 't': all cells are missing||x,t\n1,\n
1|target 't': the numbers differ too little|--regression --holdout=0|x,t\n1,1e-200\n2,2e-200
1|target 't': the numbers are too large|--regression --holdout=0|x,t\n1,1e300\n2,2e300\n3,4e300
1|target 't': a regression needs numbers|--regression|x,t\n1,a\n
1|cannot use 'nowhere'|--temp=nowhere
1|cannot read 'nowhere'|--config=nowhere
1|cannot write to 'no/where'|--model=no/where
2|dot: this is the input file|--dot=input
2|dot: this is the model|--dot=./other --model=other
2|weight: there is no column 'xy'; the nearest is 'x' (x, t)|--weight=xy|x,t\n
2|ignore: there is no column 'y'|--ignore=y|x,t
2|classes, regression: not both|--classes --regression
2|'input', line 2: unknown key 'dept'; the nearest is 'depth'|--config=input|seed=1\ndept=5
2|'input', line 1: not KEY=VALUE|--config=input|# depth\ndepth=5
2|'input', line 2: key depth has no value|--config=input|seed=1\ndepth=\nbins=9
2|'input', key memory: |--config=input|memory=1X
2|'input', key depth: the value ends in a carriage return|--config=input|depth=5\r\n
2|holdout: |--config=input|holdout=nan
2|memory: less than 16M|--memory=1M
2|'input', line 2: key depth again|--config=input|depth=5\ndepth=5
2|--delimiter|--delimiter=xy
END
{ echo t,bbb; yes 1,x | head -n 16380; printf 'x\ry,z,w\n'; } >input # y, ends the first block
refuse 1 "line 16382: 1 cells, not 2" --input input --target t
{ printf 't\nx\n'; yes | tr -d '\n' | head -c 1100000; printf '\nx\n'; } >input
refuse 1 "line 3: a cell of more than 1 MiB" --input input --target t
{ printf 't\n"'; yes x | head -n 600000; } >input && refuse 1 "a cell of more than 1 MiB" --input input --target t
refuse 1 "memory: 2000 columns need at least 32M" --input wide.csv --target t --memory 16M
refuse 1 "cannot open 'nowhere': No such file or directory" predict --model nowhere --input input
refuse 1 "cannot read 'sub': Is a directory" predict --model sub --input input
limit='-f 8' refuse 1 "(temporary files under 'temp')" --input noise.csv --target t
out=/dev/full refuse 1 "cannot write to standard output: No space left on device" "${sample[@]}"
refuse 1 "cannot write to '/dev/full': No space left on device" "${sample[@]}" --model /dev/full
(echo other >"again.$BASHPID.part"; TMPDIR=temp exec "$program" "${sample[@]}" --model again) >out 2>err
[[ $? == 1 && $(cat again.*.part) == other ]] || fail "a part of another: $(<err)"
exit "$failed"
