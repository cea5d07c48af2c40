#!/usr/bin/env python3
"""Prints each benchmark beside its baseline as a ratio (ours / baseline).

Benchmarks are named BM_<Operation><<Implementation>>/<size>, and BASELINE
says which implementation each one is measured against.

    build/dev/bench/vex_bench --benchmark_format=csv | bench/ratios.py
"""
import csv
import re
import sys

BASELINE = {'RbTreeMap': 'StdMap', 'HashMap2018': 'StdUnorderedMap'}

times = {}
for row in csv.DictReader(l for l in sys.stdin if not l.startswith('#')):
    m = re.match(r'BM_(\w+)<(\w+)>/(\d+)', row.get('name', ''))
    if m and row.get('real_time'):
        times[m.groups()] = float(row['real_time'])

for (op, impl, size), t in times.items():
    base = times.get((op, BASELINE.get(impl), size))
    if base:
        print(f'{impl:>12} {op:<7} {size:>8}: {t / base:5.2f}x of {BASELINE[impl]}')
