#!/usr/bin/env python3
"""Holds the instruction counts of hot loops against the recorded ones.

usage: bench/instructions.py BUILD_DIR [--record]

Fails when nalo needs 3% more instructions for an item than instructions.txt
says. The counts hold for one compiler: with another there is nothing to
compare, which is said and is no failure. --record writes the file anew.
"""
import argparse
import os
import pathlib
import re
import subprocess
import sys

RECORDED = pathlib.Path(__file__).parent / "instructions.txt"
TOLERANCE = 1.03
CASES = [
    "getline, one string, lines of 0 to 80",
    ">> string, words of 1 to 12",
    ">> long",
    "<< long",
    "<< text of 2 to 10, width 12",
    "put",
    "string += character, 1000 times",
]


def count(command):
    """The instructions that a program executes.

    The C library chooses among variants of memchr() and its like by what the
    processor offers; here it must choose the plainest, the same everywhere.
    """
    plain = "glibc.cpu.hwcaps=-AVX,-AVX2,-AVX512F,-ERMS,-FSRM,-SSE4_2"
    output = subprocess.run(
        ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
         *command],
        check=True, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        env={**os.environ, "GLIBC_TUNABLES": plain}).stderr
    return int(re.search(r"Collected : (\d+)", output)[1])


def count_items(program, case):
    """The instructions for one item of a case."""
    output = subprocess.run([program, case, "1"], check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    items = int(output.split()[0])
    # What one pass more costs: all that surrounds the passes falls out.
    return (count([program, case, "3"]) - count([program, case, "2"])) / items


def compiler(build_dir):
    version, = (build_dir / "CMakeFiles").glob("*/CMakeCXXCompiler.cmake")
    text = version.read_text()
    return " ".join(re.search(rf'set\({name} "(.*)"\)', text)[1]
                    for name in ("CMAKE_CXX_COMPILER_ID",
                                 "CMAKE_CXX_COMPILER_VERSION"))


def recorded():
    """The compiler and the counts of instructions.txt."""
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
    counts = {case: count_items(program, case) for case in CASES}

    if options.record:
        RECORDED.write_text("\n".join(
            [name] + [f"{n:8.1f}  {case}" for case, n in counts.items()] +
            [""]))
        return 0
    worse = False
    for case, number in counts.items():
        before = recorded()[1][case]
        rise = number > before * TOLERANCE
        worse |= rise
        print(f"{number:8.1f}  {100 * (number / before - 1):+6.1f}%  {case}"
              f"{'  MORE THAN RECORDED' if rise else ''}")
    if worse:
        print("If that has to be: bench/instructions.py BUILD_DIR --record")
    return int(worse)


if __name__ == "__main__":
    sys.exit(main())
