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
    build/dev/bench/wire_bench --benchmark_format=csv | bench/ratios.py
    build/dev/bench/pipeline_bench --benchmark_format=csv | bench/ratios.py

or all of them at once with bench/report. Each line ends with the figure's
goal (GOALS below) and whether it was met; --fail-on-miss exits 1 when one
was not.
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
    # wire_bench: the NLRI codec against a memcpy of the same bytes, and
    # rule precedence against the key's own order.
    'Nlri': 'Memcpy',
    'Precedence': 'KeyLess',
    # pipeline_bench: the whole path of a rule (read, configure, program,
    # status, counter) against parsing its key alone.
    'Whole': 'KeyOnly',
}

# What each figure should reach: ('x', n), a ratio to its baseline of at
# most n; ('items/s', n) or ('MB/s', n), a rate of at least n; (COUNTER,
# n), a counter the benchmark reports itself (treeBytesPerRule) of at most
# n; a list of such goals, all to be met; or a text: a
# ratio above 1.5x that is the known price of a design decision, explained
# with its profile in bench/README.md. Keyed by (implementation, operation),
# or by (implementation, None) for every operation of that implementation;
# a figure with neither is held to DEFAULT_GOAL.
GOALS = {
    ('RbTreeMap', None): ('x', 1.3),
    ('HashMap2018', 'Find'): ('x', 1.0),
    ('HashMap2018', 'Walk'): 'known: the walk follows the content-fixed order',
    ('Key', 'LessV4'): 'known: an IPv4 prefix compares as 16 bytes',
    ('Key', 'LessV6'): 'known: prefixes compare as IpGenPrefix, pairs through a pointer',
    ('Key', 'CompareV4'): 'known: prefixes compare as IpGenPrefix, pairs through a pointer',
    ('Key', 'CompareV6'): 'known: prefixes compare as IpGenPrefix, pairs through a pointer',
    ('Parse', 'Text'): ('items/s', 1e6),
    ('Print', 'Text'): ('items/s', 2e6),
    ('KeyLog', None): ('MB/s', 200),
    ('KeyRbTreeMap', None): ('x', 1.3),
    ('KeyHashMap2018', 'Find'): ('x', 1.0),
    # At most 250 ns a rule to decode, 100 ns to encode (GoBGP: about 2 us).
    ('Nlri', 'Decode'): ('items/s', 4e6),
    ('Nlri', 'DecodeKeep'): ('items/s', 4e6),
    ('Nlri', 'Encode'): ('items/s', 1e7),
    ('Precedence', 'CompareLists'): 'known: both keys regrouped as the wire orders them',
    # At most 5 us and 1 KiB of heap a rule, read from text to hardware.
    ('Whole', 'Pipeline'): [('items/s', 2e5), ('treeBytesPerRule', 1024)],
}
DEFAULT_GOAL = ('x', 1.5)


def goal_of(impl, op):
    for key in ((impl, op), (impl, None)):
        if key in GOALS:
            return GOALS[key]
    return DEFAULT_GOAL


def judge(goal, ratio, items, megabytes, row):
    """The goal as text and whether the figure meets it (a known price
    always does)."""
    if isinstance(goal, str):
        return goal, True
    if isinstance(goal, list):
        judged = [judge(g, ratio, items, megabytes, row) for g in goal]
        return ', '.join(t for t, _ in judged), all(m for _, m in judged)
    kind, n = goal
    if kind not in ('x', 'items/s', 'MB/s'):
        # A counter of the benchmark's own, at most n.
        value = float(row[kind]) if row.get(kind) else None
        return f'{kind} <= {n:,.0f} (is {value:,.0f})', value is not None and value <= n
    if kind == 'x':
        return f'goal <= {n:.2f}x', ratio <= n
    value = items if kind == 'items/s' else megabytes
    return f'goal >= {n:,.0f} {kind}', value is not None and value >= n


# The CSV starts at its "name," header; a --benchmark_out file has the run's
# context above it.
lines = sys.stdin.readlines()
start = next((i for i, l in enumerate(lines) if l.startswith('name,')), len(lines))
rows = {}
missed = 0
for row in csv.DictReader(lines[start:]):
    if row.get('error_occurred') == 'true':
        print(f'{row["name"]}: ERROR {row.get("error_message", "")}')
        missed += 1
        continue
    m = re.match(r'BM_(\w+)<(\w+)>(?:/(\d+))?', row.get('name', ''))
    if m and row.get('real_time'):
        rows[m.groups()] = row

for (op, impl, size), row in rows.items():
    base = rows.get((op, BASELINE.get(impl), size))
    if base:
        ratio = float(row['real_time']) / float(base['real_time'])
        items = float(row['items_per_second']) if row.get('items_per_second') else None
        megabytes = (float(row['bytes_per_second']) / 1e6
                     if row.get('bytes_per_second') else None)
        rate = f'  {items:12,.0f} items/s' if items is not None else ''
        if megabytes is not None:
            rate += f'  {megabytes:10,.1f} MB/s'
        goal, met = judge(goal_of(impl, op), ratio, items, megabytes, row)
        missed += not met
        verdict = '' if isinstance(goal_of(impl, op), str) else (': met' if met else ': MISSED')
        print(f'{impl:>14} {op:<10} {size or "":>8}: {ratio:5.2f}x of {BASELINE[impl]}{rate}'
              f'  [{goal}{verdict}]')
sys.exit(1 if missed and '--fail-on-miss' in sys.argv else 0)
