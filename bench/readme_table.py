#!/usr/bin/env python3
"""Prints the README's benchmark table from two runs of the benchmark program:

    ecckey_bench --benchmark_out=timing.json --benchmark_out_format=json \
        --benchmark_repetitions=3                                 # Release build
    ecckey_bench --benchmark_out=counting.json --benchmark_out_format=json
                                                                  # -DECCKEY_COUNT_FIELD_MULS=ON
    bench/readme_table.py timing.json counting.json

Times come from the first file only (the counting build is slower); the second gives the
field multiplications per operation. The share column is that count times the measured time
of one field multiplication, divided by the operation's time.
"""
import json
import sys

CURVES = ["secp256r1", "secp384r1", "secp521r1", "secp256k1",
          "brainpoolP256r1", "brainpoolP384r1", "brainpoolP512r1"]
OPERATIONS = [("keygen", "key generation"), ("sign", "sign (DER)"), ("verify", "verify"), ("ecdh", "ECDH")]
PEERS = ["openssl", "libtomcrypt", "libsecp256k1"]


def to_us(b):
    scale = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}[b["time_unit"]]
    return b["cpu_time"] * scale


def index(path):
    """(library, operation, curve) -> benchmark record."""
    out = {}
    for b in json.load(open(path))["benchmarks"]:
        # With --benchmark_repetitions the median stands for the operation (it comes after
        # the single runs, so it replaces them).
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
            continue
        parts = b["name"].split("/")[0].split("_")  # BM_<library>_<operation>
        if len(parts) < 3 or parts[0] != "BM":
            continue
        library, operation = parts[1], "_".join(parts[2:])
        curve = b.get("label") or ("secp256k1" if library == "libsecp256k1" else "")
        out[(library, operation, curve)] = b
    return out


def fmt(v):
    return f"{v:.0f}" if v >= 100 else f"{v:.1f}" if v >= 10 else f"{v:.2f}"


def main():
    timing = index(sys.argv[1])
    counting = index(sys.argv[2]) if len(sys.argv) > 2 else {}
    print("| curve | operation | ecckey µs | ops/s | field mults | share of time in field mults "
          "| OpenSSL µs | × | libtomcrypt µs | × | libsecp256k1 µs | × |")
    print("|---|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|")
    for curve in CURVES:
        fieldmul = timing.get(("ecckey", "fieldmul", curve))
        for op, title in OPERATIONS:
            ours = timing.get(("ecckey", op, curve))
            if ours is None:
                continue
            us = to_us(ours)
            row = [curve, title, fmt(us), f"{1e6 / us:.0f}"]
            counted = counting.get(("ecckey", op, curve), {}).get("fmul")
            if counted and fieldmul:
                row += [f"{counted:.0f}", f"{counted * to_us(fieldmul) / us:.0%}"]
            else:
                row += ["", ""]
            for peer in PEERS:
                theirs = timing.get((peer, op, curve))
                row += [fmt(to_us(theirs)), f"{to_us(theirs) / us:.2f}"] if theirs else ["", ""]
            print("| " + " | ".join(row) + " |")
    units = [f"{c} {to_us(timing[('ecckey', 'fieldmul', c)]) * 1e3:.0f}"
             for c in CURVES if ("ecckey", "fieldmul", c) in timing]
    print()
    print("One field multiplication (Montgomery product; for secp256k1 the four-limb field's product), ns: "
          + ", ".join(units) + ".")


if __name__ == "__main__":
    main()
