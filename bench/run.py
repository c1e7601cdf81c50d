#!/usr/bin/env python3
"""Runs the benchmarks of a build and reports.

usage: bench/run.py BUILD_DIR [--quick] [--filter REGEX]

Prints a table and leaves benchmarks.json in BUILD_DIR/bench. A full run also
measures the size of the library and writes docs/benchmarks.md and .svg anew.
"""
import argparse
import json
import pathlib
import subprocess
import sys

import footprint
import report

DOCS = pathlib.Path(__file__).parent.parent / "docs"


def run_benchmarks(build_dir, options, repetitions, seconds):
    """Runs them interleaved and answers what they report."""
    output = build_dir / "bench" / "benchmarks.json"
    done = subprocess.run(
        [
            build_dir / "bench" / "streams_bench",
            f"--benchmark_filter={options.filter}",
            "--benchmark_enable_random_interleaving=true",
            f"--benchmark_repetitions={repetitions}",
            f"--benchmark_min_time={seconds}",
            "--benchmark_report_aggregates_only=true",
            f"--benchmark_out={output}",
            "--benchmark_out_format=json",
        ],
        stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
    )
    if done.returncode != 0:
        raise SystemExit(done.stderr)
    return json.loads(output.read_text())


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build_dir", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true",
                        help="under two minutes; leaves docs alone")
    parser.add_argument("--filter", default=".", metavar="REGEX",
                        help="only these cases; leaves docs alone")
    options = parser.parse_args()

    if options.quick:
        results = run_benchmarks(options.build_dir, options, 9, 0.02)
    else:
        results = run_benchmarks(options.build_dir, options, 9, 0.1)
    rows, threads = report.read(results)
    print(report.text_table(rows))
    print(report.text_threads(threads))
    if not options.quick and options.filter == ".":
        report.write_page(DOCS, results, rows, threads,
                          footprint.measure(options.build_dir))
    return 0


if __name__ == "__main__":
    sys.exit(main())
