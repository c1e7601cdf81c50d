#!/usr/bin/env python3
"""Compares the instruction counts of hot loops with the recorded ones.

usage: bench/instructions.py BUILD_DIR [--record]

Fails when nalo needs 3% more instructions per item than recorded in
instructions.txt. The counts are for one compiler: with another nothing is
compared, which is reported but is not a failure. --record rewrites the file.
"""
import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys

RECORDED = pathlib.Path(__file__).parent / "instructions.txt"
TOLERANCE = 1.03
CASES = [
    "getline, one string, lines of 0 to 80",
    "getline, new strings, lines of 20 to 39",
    "getline, array, lines of 0 to 80",
    ">> string, words of 1 to 12",
    ">> string, words of 200",
    ">> array, words of 1 to 12",
    "ignore a line of 0 to 80",
    "get",
    "peek and get",
    "sbumpc",
    ">> int",
    ">> long",
    ">> double, short",
    "<< int",
    "<< long",
    "<< double, general, 6 digits",
    "<< text of 2 to 10, width 12",
    "write 40 characters",
    "write 1 character",
    "put",
    "<< a report line",
    "string += character, 1000 times",
    "string append 16 characters, 256 times",
]


def run_counted(command, *options):
    """Runs a program; returns the number of instructions and its output.

    The C library selects variants of memchr() and similar functions by the
    features of the processor; here it must select the basic ones, which are the
    same everywhere.
    """
    plain = "glibc.cpu.hwcaps=-AVX,-AVX2,-AVX512F,-ERMS,-FSRM,-SSE4_2"
    done = subprocess.run(
        ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
         *options, *command],
        check=True, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        env={**os.environ, "GLIBC_TUNABLES": plain})
    return int(re.search(r"Collected : (\d+)", done.stderr)[1]), done.stdout


def count(command):
    """The instructions that a program executes."""
    return run_counted(command)[0]


def count_items(program, case):
    """The instructions per item of a case."""
    instructions, output = run_counted(
        [program, case], "--collect-atstart=no",
        "--toggle-collect=counted_pass")
    return instructions / int(output.split()[0])


def compiler(build_dir):
    version, = (build_dir / "CMakeFiles").glob("*/CMakeCXXCompiler.cmake")
    text = version.read_text()
    return " ".join(re.search(rf'set\({name} "(.*)"\)', text)[1]
                    for name in ("CMAKE_CXX_COMPILER_ID",
                                 "CMAKE_CXX_COMPILER_VERSION"))


def recorded():
    """The compiler and the counts in instructions.txt."""
    first, *lines = RECORDED.read_text().splitlines()
    counts = {}
    for line in lines:
        number, case = line.split(maxsplit=1)
        counts[case] = float(number)
    return first, counts


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build_dir", type=pathlib.Path)
    parser.add_argument("--record", action="store_true")
    options = parser.parse_args()

    name = compiler(options.build_dir)
    if not options.record and recorded()[0] != name:
        print(f"recorded with {recorded()[0]}; {name} has nothing to compare")
        return 0
    program = options.build_dir / "bench" / "instructions"
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        counts = dict(zip(CASES, pool.map(
            lambda case: count_items(program, case), CASES)))

    if options.record:
        RECORDED.write_text("\n".join(
            [name] + [f"{n:8.1f}  {case}" for case, n in counts.items()] +
            [""]))
        return 0
    worse = False
    before = recorded()[1]
    for case, number in counts.items():
        rise = case not in before or number > before[case] * TOLERANCE
        worse |= rise
        change = (f"{100 * (number / before[case] - 1):+6.1f}%"
                  if case in before else "   new ")
        print(f"{number:8.1f}  {change}  {case}"
              f"{'  MORE THAN RECORDED' if rise else ''}")
    if worse:
        print("If that has to be: bench/instructions.py BUILD_DIR --record")
    return int(worse)


if __name__ == "__main__":
    sys.exit(main())
