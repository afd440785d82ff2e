#!/usr/bin/env python3
"""Runs the benchmarks of this folder and tells how they stand to the promises in rows.toml.

    benchmarks/report.py --bin build/bench/bin [--check] [--only REGEX] [--keep DIR]

Prints one table. Without --only it also writes docs/performance.md and the plots beside it. With
--check the exit status is 1 when a row misses its bound, and the rows are named.

Costs are times of the processor on the benchmark's own thread, so that what else runs on the
machine stays out of them as far as it can, and they are compared only within a run: repetitions of
all benchmarks of a program are made in random order, a row is a ratio of medians, and its spread
are the quartiles of the ratios of all pairs of repetitions.
"""

import argparse
import json
import os
import platform
import re
import statistics
import subprocess
import sys
import time
import tomllib
from pathlib import Path

import plot

HERE = Path(__file__).resolve().parent
PROJECT = HERE.parent
# Program, repetitions, least time of a repetition in seconds.
PROGRAMS = [
    ("LoamBench", 7, 0.05),
    ("PartsBench", 7, 0.05),
    ("HardwareBench", 7, 0.1),
    ("PythonBench", 7, 0.1),
    ("RestartBench", 5, 0.1),
]


class Measured:
    """What the repetitions of each benchmark cost: seconds per item, and counters."""

    def __init__(self):
        self.costs = {}
        self.counters = {}

    def add(self, run):
        if run.get("run_type") != "iteration":
            return
        name = re.sub(r"/(iterations:\d+|manual_time|min_time:[\d.]+|repeats:\d+)", "", run["name"])
        if run.get("error_occurred"):
            sys.exit(f"{name}: {run['error_message']}")
        if "items_per_second" not in run:
            sys.exit(f"{name}: has not told how many items it processed (SetItemsProcessed)")
        self.costs.setdefault(name, []).append(1 / run["items_per_second"])
        for counter, value in run.items():
            if isinstance(value, (int, float)):
                self.counters.setdefault((name, counter), []).append(value)

    def of(self, names, counter=None):
        """Repetitions of one benchmark, or of the sum of several; None when one is missing."""
        found = []
        for name in [names] if isinstance(names, str) else names:
            values = self.counters.get((name, counter)) if counter else self.costs.get(name)
            if not values:
                return None
            found.append(values)
        return [sum(each) for each in zip(*found)]

    def curve(self, benchmark):
        """(size, median) for every size of a benchmark; a level line has no size."""
        if benchmark in self.costs:
            return [(None, statistics.median(self.costs[benchmark]))]
        points = []
        for name, values in self.costs.items():
            size = re.fullmatch(re.escape(benchmark) + r"/\w+:(\d+)", name)
            if size:
                points.append((int(size[1]), statistics.median(values)))
        return sorted(points)


def run_program(binary, repetitions, least_time, only, keep):
    out = keep / f"{binary.name}.json"
    command = [
        str(binary),
        f"--benchmark_filter={only or '.'}",
        "--benchmark_enable_random_interleaving=true",
        f"--benchmark_repetitions={repetitions}",
        f"--benchmark_min_time={least_time}",
        f"--benchmark_out={out}",
        "--benchmark_out_format=json",
    ]
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}\nfailed with status {done.returncode}:\n{done.stderr}")
    text = out.read_text()
    return json.loads(text) if text.strip() else {"benchmarks": []}


def quartiles(values):
    if len(values) < 2:
        return values[0], values[0]
    cuts = statistics.quantiles(values, n=4, method="inclusive")
    return cuts[0], cuts[2]


class Row:
    """One promise and how it stands."""

    def __init__(self, spec, measured):
        self.spec = spec
        self.group = spec["group"]
        self.what = spec["what"]
        subject = measured.of(spec["subject"], spec.get("counter"))
        reference = measured.of(spec["reference"]) if "reference" in spec else [1.0]
        self.known = subject is not None and reference is not None
        if not self.known:
            return
        if "at_least" in spec:
            subject, reference = reference, subject
        scale = spec.get("scale", 1.0)
        self.value = scale * statistics.median(subject) / statistics.median(reference)
        self.low, self.high = quartiles([scale * s / r for s in subject for r in reference])

    @property
    def unit(self):
        return " " + self.spec["unit"] if "unit" in self.spec else " x"

    @property
    def bound(self):
        if "at_most" in self.spec:
            return f"at most {self.spec['at_most']:g}{self.unit}"
        if "at_least" in self.spec:
            return f"at least {self.spec['at_least']:g}{self.unit}"
        return ""

    @property
    def missed(self):
        if not self.known:
            return False
        return self.value > self.spec.get("at_most", self.value) or self.value < self.spec.get(
            "at_least", self.value
        )

    @property
    def verdict(self):
        if not self.known:
            return "not run"
        if not self.bound:
            return ""
        return "missed" if self.missed else "met"

    def cells(self):
        if not self.known:
            return [self.what, "", "", self.bound, self.verdict]
        digits = lambda value: f"{value:.3f}" if value < 0.1 else f"{value:.2f}"
        return [
            self.what,
            digits(self.value) + self.unit,
            f"{digits(self.low)} to {digits(self.high)}",
            self.bound,
            self.verdict,
        ]


HEAD = ["What", "Measured", "Spread", "Bound", ""]


def text_table(rows):
    lines = [HEAD] + [row.cells() for row in rows]
    widths = [max(len(line[i]) for line in lines) for i in range(len(HEAD))]
    shown = []
    group = None
    for row, line in zip([None] + rows, lines):
        if row and row.group != group:
            group = row.group
            shown.append(f"\n{group}")
        shown.append("  " + "  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
    return "\n".join(shown)


def markdown_table(rows):
    lines = []
    group = None
    for row in rows:
        if row.group != group:
            group = row.group
            lines += ["", f"### {group}", "", "| " + " | ".join(HEAD) + " |", "|---|---|---|---|---|"]
        lines.append("| " + " | ".join(row.cells()) + " |")
    return "\n".join(lines)


def limits_list(rows):
    """What each missed row is missed by, and why."""
    lines = []
    for row in rows:
        if row.missed:
            why = row.spec.get("limit", "Not looked into yet.")
            lines.append(f"- *{row.what}*: {row.cells()[1]}, {row.bound}. {why}")
    return "\n".join(lines) or "Nothing: every bound is met."


def costs_table(measured):
    lines = ["| Benchmark | Median | Repetitions |", "|---|---|---|"]
    for name in sorted(measured.costs):
        cost = statistics.median(measured.costs[name])
        for unit, scale in (("ns", 1e9), ("us", 1e6), ("ms", 1e3), ("s", 1)):
            if cost * scale < 1000:
                break
        shown = name.replace("<", "\\<")
        lines.append(f"| {shown} | {cost * scale:.3g} {unit} | {len(measured.costs[name])} |")
    return "\n".join(lines)


def machine():
    model = next(
        (
            line.split(":", 1)[1].strip()
            for line in Path("/proc/cpuinfo").read_text().splitlines()
            if line.startswith("model name")
        ),
        platform.machine(),
    )
    kernel = platform.release().split("-")[0]
    return f"{model}, {os.cpu_count()} processors, Linux {kernel}"


def commit():
    def git(*arguments):
        return subprocess.run(
            ["git", "-C", str(PROJECT), *arguments], capture_output=True, text=True
        ).stdout.strip()

    own = [":!docs/performance.md", ":!docs/performance"]  # what this run has just written
    changed = git("status", "--porcelain", "--untracked-files=no", "--", ".", *own)
    return git("rev-parse", "--short=12", "HEAD") + (" with changes" if changed else "")


def write_document(rows, measured, plots, took, load):
    template = (HERE / "performance.md.in").read_text()
    missed = [row for row in rows if row.missed]
    pictures = "\n".join(f"![{title}](performance/{file})" for file, title in plots)
    values = {
        "machine": machine(),
        "date": time.strftime("%Y-%m-%d", time.gmtime()),
        "commit": commit(),
        "load": load,
        "took": f"{took:.0f} s",
        "summary": f"{sum(row.verdict == 'met' for row in rows)} bounds met, {len(missed)} missed.",
        "table": markdown_table(rows),
        "limits": limits_list(rows),
        "plots": pictures,
        "costs": costs_table(measured),
    }
    for name, value in values.items():
        template = template.replace(f"@{name}@", value)
    (PROJECT / "docs" / "performance.md").write_text(template)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", type=Path, required=True, help="folder of the programs")
    parser.add_argument("--check", action="store_true", help="status 1 when a row misses its bound")
    parser.add_argument("--only", help="run only benchmarks that match; nothing is written then")
    parser.add_argument("--keep", type=Path, help="where the programs' own figures go")
    parser.add_argument("--clean-build", type=Path, help="file with the seconds of a clean build")
    arguments = parser.parse_args()

    keep = arguments.keep or arguments.bin.parent / "results"
    keep.mkdir(parents=True, exist_ok=True)
    spec = tomllib.loads((HERE / "rows.toml").read_text())
    measured = Measured()
    started = time.monotonic()
    load = os.getloadavg()[0]
    for name, repetitions, least_time in PROGRAMS:
        print(f"{name} ...", file=sys.stderr, flush=True)
        result = run_program(arguments.bin / name, repetitions, least_time, arguments.only, keep)
        for run in result["benchmarks"]:
            measured.add(run)
    if arguments.clean_build and arguments.clean_build.exists():
        measured.costs["cleanBuild"] = [float(arguments.clean_build.read_text())]
    took = time.monotonic() - started

    rows = [Row(row, measured) for row in spec["row"]]
    if arguments.only:
        rows = [row for row in rows if row.known]
    print(text_table(rows))
    if not arguments.only:
        folder = PROJECT / "docs" / "performance"
        folder.mkdir(exist_ok=True)
        plots = []
        for each in spec["plot"]:
            curves = [(c["name"], measured.curve(c["benchmark"])) for c in each["curves"]]
            (folder / each["file"]).write_text(plot.svg(each, curves))
            plots.append((each["file"], each["title"]))
        write_document(rows, measured, plots, took, f"{load:.1f}")

    missed = [row for row in rows if row.missed]
    if missed:
        print(f"\n{len(missed)} of {len(rows)} rows miss their bound:")
        for row in missed:
            print(f"  {row.what}: {row.cells()[1]}, {row.bound}")
    absent = [row for row in rows if not row.known]
    for row in absent:
        print(f"not run: {row.what}")
    if arguments.check and (missed or absent):
        sys.exit(1)


if __name__ == "__main__":
    main()
