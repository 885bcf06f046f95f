#!/usr/bin/env python3
"""Prints median times and the ratio of velacore to each peer from Google Benchmark JSON.

Benchmark names follow BM_<case>_<implementation>[/args...]; the implementation "vela" is ours,
every other implementation of the same case and arguments is a peer. A ratio below 1 means
velacore is faster.

Times are CPU time, which a busy machine distorts less than wall time; benchmarks that ask for
wall time (their names end in /real_time) are compared by it. User counters (bytes per entry,
path lengths, ...) are printed with their ratios too.
"""
import json
import sys
from collections import defaultdict


# Fields of a run that are not user counters.
STANDARD = {"name", "family_index", "per_family_instance_index", "run_name", "run_type",
            "repetitions", "repetition_index", "threads", "iterations", "real_time", "cpu_time",
            "time_unit", "aggregate_name", "aggregate_unit", "items_per_second",
            "bytes_per_second", "label", "error_occurred", "error_message"}


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
        key = "real_time" if "/real_time" in name else "cpu_time"
        counters = {k: v for k, v in b.items() if k not in STANDARD and isinstance(v, (int, float))}
        medians[name] = b[key], b["time_unit"], counters
    groups = defaultdict(dict)
    for name, value in medians.items():
        case, impl, args = split(name)
        groups[(case, args)][impl] = value
    for (case, args), impls in sorted(groups.items()):
        label = case + ("/" + args if args else "")
        ours = impls.get("vela")
        times = ", ".join(f"{impl} {t:.3g} {unit}" for impl, (t, unit, _) in sorted(impls.items()))
        print(f"  {label}: {times}")
        for impl, (_, _, counters) in sorted(impls.items()):
            for counter, value in sorted(counters.items()):
                print(f"      {impl} {counter} = {value:.4g}")
        if ours:
            for impl, (t, _, counters) in sorted(impls.items()):
                if impl == "vela":
                    continue
                if t > 0:
                    print(f"      vela/{impl} = {ours[0] / t:.2f}")
                for counter, value in sorted(counters.items()):
                    if value and counter in ours[2]:
                        print(f"      vela/{impl} {counter} = {ours[2][counter] / value:.2f}")


if __name__ == "__main__":
    for p in sys.argv[1:]:
        main(p)
