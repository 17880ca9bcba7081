#!/usr/bin/env python3
# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0

"""Checks the trees of qxtree by brute force: qxtree_model.py PROGRAM COUNT SEED

PROGRAM grows a tree on each of COUNT small random tables, by the seeds from SEED on. The model file is
checked node by node in exact fractions: cases, the gain beside that of every other split, leaves. So
are the cuts, the last line of the report and the predictions.
"""
import collections
import csv
import datetime
import decimal
import io
import json
import math
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile
from fractions import Fraction

Column = collections.namedtuple("Column", "name kind cells values options")
START = datetime.datetime(1582, 10, 14)
MISSING = ("", "", "NA", "NaN", "nan", "null", "?")


def make_cell(rng, form, style, row):
    if form in ("number", "junk"):
        low, high, decimals = ((0, 4, 0), (-2, 2, 1), (0, 1e4, 6), (1e6, 1e6 + 0.05, 3), (-9, 9, 0))[style]
        number = rng.uniform(low, high)
        text = f"{10 ** number:.3g}" if style == 4 else f"{number:.{decimals}f}"
        forms = (text, text, f" {text} ", "+" + text.lstrip("-"), re.sub(r"\b0\.(?=\d)", ".", text))
        return "junk" if form == "junk" and rng.random() < 0.2 else rng.choice(forms)
    if form == "date":
        seconds = rng.randrange((86400, 10**7, 10**8, 10**9, 10**10)[style])
        time = datetime.datetime(1975, 12, 30) + datetime.timedelta(seconds=seconds)
        return time.isoformat(rng.choice("T "))[: rng.choice((10, 19)) if style else 19]
    code = str(row if form == "name" else int(rng.uniform(0, style + 1) ** 2))
    return code if form == "code" else rng.choice(("c", "c", "c", "\u00e9, ")) + code


def value_of(kind, cell):
    if cell in MISSING or cell == "junk":
        return None
    if kind == "date":
        return (datetime.datetime.fromisoformat(cell) - START).total_seconds()
    return float(cell) if kind == "number" else cell


def make_column(rng, name, rows):
    form = rng.choice(("number", "number", "date", "text", "text", "junk", "code", "name"))
    style, missing = rng.randrange(5), rng.choice((0, 0.05, 0.4))
    cells = [make_cell(rng, form, style, row) for row in range(rows)]
    cells = [rng.choice(MISSING) if rng.random() < missing else cell for cell in cells]
    kind = {"number": "number", "junk": "number", "date": "date"}.get(form, "text")
    options = {"junk": [f"--number={name}"], "code": [f"--text={name}"]}.get(form, [])
    return Column(name, kind, cells, [value_of(kind, cell) for cell in cells], options)


def make_target(rng, columns, rows):
    """The cells of the target, which depends on some of the columns, and an option."""
    effects = [rng.uniform(0, rng.choice((0, 0.1, 0.5))) for _ in range(rows)]
    for column in rng.sample(columns, rng.randint(1, len(columns))):
        known = sorted({value for value in column.values if value is not None})
        rng.shuffle(known if column.kind == "text" else [])
        effect = {value: rank / len(known) for rank, value in enumerate(known)}
        effect[None], weight, power = rng.random(), rng.choice((0.2, 0.6, 1)), rng.choice((1, 1, 3))
        for row, value in enumerate(column.values):
            effects[row] += weight * effect[value] ** power
    effects = [effect / (max(effects) + 1e-9) for effect in effects]
    names = rng.choice((("a", "b"), ("10", "9"), ("x", "b", "\u00e9,"), ("1", "2", "10", "33"), (), ()))
    if names:
        cells = [names[int(effect * len(names))] for effect in effects]
    else:
        cells = [f"{math.floor(effect * 80) / 8 - 5:.3f}" for effect in effects]
    cells = [rng.choice(MISSING) if rng.random() < 0.03 else cell for cell in cells]
    return cells, rng.choice(([], ["--classes"])) if names else ["--regression"]


class Table:
    def __init__(self, seed):
        rng = random.Random(seed)
        rows, self.seed, self.depth = rng.randint(10, 120), rng.randint(1, 2**31 - 2), rng.randint(1, 5)
        self.min_cases, self.min_gain = rng.choice((0.5, 1, 2, 3, 5, 10)), rng.choice((0, 0, 0.01, 0.1))
        self.holdout = rng.choice((0, 0.3, 0.5))
        self.columns = [make_column(rng, f"x{index}", rows) for index in range(rng.randint(1, 5))]
        self.target, options = make_target(rng, self.columns, rows)
        self.is_regression = "--regression" in options
        self.options = sum((column.options for column in self.columns), ["--target=t"] + options)
        for key in ("depth", "min_cases", "min_gain", "holdout", "seed"):
            self.options.append(f"--{key.replace('_', '-')}={getattr(self, key)}")
        whole = all(cell.isdigit() for cell in self.target if cell not in MISSING)
        self.order = float if whole else str.encode  # of classes
        choices = (("1",), ("0", "1", "2", "7"), ("0.25", "1.5", "", "-1", "3"), ("1", "1000000"))
        choices = rng.choice(choices)
        weights = [rng.choice(choices) for _ in range(rows)]
        cells = [[column.name] + column.cells for column in self.columns]
        cells += [["t"] + self.target, ["w"] + weights]
        self.options += ["--weight=w" if len(choices) > 1 else "--ignore=w"]
        text = io.StringIO()
        csv.writer(text, lineterminator="\n").writerows(zip(*cells))
        self.text = text.getvalue()
        weights = [Fraction(weight or -1) for weight in weights]
        self.scale = 4  # makes all weights whole numbers; targets take 8
        self.weights = [int(weight * self.scale) for weight in weights]
        self.least = self.min_cases * self.scale
        usable = [row for row in range(rows) if weights[row] > 0 and self.target[row] not in MISSING]
        self.training = {row for row in usable if not self.is_held_out(row)}
        self.held_out = [row for row in usable if row not in self.training]
        self.y = {row: int(float(self.target[row]) * 8) if self.is_regression else 0 for row in usable}
        # A case's share of what a gain may be off by. Targets are taken from somewhere in their midst.
        self.rounding = Fraction(4 * max([y * y for y in self.y.values()], default=0), 10**10) or Fraction(1, 10**12)
        names = {self.target[row] for row in self.training if not self.is_regression}
        self.names = sorted(names, key=self.order)

    def is_held_out(self, row):
        # G. L. Steele, D. Lea, C. H. Flood, Fast splittable pseudorandom number generators, 2014.
        z = (self.seed + (row + 1) * 0x9E3779B97F4A7C15) % 2**64
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9 % 2**64
        z = (z ^ z >> 27) * 0x94D049BB133111EB % 2**64
        return ((z ^ z >> 31) >> 11) * 2.0**-53 < self.holdout

    def sums(self, rows):
        """The training cases by class, or they, times the target, times its square."""
        total = [0] * (3 if self.is_regression else len(self.names))
        for row in self.training.intersection(rows):
            weight, y = self.weights[row], self.y[row]
            if self.is_regression:
                total = plus(total, (weight, weight * y, weight * y * y))
            else:
                total[self.names.index(self.target[row])] += weight
        return total

    def cases(self, sums):
        return sums[0] if self.is_regression else sum(sums)

    def impurity(self, sums):
        cases = self.cases(sums)
        if self.is_regression:
            return sums[2] - Fraction(sums[1] ** 2, cases)
        return cases - Fraction(sum(count * count for count in sums), cases)

    def gain(self, node, left):
        """0 if a side has too few cases."""
        right = minus(node, left)
        if min(self.cases(left), self.cases(right)) < self.least:
            return 0
        return self.impurity(node) - self.impurity(left) - self.impurity(right)

    def best_gain(self, column, rows):
        """Of all splits of these rows by the column."""
        groups = collections.defaultdict(list)
        for row in rows:
            groups[column.values[row]].append(row)
        other = self.sums(groups.pop(None, []))
        is_text = column.kind == "text"
        groups = [self.sums(groups[value]) for value in sorted(groups, key=str.encode if is_text else None)]
        for group in [group for group in groups if is_text and self.cases(group) < self.least]:
            groups.remove(group)
            other = plus(other, group)
        left, node = [0] * len(other), self.sums(rows)
        lefts = [minus(node, other)]
        if is_text and len(self.names) > 2:
            lefts += groups
            groups = by_component(groups)
        elif is_text:
            groups.sort(key=lambda group: Fraction(group[1], self.cases(group)))
        for group in groups:
            left = plus(left, group)
            lefts.append(left)
        return max(self.gain(node, side) for left in lefts for side in (left, plus(left, other)))


def plus(a, b):
    return [x + y for x, y in zip(a, b)]


def minus(a, b):
    return [x - y for x, y in zip(a, b)]


def by_component(groups):
    """Sorts groups by the first principal component of the class shares. [] if there is no one."""
    shares = [[count / sum(group) for count in group] for group in groups]
    mean = [sum(counts) / sum(map(sum, groups)) for counts in zip(*groups)]
    weighted = [(sum(group), minus(share, mean)) for group, share in zip(groups, shares)]
    size = range(len(mean))
    matrix = [[sum(n * d[i] * d[j] for n, d in weighted) for j in size] for i in size]
    for _ in range(20):  # squares it: in the end the greatest eigenvalue alone remains
        trace = sum(row[i] for i, row in enumerate(matrix))
        if not trace > 1e-12:
            return []
        matrix = [[sum(a * b for a, b in zip(u, v)) / trace**2 for v in matrix] for u in matrix]
    trace = sum(row[i] for i, row in enumerate(matrix))
    if sum(x * x for row in matrix for x in row) < trace**2 * (1 - 1e-9):
        return []
    axis = max(matrix, key=lambda row: sum(x * x for x in row))
    scores = [round(sum(a * s for a, s in zip(axis, share)) / math.hypot(*axis), 12) for share in shares]
    return [group for _, group in sorted(zip(scores, groups), key=lambda pair: pair[0])]


class Checker:
    def __init__(self, table, model, report):
        self.table, self.nodes, self.report = table, model["nodes"], report
        self.columns, self.names = list(zip(model["columns"], table.columns)), model.get("classes", [])
        require(model["task"] == ("regression" if table.is_regression else "classification"), "task")
        require([name for name in self.names if name in table.names] == table.names, "classes")
        require(self.names == sorted(self.names, key=table.order), "order of classes")
        require(len(model["columns"]) == len(table.columns), "columns")
        for column, ours in self.columns:
            is_known = any(value is not None for value in ours.values)
            require(column["name"] == ours.name and column["kind"] == ours.kind or not is_known, ours.name)
        self.leaf_of = {}  # by row
        self.least = Fraction(table.min_gain) * table.impurity(table.sums(table.training))
        self.check_node(0, range(len(table.target)), 0)

    def goes_left(self, split, row):
        column, ours = self.columns[split["column"]]
        value, with_missing = ours.values[row], split["missing"] == "left"
        if value is None or (ours.kind == "text" and value not in column["categories"]):
            return with_missing
        if "cut" in split:
            return value <= split["cut"]
        named = "present" in split or column["categories"].index(value) in split["categories"]
        return with_missing != named

    def check_node(self, index, rows, depth):
        table, node, place = self.table, self.nodes[index], f"node {index}: "
        sums = table.sums(rows)
        cases, impurity = table.cases(sums), table.impurity(sums)
        scale = table.scale * 64 if table.is_regression else table.scale
        near = table.rounding * cases
        if table.is_regression:
            same(place + "cases", node["cases"], cases / table.scale)
            same(place + "mean", node["mean"], sums[1] / cases / 8, 1e-7, 1e-7)
            deviation = math.sqrt(impurity / cases) / 8
            same(place + "deviation", node["deviation"], deviation, 1e-6, math.sqrt(table.rounding) / 8)
        else:
            counts = dict(zip(table.names, sums))
            for name, count in zip(self.names, node["cases"]):
                same(place + "cases of " + name, count, counts.get(name, 0) / table.scale)
        is_leaf = depth == table.depth or impurity == 0 or cases < 2 * table.least
        training = sorted(table.training.intersection(rows))
        gains = [0 if is_leaf else table.best_gain(column, training) for column in table.columns]
        best = max(gains)
        if "split" not in node:
            require(best <= max(near, self.least + near), f"{place}no split, gain {float(best / scale)}")
            self.leaf_of.update(dict.fromkeys(rows, node))
            return
        split = node["split"]
        left = [row for row in rows if self.goes_left(split, row)]
        gain = table.gain(sums, table.sums(left))
        require(not is_leaf and gain > 0 and gain >= self.least - near, place + "a split")
        same(place + "gain", node["gain"], gain / scale, 1e-9, near / scale)
        if table.is_regression or len(table.names) == 2:
            require(gain <= best, place + "no candidate")
            is_first = split["column"] <= gains.index(best) or best <= near
            require(is_first, place + "not the first column")
        require(gain >= best - near, f"{place}gain {node['gain']} and not {float(best / scale)}")
        self.check_split(place, split, training)
        require(node["right"] == node["left"] + 1, place + "children")
        self.check_node(node["left"], left, depth + 1)
        self.check_node(node["right"], sorted(set(rows).difference(left)), depth + 1)

    def check_split(self, place, split, training):
        """The categories that it names, or its cut and how that is printed."""
        column, ours = self.columns[split["column"]]
        for name in [column["categories"][index] for index in split.get("categories", [])]:
            sums = self.table.sums(row for row in training if ours.values[row] == name)
            require(self.table.cases(sums) >= self.table.least, f"{place}{name} moves on its own")
        if "cut" not in split:
            return
        cut, known = split["cut"], {ours.values[row] for row in self.table.training} - {None}
        low, high = max(v for v in known if v <= cut), min(v for v in known if v > cut)
        for other in (shorter_dates if ours.kind == "date" else shorter_numbers)(cut, low):
            require(other >= high, f"{place}{cut} and not {other} from {low} to {high}")
        rules = re.findall(rf"^ *{ours.name} <= (.+?)(?: or missing)?(?:: | => )", self.report, re.MULTILINE)
        is_printed = split["text"] in rules if ours.kind == "date" else cut in map(float, rules)
        require(is_printed, f"{place}{cut} is not printed")

    def check_result(self):
        """The last line of the report."""
        table, line = self.table, self.report.rstrip().split("\n")[-1]
        weights = [table.weights[row] / table.scale for row in table.held_out]
        cases = sum(weights)
        mean = lambda values: sum(w * value for w, value in zip(weights, values)) / cases
        if not table.held_out:
            return require("unknown (no held-out cases)" in line, line)
        if table.is_regression:
            y = [float(table.target[row]) for row in table.held_out]
            error = mean([(self.leaf_of[row]["mean"] - v) ** 2 for row, v in zip(table.held_out, y)])
            center = mean(y)
            variance = mean([(v - center) ** 2 for v in y])
            expected = [math.sqrt(error)] + [1 - error / (variance or 1)] * (variance > 0) + [cases]
        else:
            right = [table.target[row] == self.guess(self.leaf_of[row]) for row in table.held_out]
            root = [table.target[row] == self.guess(self.nodes[0]) for row in table.held_out]
            expected = [mean(right), mean(right) * cases, cases, mean(root)]
        numbers = re.findall(r"-?[\d.]+(?:e[+-]\d+)?", line)
        require(len(numbers) == len(expected), line)
        for number, ours in zip(numbers, expected):
            same(line, float(number), ours, 1e-5, 6e-5)

    def guess(self, node):
        return self.names[node["cases"].index(max(node["cases"]))]

    def check_predictions(self, lines):
        head = ["prediction"] if self.table.is_regression else ["prediction", "probability"]
        require(lines[0] == head and len(lines) == len(self.table.target) + 1, f"predictions: {lines[0]}")
        for row, line in enumerate(lines[1:]):
            leaf, number = self.leaf_of[row], float(line[-1])
            if self.table.is_regression:
                same(f"prediction of row {row}", number, leaf["mean"])
            else:
                require(line[0] == self.guess(leaf), f"row {row}: {line[0]}")
                same(f"probability of row {row}", number, max(leaf["cases"]) / sum(leaf["cases"]), 1e-5)


def require(is_right, what):
    if not is_right:
        raise ValueError(what)


def same(what, theirs, ours, share=1e-9, apart=1e-12):
    is_close = math.isclose(theirs, ours, rel_tol=share, abs_tol=apart)
    require(is_close, f"{what}: {theirs} and not {float(ours)}")


def shorter_numbers(cut, low):
    """The least number that is not below `low`, of each fewer digits than `cut` has."""
    for digits in range(1, len(decimal.Decimal(repr(cut)).normalize().as_tuple().digits)):
        yield float(decimal.Context(prec=digits, rounding=decimal.ROUND_CEILING).create_decimal(repr(low)))


def shorter_dates(cut, low):
    """The first start of each coarser span of time that is not before `low`."""
    cut, low = (START + datetime.timedelta(seconds=value) for value in (cut, low))
    for fields, days in enumerate((366, 31, 1, 1 / 24, 1 / 1440), 1):
        start = lambda time: datetime.datetime(*time.timetuple()[:fields], *(1, 1, 0, 0, 0)[fields - 1 :])
        if start(cut) == cut:
            return
        after = start(start(low) + datetime.timedelta(days=days))
        yield ((low if start(low) == low else after) - START).total_seconds()


def check(program, seed, folder):
    table = Table(seed)
    data, model = folder / "data.csv", folder / "model.json"
    data.write_text(table.text)
    command = [program, "--input", data, "--model", model, *table.options]
    environment = dict(os.environ, TMPDIR=str(folder), LC_ALL="C.UTF-8")
    run = lambda command: subprocess.run(command, env=environment, capture_output=True, text=True)
    try:
        grown = run(command)
        require((grown.returncode == 0) == bool(table.training), grown.stderr)
        if not table.training:
            return
        checker = Checker(table, json.loads(model.read_text()), grown.stdout)
        checker.check_result()
        predicted = run([program, "predict", "--model", model, "--input", data])
        require(predicted.returncode == 0, predicted.stderr)
        checker.check_predictions(list(csv.reader(io.StringIO(predicted.stdout))))
    except (LookupError, ValueError) as error:
        sys.exit(f"{table.text}\nseed {seed}: {' '.join(map(str, command))}\n{error!r}")


if __name__ == "__main__":
    _, qxtree, count, first = sys.argv
    with tempfile.TemporaryDirectory() as temp:
        for each in range(int(first), int(first) + int(count)):
            check(qxtree, each, pathlib.Path(temp))
