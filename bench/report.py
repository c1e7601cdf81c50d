"""Turns what the benchmarks report into a table, a chart and a page."""
import collections
import dataclasses
import math
import re

PEERS = ["std", "libc++", "fmt"]  # in the order of the columns


@dataclasses.dataclass
class Row:
    """A case: nanoseconds for each item with each library."""
    number: int
    case: str
    target: float
    times: dict

    @property
    def nalo(self):
        return self.times["nalo"]

    def beside(self, library):
        """How many times the library takes what nalo does; None without."""
        time = self.times.get(library)
        return time and round(time / self.nalo, 2)

    @property
    def of_limit(self):
        """What the target is held against: nalo / limit, or nanoseconds."""
        limit = self.times.get("limit")
        return round(self.nalo / limit if limit else self.nalo, 2)

    @property
    def verdict(self):
        missed = []
        if self.of_limit > self.target:
            missed.append("over the target")
        if self.beside("std") < 1:
            missed.append("slower than std")
        return ", ".join(missed) or "ok"


def read(results):
    """Answers the rows, and by library the nanoseconds by thread count."""
    failed = [b["name"] + ": " + b["error_message"]
              for b in results["benchmarks"] if b.get("error_occurred")]
    if failed:
        raise SystemExit("\n".join(failed))
    rows = {}
    threads = collections.defaultdict(dict)
    for bench in results["benchmarks"]:
        if bench.get("aggregate_name") != "median":
            continue
        # The time of the processor: others on the machine take less from it.
        time = bench["cpu_time"] / bench["items"]
        case, library = re.fullmatch(r"(.*)\|([^/]*).*",
                                     bench["run_name"]).groups()
        if case == "threads":
            threads[library][bench["threads"]] = time
        else:
            row = rows.setdefault(
                case, Row(bench["number"], case, bench["target"], {}))
            row.times[library] = time
    # Interleaved runs are reported in any order.
    return sorted(rows.values(), key=lambda row: row.number), threads


def columns(rows):
    """The head and the cells of the table."""
    peers = [p for p in PEERS if any(p in row.times for row in rows)]
    head = (["workload", "nalo ns", "nalo/limit", "target"] +
            [peer + "/nalo" for peer in peers] + [""])
    cells = []
    for row in rows:
        has_limit = "limit" in row.times
        cells.append(
            [row.case, f"{row.nalo:.2f}",
             f"{row.of_limit:.2f}" if has_limit else "",
             f"{row.target:g}" if has_limit else f"{row.target:g} ns"] +
            [f"{ratio:.2f}" if (ratio := row.beside(peer)) else ""
             for peer in peers] +
            [row.verdict])
    return head, cells


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


def thread_columns(threads):
    counts = sorted({n for times in threads.values() for n in times})
    head = ["threads"] + [str(n) for n in counts]
    return head, [[library] + [f"{times[n]:.1f}" for n in counts]
                  for library, times in threads.items()]


def text_threads(threads):
    head, cells = thread_columns(threads)
    return "\n".join(["", "<< long in several threads, ns of processor time"] +
                     ["  ".join([line[0].ljust(8)] +
                                [cell.rjust(7) for cell in line[1:]])
                      for line in [head] + cells])


def chart(rows):
    """An SVG: how many times faster than std nalo is, and the limit would be.

    The axis is logarithmic.
    """
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
        if limit := row.times.get("limit"):
            marks.append(row.times["std"] / limit)
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
    """Puts the results into docs/benchmarks.md and draws its chart."""
    page = docs / "benchmarks.md"
    text = page.read_text()
    cpus = results["context"]["num_cpus"]
    parts = {
        "machine": f"Measured on {processor()}, {cpus} processors, "
                   f"with {footprint.compiler}.",
        "results": markdown_table(*columns(rows)),
        "threads": markdown_table(*thread_columns(threads)),
        "footprint": markdown_table(*footprint.columns()),
    }
    for name, part in parts.items():
        text, found = re.subn(
            rf"(<!-- {name} -->\n).*?(<!-- end -->)",
            lambda match: match[1] + part + "\n" + match[2], text, flags=re.S)
        if found != 1:
            raise SystemExit(f"{page}: there is no place for '{name}'")
    page.write_text(text)
    (docs / "benchmarks.svg").write_text(chart(rows))
