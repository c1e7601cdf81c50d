#!/usr/bin/env python3
"""Runs the benchmarks of a build and reports the results.

usage: bench/run.py BUILD_DIR [--quick] [--filter REGEX] [--page]

Prints a table and writes benchmarks.json to BUILD_DIR/bench. A full run also
measures the size of the library and updates docs/benchmarks.md and .svg; --page
does that from the last run of all cases, without timing anything.
"""
import argparse
import json
import pathlib
import subprocess
import sys
import time

import footprint
import report

DOCS = pathlib.Path(__file__).parent.parent / "docs"

# Once a process has had a second thread, allocations and the counters of shared
# texts use atomic instructions. So the cases that start threads run in a
# separate process.
ALL = ["-^threads", "^threads"]


def sweep(program, number, chosen, seconds, output):
    """Times each of the chosen cases once, in a separate process."""
    done = subprocess.run(
        [
            program,
            f"--sweep={number}",
            f"--benchmark_filter={chosen}",
            f"--benchmark_min_time={seconds}",
            f"--benchmark_out={output}",
            "--benchmark_out_format=json",
        ],
        stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
    )
    if done.returncode != 0:
        raise SystemExit(done.stderr)
    return json.loads(output.read_text())


def run_benchmarks(build_dir, filters, sweeps, seconds):
    """Runs several sweeps through all cases.

    Within a sweep the libraries of a case are timed one after the other, so
    that a temporary slowdown of the machine affects all of them; only times of
    the same sweep are compared. Each sweep is a separate process, because the
    memory layout of a process affects all of its times.
    """
    program = build_dir / "bench" / "streams_bench"
    output = build_dir / "bench" / "sweep.json"
    results = {"benchmarks": []}
    for number in range(sweeps):
        for chosen in filters:
            part = sweep(program, number, chosen, seconds, output)
            results.setdefault("context", part["context"])
            for bench in part["benchmarks"]:
                results["benchmarks"].append({**bench, "sweep": number})
        if sys.stderr.isatty():
            print(f"\r{number + 1} of {sweeps} sweeps", end="",
                  file=sys.stderr, flush=True)
    if sys.stderr.isatty():
        print(file=sys.stderr)
    output.unlink()
    return results


def list_goals(build_dir):
    """The cases in order: name, and factor and reference of the goal."""
    lines = subprocess.run([build_dir / "bench" / "streams_bench", "--list"],
                           check=True, text=True, stdout=subprocess.PIPE)
    return [line.split("|") for line in lines.stdout.splitlines()]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build_dir", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true",
                        help="under two minutes; leaves docs alone")
    parser.add_argument("--filter", metavar="REGEX",
                        help="only these cases; leaves docs alone")
    parser.add_argument("--page", action="store_true",
                        help="write docs from the results of the last run")
    options = parser.parse_args()

    kept = options.build_dir / "bench" / "benchmarks.json"
    if options.page:
        results = json.loads(kept.read_text())
    else:
        start = time.monotonic()
        filters = [options.filter] if options.filter else ALL
        results = run_benchmarks(options.build_dir, filters,
                                 5 if options.quick else 15,
                                 0.004 if options.quick else 0.05)
        seconds = time.monotonic() - start
        results["seconds"] = seconds
        if not options.filter:
            kept.write_text(json.dumps(results))
        print(f"timed in {seconds:.0f} s")
    rows, threads = report.read(results, list_goals(options.build_dir))
    if not options.filter:
        for missing in report.missing_peers(rows):
            print(f"left out: {missing}")
    print(report.text_table(rows))
    print(report.summary(rows))
    if threads:
        print(report.text_threads(threads))
    if options.page or not (options.quick or options.filter):
        report.write_page(DOCS, results, rows, threads,
                          footprint.measure(options.build_dir))
    return 0


if __name__ == "__main__":
    sys.exit(main())
