#!/usr/bin/env python3
"""Runs the jobs of quickfix_benchmarks in rounds, and prints tables or writes a page with charts.
It writes to fixed paths: scripts/bench runs it in a private root.

report.py [--rounds N] [--page FOLDER] [options of Google Benchmark]
"""
import argparse
import datetime
import json
import os
import platform
import re
import subprocess
import sys
from collections import namedtuple
from pathlib import Path
from statistics import median

SOURCES = Path(__file__).resolve().parent
PROGRAM = SOURCES.parent / "build/bench/benchmarks/quickfix_benchmarks"
CROSS_BUILD = SOURCES.parent / "build/bench-aarch64"
SCALES = {"ms": 1e6, "µs": 1e3}  # in nanoseconds

# relation: "speed", "time", "memory" or "size". sides: jobs and their labels; the first side is compared with each of
# the others. bars: limits by job. A limit applies to the comparison of the first side with the job: a ratio, or for
# "memory" a difference. For "size" it applies to the size itself. If the key is a pair of jobs, these are compared.
Comparison = namedtuple("Comparison", "title unit rounds relation bars sides")
COMPARISONS = {
    "digest": Comparison("Digest of 64 MiB", "ms", 41, "speed", {"Digest/Evp": ("at least", 0.95)}, {
        "Digest/Library": "library", "Digest/Evp": "EVP, 64 KiB reads"}),
    "digest_small": Comparison("Digest of 8 KiB", "µs", 21, "speed", {"Digest/SmallEvp": ("at least", 0.8)}, {
        "Digest/SmallLibrary": "library", "Digest/SmallEvp": "EVP, 64 KiB reads"}),
    "digest_memory": Comparison("Peak memory of a process", "KiB", 3, "memory", {
        "DigestMemory/Of1MiB": ("at most", 1024)}, {
        "DigestMemory/Of1GiB": "digest of 1 GiB", "DigestMemory/Of1MiB": "digest of 1 MiB"}),
    "log_record": Comparison("One file-log record", "µs", 41, "time", {
        "RecordSystemCalls/StatWrite": ("at most", 1.6), "RecordSystemCalls/RealpathStatWrite": ("at most", 1.15),
        "RecordSpdlog": ("at most", 3)}, {
        "RecordLibrary": "library", "RecordSystemCalls/StatWrite": "stat and write alone",
        "RecordSystemCalls/RealpathStatWrite": "realpath, stat and write alone",
        "RecordSpdlog": "spdlog, rotating, flushed"}),
    "verification": Comparison("One file of 200 verified", "ms", 21, "speed", {
        "Verify/Shell": ("at least", 150), ("Verify/Shell", "Verify/Loop"): ("at least", 0.97)}, {
        "Verify/Direct200": "library, direct", "Verify/Shell": "library, through the shell",
        "Verify/Loop": "a plain loop with the same commands"}),
    "verification_others": Comparison("One file of 10,000 checked", "µs", 11, "speed", {"Verify/Aide": ("at least", 1)}, {
        "Verify/Direct10000": "library, direct: both sides", "Verify/Aide": "AIDE: one side",
        "Verify/Sha256sum": "sha256sum -c: one side, digest alone"}),
    "verification_growth": Comparison("Time per verified file", "µs", 11, "time", {"Verify/Direct100": ("at most", 1.2)}, {
        "Verify/Direct100000": "library, 100,000 files", "Verify/Direct100": "library, 100 files"}),
    "copy": Comparison("Tree of 4 × 16 MiB copied", "ms", 21, "speed", {"Copy/Cp": ("at least", 0.90)}, {
        "Copy/Library": "library", "Copy/Cp": "cp -r"}),
    "splitting": Comparison("Command line of 40 tokens split", "µs", 21, "speed", {}, {
        "Split/Library": "library", "Split/Getline": "getline over an istringstream",
        "Split/Strtok": "strtok_r over a copy"}),
    "load_time": Comparison("Empty program, linked to", "ms", 21, "time", {}, {
        "Load/Library": "library", "Load/Port": "its port, libsystemd, libcrypto, libcjson, libstdc++",
        "Load/Dependencies": "libsystemd, libcrypto, libcjson, libstdc++",
        "Load/Core": "libcrypto, libcjson, libstdc++", "Load/Nothing": "C library alone"}),
    "size": Comparison("Shared library, stripped", "bytes", 1, "size", {"libquickfix_utils.so": ("at most", 131072)}, {
        f: f for f in ("libquickfix_utils.so", "libquickfix_utils.so (aarch64)", "libquickfix_platform.so",
                       "libquickfix_platform.so (aarch64)", "libcjson.so", "libsystemd.so", "libspdlog.so",
                       "libcrypto.so")}),
}


def run_program(*options):
    result = subprocess.run([PROGRAM, *options], stdout=subprocess.PIPE, text=True)
    return result.stdout if result.returncode == 0 else sys.exit(f"report.py: quickfix_benchmarks failed with {' '.join(options)}")


def run_job(job, options=()):
    return json.loads(run_program(*options, f"--benchmark_filter=^{job}/", "--benchmark_format=json"))


def stripped_size(library):
    name, _, other = library.partition(" ")
    if other:
        [path], strip = CROSS_BUILD.glob(f"*/{name}"), "aarch64-linux-gnu-strip"
    else:
        loaded = subprocess.run(["ldd", PROGRAM], stdout=subprocess.PIPE, check=True, text=True).stdout
        path, strip = re.search(rf"{re.escape(name)}\S* => (\S+)", loaded)[1], "strip"
    subprocess.run([strip, "-o", "/tmp/stripped", path], check=True)
    return os.stat("/tmp/stripped").st_size


def sample(job, unit, options):
    """Returns one figure in this unit: the size of a library for bytes, otherwise from a run in its own process."""
    if unit == "bytes":
        return stripped_size(job)
    run = run_job(job, options)["benchmarks"][0]
    if unit == "KiB":
        return run["peak_kib"]
    return (1e9 / run["items_per_second"] if "items_per_second" in run else run["real_time"]) / SCALES[unit]


def measure(comparison, jobs, rounds, options):
    samples = {job: [] for job in comparison.sides if job in jobs}
    for number in range(min(comparison.rounds, rounds) if samples else 0):
        print(f"{comparison.title}, round {number + 1}", file=sys.stderr)
        # Every other round runs backwards, so that drift affects all jobs equally.
        for job in list(samples)[::(-1) ** number]:
            samples[job].append(sample(job, comparison.unit, options))
    return samples


def format_figures(figures, unit):
    digits = 0 if unit.startswith(("bytes", "KiB")) else 2
    spread = f" ({min(figures):,.{digits}f} to {max(figures):,.{digits}f})" if min(figures) < max(figures) else ""
    return f"{median(figures):,.{digits}f} {unit}{spread}"


def compare(relation, first, second):
    """Returns the ratio or difference per round, and its unit."""
    if relation == "memory":
        return [a - b for a, b in zip(first, second)], "KiB more"
    return [b / a if relation == "speed" else a / b for a, b in zip(first, second)], f"of its {relation}"


def tabulate(comparison, samples):
    rows = [f"| {comparison.title} | measured | first row compared with this row |", "|---|---|---|"]
    first = samples.get(next(iter(comparison.sides)))
    for job, label in comparison.sides.items():
        figures = samples.get(job)
        if figures:
            beside = first and figures is not first and format_figures(*compare(comparison.relation, first, figures))
            rows.append(f"| {label} | {format_figures(figures, comparison.unit)} | {beside or ''} |")
    return "\n".join(rows)


def tabulate_bars(comparisons, samples):
    rows = ["| figure | limit | measured | met |", "|---|---|---|---|"]
    for comparison in comparisons:
        for key, (direction, bar) in comparison.bars.items():
            first, job = key if isinstance(key, tuple) else (next(iter(comparison.sides)), key)
            if comparison.relation == "size":
                what, figures, unit = job, samples[job], "bytes"
            else:
                what = f"{comparison.sides[first]} compared with {comparison.sides[job]}"
                figures, unit = compare(comparison.relation, samples[first], samples[job])
            missed = 100 * (median(figures) / bar - 1) * (-1 if direction == "at least" else 1)
            # Rounds up to 0.1 %, because a missed bar must not show 0.0 %.
            met = "yes" if missed <= 0 else f"**no**, missed by {max(missed, 0.1):.1f} %"
            rows.append(f"| {comparison.title}: {what} | {direction} {format_figures([bar], unit)} | {format_figures(figures, unit)} | {met} |")
    return "\n".join(rows)


def draw(comparison, samples, path):
    """Draws the chart and returns its figures as text for screen readers."""
    values = [samples[job] for job in comparison.sides]
    # Cuts off a bar far longer than the first one, so that the others stay readable.
    longest = max(max(figures) for figures in values if median(figures) <= 8 * max(values[0]))
    texts = [f"{label}\t{format_figures(figures, comparison.unit)}" for label, figures in zip(comparison.sides.values(), values)]
    rows = [f"{text}\t{median(figures)}\t{min(figures)}\t{max(figures)}" for text, figures in zip(texts, values)]
    axis = f"{comparison.unit}, shorter is better; median and range of {len(values[0])} rounds"
    axis = axis.split(";")[0] if len(values[0]) == 1 else axis
    script = ["$bars << END", *rows, "END", f"heading = '{comparison.title}'", f"axis = '{axis}'",
              f"rows = {len(rows)}", f"limit = {1.02 * longest}", f"file = '{path}'",
              f"load '{SOURCES}/chart.gp'"]
    subprocess.run(["gnuplot", "-"], input="\n".join(script), text=True, check=True)
    description = f"{comparison.title}, shorter is better. {'; '.join(texts)}".replace("\t", ": ")
    path.write_text(path.read_text().replace("<title>Gnuplot</title>", f"<title>{description}</title>"))
    return description


def describe_machine():
    model = re.search(r"^model name\s*: (.*)", Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return "\n".join([
        f"| processor | {model[1] if model else '(unknown)'}, {os.cpu_count()} cores |", "|---|---|",
        f"| system | {platform.freedesktop_os_release()['PRETTY_NAME']}, {platform.platform()} |",
        f"| versions | {run_job('Split/Library')['context']['versions']}, release build |",
        f"| date | {datetime.date.today()} |"])


def write_page(folder, samples):
    values = {"machine": describe_machine(), "bars": tabulate_bars(COMPARISONS.values(), samples)}
    for name, comparison in COMPARISONS.items():
        description = draw(comparison, samples, folder / "benchmarks" / f"{name}.svg")
        values[name] = f"![{description}](benchmarks/{name}.svg)\n\n{tabulate(comparison, samples)}"
    page = re.sub(r"@(\w+)@", lambda field: values.pop(field[1]), (SOURCES / "page.md.in").read_text())
    if values:
        sys.exit(f"report.py: page.md.in doesn't use {', '.join(values)}")
    (folder / "benchmarks.md").write_text(page)


def main():
    parser = argparse.ArgumentParser(allow_abbrev=False, usage=__doc__)
    parser.add_argument("--rounds", type=int, default=100)
    parser.add_argument("--page", type=Path)
    arguments, options = parser.parse_known_args()
    jobs = {"/".join(name.split("/")[:-2]) for name in run_program(*options, "--benchmark_list_tests").split()}
    jobs.update(() if options else COMPARISONS["size"].sides)
    samples, tables = {}, []
    for comparison in COMPARISONS.values():
        measured = measure(comparison, jobs, arguments.rounds, options)
        samples.update(measured)
        tables += [tabulate(comparison, measured)] if measured else []
    if arguments.page:
        write_page(arguments.page, samples)
    print("\n\n".join(tables))


if __name__ == "__main__":
    main()
