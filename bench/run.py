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


# A process that ever had a second thread pays for it: allocations and the
# counters of shared texts become atomic for good. So those that start threads
# run in a process of their own.
ALL = ["-^threads", "^threads"]


def run_benchmarks(build_dir, filters, repetitions, seconds):
    """Runs them interleaved, a process for each filter, and answers what they
    report."""
    results = None
    output = build_dir / "bench" / "benchmarks.json"
    for chosen in filters:
        done = subprocess.run(
            [
                build_dir / "bench" / "streams_bench",
                f"--benchmark_filter={chosen}",
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
        part = json.loads(output.read_text())
        if results:
            results["benchmarks"] += part["benchmarks"]
        else:
            results = part
    output.write_text(json.dumps(results, indent=1))
    return results


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build_dir", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true",
                        help="under two minutes; leaves docs alone")
    parser.add_argument("--filter", metavar="REGEX",
                        help="only these cases; leaves docs alone")
    options = parser.parse_args()

    filters = [options.filter] if options.filter else ALL
    results = run_benchmarks(options.build_dir, filters, 9,
                             0.02 if options.quick else 0.1)
    rows, threads = report.read(results)
    print(report.text_table(rows))
    print(report.text_threads(threads))
    if not options.quick and not options.filter:
        report.write_page(DOCS, results, rows, threads,
                          footprint.measure(options.build_dir))
    return 0


if __name__ == "__main__":
    sys.exit(main())
