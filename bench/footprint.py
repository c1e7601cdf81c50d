"""Measures sizes, compile times and the start-up of programs with nalo."""
import dataclasses
import pathlib
import re
import statistics
import subprocess
import tempfile
import time

import instructions

ROOT = pathlib.Path(__file__).parent.parent

PROGRAM = """
#include <{headers}ostream>
#include <{headers}streambuf>
#include <unistd.h>

struct output : {space}::streambuf {{
  int_type overflow(int_type ch) override {{
    const char c = static_cast<char>(ch);
    return write(STDOUT_FILENO, &c, 1) == 1 ? ch : traits_type::eof();
  }}
}};

int main(int argc, char**) {{
  output buffer;
  {space}::ostream stream(&buffer);
  stream << argc;
}}
"""
LIBRARIES = {"nalo": "nalo/", "std": ""}  # where their headers are


@dataclasses.dataclass
class Footprint:
    compiler: str
    rows: list = dataclasses.field(default_factory=list)

    def columns(self):
        return ["", "nalo", "std"], self.rows


class Compiler:
    """The compiler of a build, with the flags of a release build."""

    def __init__(self, build_dir, scratch):
        cache = (build_dir / "CMakeCache.txt").read_text()
        self.path = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache,
                              re.M)[1]
        self.library = build_dir / "sys" / "libnalo.a"
        self.scratch = pathlib.Path(scratch)

    def name(self):
        version = self.run(["--version"]).splitlines()[0]
        return re.sub(r"^\S*?(clang|g)(\+\+)?[-\d.]* ", r"\1\2 ", version)

    def run(self, arguments):
        return subprocess.run([self.path, *arguments], check=True, text=True,
                              stdout=subprocess.PIPE).stdout

    def build(self, name, text, *arguments):
        """Compiles a program of one file and returns its path."""
        source = self.scratch / f"{name}.cpp"
        output = self.scratch / name
        source.write_text(text)
        self.compile([source], output, *arguments)
        return output

    def compile(self, sources, output, *arguments):
        self.run(["-std=c++20", "-O3", "-DNDEBUG", f"-I{ROOT / 'sys/src'}",
                  *sources, *arguments, "-o", output])


def kib(n):
    return f"{n / 1024:.1f} KiB"


def stripped_size(path):
    subprocess.run(["strip", path], check=True)
    return kib(path.stat().st_size)


def archive_size(library):
    """The text and data of all objects."""
    total = subprocess.run(["size", "--totals", library], check=True,
                           text=True, stdout=subprocess.PIPE).stdout
    text, data = total.splitlines()[-1].split()[:2]
    return kib(int(text) + int(data))


def initialisers(path):
    """The number of objects with code that runs before main()."""
    sections = subprocess.run(["objdump", "--section-headers", path],
                              check=True, text=True,
                              stdout=subprocess.PIPE).stdout
    return str(len(re.findall(r"\s\.init_array", sections)))


def shared_library(compiler):
    output = compiler.scratch / "libnalo.so"
    # Some of its sources need C++23.
    compiler.compile(sorted((ROOT / "sys/lib").glob("*.cpp")), output,
                     "-std=c++23", "-fPIC", "-shared", "-fvisibility=hidden",
                     "-fvisibility-inlines-hidden")
    return stripped_size(output)


def program(compiler, library, *arguments):
    text = PROGRAM.format(space=library, headers=LIBRARIES[library])
    if library == "nalo":
        arguments = (compiler.library, *arguments)
    return compiler.build("program", text, *arguments)


def executed(compiler, library):
    """The instructions of the program, minus those of an empty one."""
    runtime = ("-static-libstdc++", "-static-libgcc")
    empty = compiler.build("empty", "int main() {}\n", *runtime)
    full = program(compiler, library, *runtime)
    return str(instructions.count([full]) - instructions.count([empty]))


def compile_time(compiler, header):
    times = []
    for _ in range(9):
        start = time.perf_counter()
        compiler.build("include.o", f"#include <{header}istream>\n", "-c")
        times.append(time.perf_counter() - start)
    return f"{1000 * statistics.median(times):.0f} ms"


def header_initialisers(compiler, names):
    text = "".join(f"#include <{name}>\n" for name in names)
    return initialisers(compiler.build("headers.o", text, "-c"))


def public_headers():
    root = ROOT / "sys/src"
    return [str(path.relative_to(root)) for path in root.rglob("nalo/**/*")
            if path.is_file() and "base/impl" not in str(path)]


def measure(build_dir):
    with tempfile.TemporaryDirectory() as scratch:
        compiler = Compiler(build_dir, scratch)
        rows = [
            ["static library, text and data", archive_size(compiler.library),
             ""],
            ["shared library, stripped", shared_library(compiler), ""],
            ["program that writes an `int`, stripped, C++ runtime shared"] +
            [stripped_size(program(compiler, library))
             for library in LIBRARIES],
            ["the same with the C++ runtime linked statically"] +
            [stripped_size(program(compiler, library, "-static-libstdc++",
                                   "-static-libgcc"))
             for library in LIBRARIES],
            ["instructions executed, including start-up"] +
            [executed(compiler, library) for library in LIBRARIES],
            ["compiling a file that includes `istream`"] +
            [compile_time(compiler, header)
             for header in LIBRARIES.values()],
            ["static initialisers from all headers",
             header_initialisers(compiler, public_headers()),
             header_initialisers(compiler, ["istream", "ostream", "iostream",
                                            "iomanip", "locale", "string"])],
            ["static initialisers in the library",
             initialisers(compiler.library), ""],
        ]
        return Footprint(compiler.name(), rows)
