#!/usr/bin/env python3
"""Prints each benchmark beside its baseline as a ratio (ours / baseline).

Benchmarks are named BM_<Operation><<Implementation>>[/<size>], and BASELINE
says which implementation each one is measured against: the benchmark of the
same operation and size with the baseline implementation. Items per second,
and megabytes (10^6 bytes) per second, are shown where the benchmark reports
them.

    build/dev/bench/vex_bench --benchmark_format=csv | bench/ratios.py
    build/dev/bench/key_bench --benchmark_format=csv | bench/ratios.py
    build/dev/bench/log_bench --benchmark_format=csv | bench/ratios.py
    build/dev/bench/status_bench --benchmark_format=csv | bench/ratios.py
"""
import csv
import re
import sys

BASELINE = {
    # vex_bench: the intrusive collections against the standard ones.
    'RbTreeMap': 'StdMap',
    'HashMap2018': 'StdUnorderedMap',
    # key_bench: the rule key against a flat copy of it, its text forms
    # against copying the text and reading its numbers, and collections of
    # keys.
    'Key': 'Flat',
    'Parse': 'Stoul',
    'Print': 'Stoul',
    'KeyRbTreeMap': 'KeyStdMap',
    'KeyHashMap2018': 'KeyStdUnorderedMap',
    # log_bench: writing and reading keys through the attribute log against
    # a memcpy of the same bytes.
    'KeyLog': 'Memcpy',
    # status_bench: counter snapshots against std::unordered_map (bare, and
    # with one observer told of each change against a virtual call), and
    # the rule statuses of a VRF against std::map of shared pointers.
    'Counter': 'StdUnorderedMap',
    'CounterObserved': 'StdUnorderedMapObserved',
    'VrfRuleStatus': 'StdMapShared',
}

# The CSV starts at its "name," header; a --benchmark_out file has the run's
# context above it.
lines = sys.stdin.readlines()
start = next((i for i, l in enumerate(lines) if l.startswith('name,')), len(lines))
rows = {}
for row in csv.DictReader(lines[start:]):
    m = re.match(r'BM_(\w+)<(\w+)>(?:/(\d+))?', row.get('name', ''))
    if m and row.get('real_time'):
        rows[m.groups()] = row

for (op, impl, size), row in rows.items():
    base = rows.get((op, BASELINE.get(impl), size))
    if base:
        ratio = float(row['real_time']) / float(base['real_time'])
        rate = row.get('items_per_second')
        rate = f'  {float(rate):12,.0f} items/s' if rate else ''
        bytes_rate = row.get('bytes_per_second')
        if bytes_rate:
            rate += f'  {float(bytes_rate) / 1e6:10,.1f} MB/s'
        print(f'{impl:>14} {op:<10} {size or "":>8}: {ratio:5.2f}x of {BASELINE[impl]}{rate}')
