"""Makes a table, a chart and a page of the benchmark results."""
import collections
import dataclasses
import math
import re
import statistics

PEERS = {  # in the order of the columns, with their packages
    "std": "the compiler's standard library",
    "libc++": "libc++-19-dev and clang-19",
    "stdio": "the C library",
    "fmt": "libfmt-dev",
    "raw_ostream": "llvm-dev",
}
LIMITS = ["plain", "vector"]


@dataclasses.dataclass
class Row:
    """A case: the nanoseconds per item, by library and sweep."""
    case: str
    goal: float
    reference: str
    sweeps: dict = dataclasses.field(
        default_factory=lambda: collections.defaultdict(dict))

    def __post_init__(self):
        self.limit = None

    def choose_limit(self):
        """The faster of the two limits."""
        self.limit = min((name for name in LIMITS if name in self.sweeps),
                         key=self.time, default=None)

    def time(self, library):
        """The median of a library's times; None without any."""
        times = self.sweeps.get(library)
        return statistics.median(times.values()) if times else None

    def ratios(self, library):
        """The ratios of the library's time to nalo's, sorted."""
        nalo = self.sweeps["nalo"]
        return sorted(time / nalo[sweep]
                      for sweep, time in self.sweeps[library].items())

    def beside(self, library):
        """The median of the ratios; None without the library."""
        if library not in self.sweeps or "nalo" not in self.sweeps:
            return None
        return statistics.median(self.ratios(library))

    def lost_to(self, library):
        """Whether the library is faster in three quarters of the sweeps."""
        if self.beside(library) is None:
            return False
        ratios = self.ratios(library)
        return ratios[3 * len(ratios) // 4] < 1

    @property
    def of_limit(self):
        ratio = self.limit and self.beside(self.limit)
        return ratio and 1 / ratio

    @property
    def of_goal(self):
        """The ratio that the goal applies to; None without one."""
        if self.reference == "ns":
            return self.time("nalo")
        if self.reference == "limit":
            return self.of_limit
        ratio = self.beside(self.reference)
        return ratio and 1 / ratio

    @property
    def lost(self):
        return [peer for peer in PEERS if self.lost_to(peer)]

    @property
    def verdict(self):
        if "nalo" not in self.sweeps:
            return "not measured"
        missed = []
        if self.of_goal and round(self.of_goal, 2) > self.goal:
            missed.append(f"{self.of_goal:.2f}, over the goal")
        if self.lost:
            missed.append("lost to " + ", ".join(self.lost))
        return "; ".join(missed) or "ok"


def read(results, goals):
    """Returns the rows, and the nanoseconds by library and thread count."""
    failed = [b["name"] + ": " + b["error_message"]
              for b in results["benchmarks"] if b.get("error_occurred")]
    if failed:
        raise SystemExit("\n".join(failed))
    rows = {name: Row(name, float(factor), reference)
            for name, factor, reference in goals}
    threads = collections.defaultdict(lambda: collections.defaultdict(list))
    for bench in results["benchmarks"]:
        # Processor time, which other load on the machine affects less.
        time = bench["cpu_time"] / bench["items"]
        case, library = re.fullmatch(r"(.*)\|([^/]*).*",
                                     bench["run_name"]).groups()
        if case == "threads":
            threads[library][bench["threads"]].append(time)
        elif case in rows:
            rows[case].sweeps[library][bench["sweep"]] = time
    measured = [row for row in rows.values() if row.sweeps]
    for row in measured:
        row.choose_limit()
    return measured, threads


def missing_peers(rows):
    return [f"{peer}, which needs {provider}"
            for peer, provider in PEERS.items()
            if not any(peer in row.sweeps for row in rows)]


def two_digits(number):
    return f"{number:.2f}" if number else ""


def goal_text(row):
    if not row.reference:
        return ""
    factor = f"{row.goal:.3g}"
    if row.reference in ("limit", "ns"):
        return factor + (" ns" if row.reference == "ns" else "")
    reference = "to_chars" if row.reference == "plain" else row.reference
    return f"{factor} {reference}"


def columns(rows, bold=lambda text: text):
    """The header and the cells of the table."""
    peers = [p for p in PEERS if any(p in row.sweeps for row in rows)]
    head = (["workload", "nalo ns", "plain ns", "vector ns", "nalo/limit",
             "goal"] + [peer + "/nalo" for peer in peers] + [""])
    cells = []
    for row in rows:
        limits = [two_digits(row.time(name)) for name in LIMITS]
        beside = [bold(two_digits(row.beside(peer))) if row.lost_to(peer)
                  else two_digits(row.beside(peer)) for peer in peers]
        cells.append([row.case, two_digits(row.time("nalo")), *limits,
                      two_digits(row.of_limit), goal_text(row), *beside,
                      row.verdict])
    return head, cells


def geometric_mean(numbers):
    return math.exp(statistics.fmean(map(math.log, numbers)))


def summary(rows):
    """Geometric means over all rows, and the numbers lost and over the goal."""
    lines = []
    for peer in PEERS:
        ratios = [ratio for row in rows if (ratio := row.beside(peer))]
        if ratios:
            lines.append(f"nalo is {geometric_mean(ratios):.2f} times as fast "
                         f"as {peer} ({len(ratios)} rows)")
    ratios = [ratio for row in rows if (ratio := row.of_limit)]
    if ratios:
        lines.append(f"nalo takes {geometric_mean(ratios):.2f} times the limit "
                     f"({len(ratios)} rows)")
    lost = sum(bool(row.lost) for row in rows)
    over = sum("over the goal" in row.verdict for row in rows)
    with_goal = sum(row.of_goal is not None for row in rows)
    lines.append(f"{lost} of {len(rows)} rows are lost to a peer, "
                 f"{over} of {with_goal} are over their goal")
    return "\n".join(lines)


def text_table(rows):
    head, cells = columns(rows)
    widths = [max(map(len, column)) for column in zip(head, *cells)]
    last = len(head) - 1
    return "\n".join(
        "  ".join(cell.ljust(width) if i in (0, last) else cell.rjust(width)
                  for i, (cell, width) in enumerate(zip(line, widths))).rstrip()
        for line in [head] + cells)


def markdown_table(head, cells):
    aligned = [":--"] + ["--:"] * (len(head) - 1)
    return "\n".join("| " + " | ".join(line) + " |"
                     for line in [head, aligned] + cells)


def markdown_list(text):
    return "\n".join(f"- {line}." for line in text.splitlines())


def thread_columns(threads):
    counts = sorted({n for times in threads.values() for n in times})
    head = ["threads"] + [str(n) for n in counts]
    return head, [[library] + [f"{statistics.median(times[n]):.1f}"
                               for n in counts]
                  for library, times in sorted(threads.items())]


def text_threads(threads):
    head, cells = thread_columns(threads)
    return "\n".join(["", "<< long in several threads, ns of processor time"] +
                     ["  ".join([line[0].ljust(8)] +
                                [cell.rjust(7) for cell in line[1:]])
                      for line in [head] + cells])


def chart(rows):
    """An SVG: how many times as fast as std nalo and the limit are.

    The axis is logarithmic.
    """
    rows = [row for row in rows if row.beside("std")]
    row_height, left, width, low, high = 20, 350, 400, 0.5, 32

    def x(ratio):
        share = math.log(min(max(ratio, low), high) / low, high / low)
        return round(left + width * share, 1)

    height = 50 + row_height * len(rows)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" '
        f'viewBox="0 0 {left + width + 60} {height}" '
        f'font-family="sans-serif" font-size="12">',
        '<style>text{fill:#333}.grid{stroke:#ccc}.nalo{fill:#2a78b5}'
        '.slow{fill:#c0504d}.limit{stroke:#e08e0b;stroke-width:2}'
        '@media(prefers-color-scheme:dark){text{fill:#ddd}'
        '.grid{stroke:#555}}</style>',
        f'<text x="{left}" y="14">times as fast as the standard streams; '
        'the mark is the hand-written limit</text>',
    ]
    for ratio in (0.5, 1, 2, 4, 8, 16, 32):
        parts.append(f'<line class="grid" x1="{x(ratio)}" x2="{x(ratio)}" '
                     f'y1="36" y2="{height - 8}"/>')
        parts.append(f'<text x="{x(ratio)}" y="30" text-anchor="middle">'
                     f'{ratio:g}</text>')
    for i, row in enumerate(rows):
        y = 42 + row_height * i
        ratio = row.beside("std")
        start, end = sorted((x(1), x(ratio)))
        name = row.case.replace("<", "&lt;").replace(">", "&gt;")
        parts.append(f'<text x="{left - 8}" y="{y + 11}" text-anchor="end">'
                     f'{name}</text>')
        parts.append(f'<rect class="{"nalo" if ratio >= 1 else "slow"}" '
                     f'x="{start}" y="{y}" width="{end - start:.1f}" '
                     f'height="{row_height - 6}"/>')
        marks = [ratio]
        if row.of_limit:
            marks.append(ratio * row.of_limit)
            parts.append(f'<line class="limit" x1="{x(marks[1])}" '
                         f'x2="{x(marks[1])}" y1="{y - 2}" '
                         f'y2="{y + row_height - 4}"/>')
        parts.append(f'<text x="{x(max(marks)) + 5}" y="{y + 11}">'
                     f'{ratio:.1f}</text>')
    return "\n".join(parts + ["</svg>", ""])


def processor():
    with open("/proc/cpuinfo", encoding="ascii") as info:
        return next(line.split(":")[1].strip() for line in info
                    if line.startswith("model name"))


def write_page(docs, results, rows, threads, footprint):
    """Writes the results to docs/benchmarks.md and draws its chart."""
    page = docs / "benchmarks.md"
    text = page.read_text()
    cpus = results["context"]["num_cpus"]
    sweeps = 1 + max(bench["sweep"] for bench in results["benchmarks"])
    notes = [f" Left out: {peer}." for peer in missing_peers(rows)]
    load = results["context"]["load_avg"][0]
    if load > cpus + 1:  # the benchmark itself counts as one
        notes.append(f" The machine was busy with other work (a load of "
                     f"{load:.0f}), so these figures are unreliable.")
    parts = {
        "machine": f"Measured on {processor()}, {cpus} processors, "
                   f"with {footprint.compiler}, in {sweeps} sweeps."
                   + "".join(notes),
        "summary": markdown_list(summary(rows)),
        "results": markdown_table(*columns(rows, "**{}**".format)),
        "threads": markdown_table(*thread_columns(threads)),
        "footprint": markdown_table(*footprint.columns()),
    }
    for name, part in parts.items():
        text, found = re.subn(
            rf"(<!-- {name} -->\n).*?(<!-- end -->)",
            lambda match: match[1] + part + "\n" + match[2], text, flags=re.S)
        if found != 1:
            raise SystemExit(f"{page} has no place for '{name}'")
    page.write_text(text)
    (docs / "benchmarks.svg").write_text(chart(rows))
