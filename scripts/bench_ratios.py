#!/usr/bin/env python3
"""Prints median times and the ratio of velacore to each peer from Google Benchmark JSON.

Benchmark names follow BM_<case>_<implementation>[/args...]; the implementation "vela" is ours,
every other implementation of the same case and arguments is a peer. A ratio below 1 means
velacore is faster.
"""
import json
import sys
from collections import defaultdict


def split(name):
    base, _, args = name.partition("/")
    case, _, impl = base.rpartition("_")
    return case, impl, args


def main(path):
    with open(path) as f:
        data = json.load(f)
    medians = {}
    for b in data["benchmarks"]:
        if b.get("aggregate_name", "median") != "median" or b.get("run_type") == "iteration" and any(
                x.get("aggregate_name") == "median" for x in data["benchmarks"]):
            continue
        name = b.get("run_name", b["name"])
        medians[name] = b["real_time"], b["time_unit"]
    groups = defaultdict(dict)
    for name, value in medians.items():
        case, impl, args = split(name)
        groups[(case, args)][impl] = value
    for (case, args), impls in sorted(groups.items()):
        label = case + ("/" + args if args else "")
        ours = impls.get("vela")
        times = ", ".join(f"{impl} {t:.3g} {unit}" for impl, (t, unit) in sorted(impls.items()))
        print(f"  {label}: {times}")
        if ours:
            for impl, (t, _) in sorted(impls.items()):
                if impl != "vela" and t > 0:
                    print(f"      vela/{impl} = {ours[0] / t:.2f}")


if __name__ == "__main__":
    for p in sys.argv[1:]:
        main(p)
