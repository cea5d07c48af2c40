#!/usr/bin/env python3
"""Writes N distinct IPv4 flowspec rules in the rule-file syntax of
`flowspec check`, for measuring the tool and the library at scale.

    bench/gen-rules.py 1000000 > /tmp/rules-1m.txt
    bench/gen-rules.py 200000 --seed 7 > /tmp/rules-200k.txt

Each rule: a destination /24, a source /16, a protocol (TCP, or TCP or UDP: the TCP flags make both TCP),
a destination port range or port 80, TCP flags, a packet-length range;
action drop. Rules are distinct by construction (the destination /24 is the
rule number), and the other fields are drawn from a seeded generator, so a
given N and seed always give the same file.
"""
import argparse
import random
import sys


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("count", type=int, help="number of rules (at most 16 777 216)")
    ap.add_argument("--seed", type=int, default=1, help="seed of the field draws")
    args = ap.parse_args()
    if not 0 <= args.count <= 1 << 24:
        ap.error("count must be between 0 and 16777216")
    rng = random.Random(args.seed)
    out = sys.stdout
    lines = []
    for n in range(args.count):
        # Rule n owns the n-th /24 from 1.0.0.0 up.
        dest = (1 << 24) + n * 256
        dst = f"{dest >> 24}.{dest >> 16 & 255}.{dest >> 8 & 255}.0/24"
        src = f"172.{16 + rng.randrange(16)}.0.0/16"
        proto = rng.choice(("=6", "=6|=17"))
        if rng.randrange(2):
            low = rng.randrange(1024, 60000)
            port = f"DP:>={low}&<={low + rng.randrange(1, 5000)}"
        else:
            port = "DP:=80"
        flags = rng.choice(("TCP:=2&!=16", "TCP:=4", "TCP:!63", "TCP:=0x29"))
        low = rng.randrange(20, 800)
        length = f"LEN:>={low}&<={low + rng.randrange(1, 700)}"
        lines.append(f"vrf default ipv4 {dst};{src};IP:{proto};{port};{flags};{length}; drop\n")
        if len(lines) == 10000:
            out.writelines(lines)
            lines.clear()
    out.writelines(lines)


if __name__ == "__main__":
    main()
