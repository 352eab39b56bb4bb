"""Prints sigflow-to-peer ratios from a Google Benchmark JSON file and peer JSON lines.

A work item W is measured by BM_W_sigflow; every other BM_W_<peer> (from the same binary
or from a peer script's {"name": ..., "items_per_second": ...} lines) is its peer.
Ratio > 1 means sigflow is faster.
"""
import json
import sys
from collections import defaultdict


def main(bench_json, peers_jsonl):
    rates = {}
    with open(bench_json) as f:
        for b in json.load(f)["benchmarks"]:
            if b.get("run_type", "iteration") != "iteration":
                continue
            ips = b.get("items_per_second")
            if ips:
                rates[b["name"]] = ips
    with open(peers_jsonl) as f:
        for line in f:
            line = line.strip()
            if line:
                rec = json.loads(line)
                rates[rec["name"]] = rec["items_per_second"]

    works = defaultdict(dict)
    for name, ips in rates.items():
        head, slash, args = name.partition("/")  # BM_Work_who/arg1/arg2
        base, _, who = head.rpartition("_")
        works[base + slash + args][who] = ips
    print(f"{'work':34} {'peer':10} {'sigflow items/s':>16} {'peer items/s':>14} {'ratio':>8}")
    for base in sorted(works):
        own = works[base].get("sigflow")
        for who, ips in sorted(works[base].items()):
            if who == "sigflow":
                continue
            ratio = f"{own / ips:8.2f}" if own else "     n/a"
            own_s = f"{own:16.4g}" if own else f"{'-':>16}"
            print(f"{base[3:] if base.startswith('BM_') else base:34} {who:10} {own_s} {ips:14.4g} {ratio}")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
