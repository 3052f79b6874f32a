#!/usr/bin/env python3
"""Reads the CSV file written by GraphDataFile.CsvForAnOutsideReader with Python's csv module and checks
every value: series of 10, 5 and 7 elements, where a shorter series writes nothing in later lines and
the columns after it move left."""
import csv
import sys

with open(sys.argv[1], newline="") as f:
    rows = list(csv.reader(f))

names = rows[0]
assert names == ["Index", "Mono8", "B12_POL_090", "Data_2"], names
series = [[1000 + e for e in range(10)], [2000 + e for e in range(5)], [4000000000 + e for e in range(7)]]
assert len(rows) == 1 + 10, len(rows)
for i, row in enumerate(rows[1:]):
    expected = [i] + [s[i] for s in series if len(s) > i]
    assert [int(v) for v in row] == expected, (i, row, expected)
print("graph data CSV: %d lines as written" % len(rows))
