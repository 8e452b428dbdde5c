#!/usr/bin/env python3
"""Runs the benchmarks that tools/bench_figures.tsv names and writes the benchmark report.

    bench_report.py BUILD_DIR                    runs them, then writes the report and chart
    bench_report.py BUILD_DIR --from-results     writes them again from the last runs' results

BUILD_DIR holds the built benchmark programs (bench/<program>). Each program runs once for all its
"shared" benchmarks and once more for each "alone" one (a peak of the whole process is only that
benchmark's peak in a process of its own), every benchmark with medians of REPETITIONS
repetitions. Writes docs/BENCHMARKS.md, and docs/benchmarks.png with gnuplot; the runs' JSON is
kept in BUILD_DIR/results.
"""
import datetime
import json
import os
import re
import subprocess
import sys
from collections import OrderedDict
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FIGURES = ROOT / "tools" / "bench_figures.tsv"
REPORT = ROOT / "docs" / "BENCHMARKS.md"
CHART = ROOT / "docs" / "benchmarks.png"
REPETITIONS = 5
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# The unit of each counter that the figures use.
COUNTER_UNITS = {"heap": "bytes", "peak_rss_mb": "MiB"}
# The chart's colour of each baseline library.
COLOURS = ["#1f77b4", "#ff7f0e", "#2ca02c", "#d62728", "#9467bd", "#8c564b"]


@dataclass
class Line:
    figure: str
    program: str
    measure: str
    run: str
    kiv: str
    baseline: str
    library: str
    baseline_benchmark: str


def read_figures():
    lines = []
    for number, text in enumerate(FIGURES.read_text().splitlines(), 1):
        if not text.strip() or text.startswith("#"):
            continue
        fields = text.split("\t")
        if len(fields) != 8:
            sys.exit(f"{FIGURES}:{number}: expected 8 fields separated by tabs, found {len(fields)}")
        line = Line(*fields)
        if line.run not in ("shared", "alone"):
            sys.exit(f"{FIGURES}:{number}: run must be shared or alone, not {line.run}")
        if line.measure not in ("cpu_time", "real_time") and line.measure not in COUNTER_UNITS:
            sys.exit(f"{FIGURES}:{number}: unknown measure {line.measure}")
        lines.append(line)
    return lines


def regex_of(names):
    """An anchored regular expression that matches exactly the benchmark names."""
    escaped = (re.sub(r"([.*+?()\[\]{}|^$\\])", r"\\\1", name) for name in sorted(names))
    return "^(" + "|".join(escaped) + ")$"


def run_benchmarks(build_dir, lines):
    """Runs the programs; returns {program: {benchmark: median entry}} and the runs' contexts."""
    results_dir = build_dir / "results"
    results_dir.mkdir(parents=True, exist_ok=True)
    for old in results_dir.glob("*.json"):
        old.unlink()
    runs = OrderedDict()  # (program, output name) -> benchmark names
    listed = {}  # program -> the benchmarks it has in this build and with this environment
    for line in lines:
        if line.program not in listed:
            listed[line.program] = set(subprocess.run(
                [str(build_dir / "bench" / line.program), "--benchmark_list_tests=true"],
                check=True, capture_output=True, text=True).stdout.split())
        for name in (line.kiv, line.baseline_benchmark):
            if name not in listed[line.program]:
                continue  # a size left out without KIV_BENCH_LARGE=1: reported as not measured
            if line.run == "shared":
                runs.setdefault((line.program, line.program), set()).add(name)
            else:
                runs.setdefault((line.program, f"{line.program}.{re.sub(r'[^A-Za-z0-9]+', '_', name)}"), set()).add(name)
    for (program, output), names in runs.items():
        out = results_dir / f"{output}.json"
        print(f"== {program}: {len(names)} benchmark(s) -> {out.name}", flush=True)
        subprocess.run([str(build_dir / "bench" / program), f"--benchmark_filter={regex_of(names)}",
                        f"--benchmark_repetitions={REPETITIONS}", "--benchmark_report_aggregates_only=true",
                        f"--benchmark_out={out}", "--benchmark_out_format=json"], check=True)
    return read_results(build_dir)


def read_results(build_dir):
    """The runs' results in BUILD_DIR/results, in the order they ran: {program: {benchmark: median
    entry}} and each run's (program, context)."""
    medians, contexts = {}, []
    for out in sorted((build_dir / "results").glob("*.json"), key=lambda path: path.stat().st_mtime):
        program = out.name.split(".")[0]
        data = json.loads(out.read_text())
        contexts.append((program, data["context"]))
        for entry in data["benchmarks"]:
            if entry.get("aggregate_name") == "median" and not entry.get("error_occurred"):
                medians.setdefault(program, {})[entry["run_name"]] = entry
    return medians, contexts


def value_of(entry, measure):
    if measure in ("cpu_time", "real_time"):
        return entry[measure] * NANOSECONDS[entry["time_unit"]]
    return entry.get(measure)


def three_digits(v):
    return f"{v:.0f}" if v >= 100 else f"{v:.1f}" if v >= 10 else f"{v:.2f}"


def formatted(value, measure):
    if measure in ("cpu_time", "real_time"):
        for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
            if value >= size:
                return f"{three_digits(value / size)} {unit}"
        return f"{three_digits(value)} ns"
    if COUNTER_UNITS[measure] == "MiB":
        return f"{three_digits(value)} MiB"
    for unit, size in (("MB", 1e6), ("KB", 1e3)):
        if value >= size:
            return f"{three_digits(value / size)} {unit}"
    return f"{value:.0f} bytes"


def ratio_text(r):
    return f"{r:.3f}x" if r < 0.1 else f"{r:.2f}x" if r < 10 else f"{r:.1f}x"


def command_output(*command):
    try:
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return "unknown"


def machine(build_dir, contexts):
    cpu = "unknown"
    for text in Path("/proc/cpuinfo").read_text().splitlines():
        if text.startswith("model name"):
            cpu = text.split(":", 1)[1].strip()
            break
    cache = (build_dir / "CMakeCache.txt").read_text()
    compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.M).group(1)
    packages = ", ".join(f"{p} {command_output('dpkg-query', '-W', '-f=${Version}', p)}"
                         for p in ("libsimdjson-dev", "nlohmann-json3-dev", "rapidjson-dev", "libbenchmark-dev"))
    loads = "; ".join(f"{program} {', '.join(f'{l:.2f}' for l in context.get('load_avg', []))}"
                      for program, context in contexts)
    return [
        ("CPU", f"{cpu}, {os.cpu_count()} cores as the system reports them"
                f" ({contexts[0][1].get('mhz_per_cpu', '?')} MHz)"),
        ("Compiler", command_output(compiler, "--version").splitlines()[0] + ", Release (-O3)"),
        ("SQLite", command_output("pkg-config", "--modversion", "sqlite3")),
        ("Other libraries", packages),
        ("Kernel", command_output("uname", "-sr")),
        ("Load average (1, 5, 15 min) as each run began", loads),
    ]


def program_summary(program):
    """The first sentence of the benchmark program's header comment."""
    text = (ROOT / "bench" / f"{program}.cpp").read_text()
    comment = []
    for line in text.splitlines():
        if not line.startswith("//"):
            break
        stripped = line[2:].strip()
        if not stripped:
            break
        comment.append(stripped)
    return " ".join(comment)


def write_report(lines, medians, build_dir, contexts, date):
    measured = [l for l in lines if l.kiv in medians.get(l.program, {})
                and l.baseline_benchmark in medians.get(l.program, {})]
    missing = OrderedDict((l.figure, None) for l in lines if l not in measured)
    out = ["# Benchmarks", "",
           f"Generated by `bash tools/bench.sh` on {date}; run it again to measure anew (the script",
           "rewrites this file and the chart). Which benchmark is which figure's Kiv side and which its",
           "baselines is written down once, in `tools/bench_figures.tsv`.", "",
           "**Read the ratios, not the times.** This machine is shared with other work and is noisy:",
           "absolute times move by tens of percent from one run to the next. Every baseline runs in the",
           "same binary as the Kiv code it is compared with, in the same run, so the ratio of the two is",
           "what one run can show. A ratio below 1 means Kiv takes less time (or memory) than the",
           "baseline.", "",
           f"Each figure is the median of {REPETITIONS} repetitions (`--benchmark_repetitions={REPETITIONS}"
           " --benchmark_report_aggregates_only=true`), in CPU time unless it says real time (the",
           "schema changes wait for the disk, so their real time is what a user waits). Peak memory",
           "figures come from a process that ran only that benchmark.", "",
           "| machine | |", "| --- | --- |"]
    out += [f"| {k} | {v} |" for k, v in machine(build_dir, contexts)]
    out += ["", "![Kiv's time or memory divided by each baseline's, per figure](benchmarks.png)", ""]
    for program in OrderedDict((l.program, None) for l in measured):
        out += [f"## bench/{program}.cpp", "", program_summary(program), "",
                "| figure | Kiv | baseline | baseline's | Kiv / baseline |", "| --- | --- | --- | --- | --- |"]
        previous = None
        for l in (l for l in measured if l.program == program):
            kiv = value_of(medians[program][l.kiv], l.measure)
            base = value_of(medians[program][l.baseline_benchmark], l.measure)
            first = l.figure != previous
            label = l.figure + (" (real time)" if l.measure == "real_time" else "")
            out.append(f"| {label if first else ''} | {formatted(kiv, l.measure) if first else ''} | {l.baseline} | "
                       f"{formatted(base, l.measure)} | {ratio_text(kiv / base)} |")
            previous = l.figure
        out.append("")
    if missing:
        out += ["## Not measured in this run", "",
                "Their benchmarks did not run: the 10^6 sizes run only with `KIV_BENCH_LARGE=1`, and",
                "benchmarks of `../shared/data` skip themselves when its files are missing.", ""]
        out += [f"- {figure}" for figure in missing] + [""]
    REPORT.write_text("\n".join(out))
    return measured


def draw_chart(measured, medians, build_dir, date, cpu):
    chart_dir = build_dir / "chart"
    chart_dir.mkdir(parents=True, exist_ok=True)
    libraries = list(OrderedDict((l.library, None) for l in measured))
    bars = {library: [] for library in libraries}
    tics, x, previous = [], 0.0, None
    for l in measured:
        if l.figure != previous:
            if previous is not None:
                tics.append((previous, (start + x - 1) / 2))
                x += 0.8
            start, previous = x, l.figure
        ratio = value_of(medians[l.program][l.kiv], l.measure) / value_of(medians[l.program][l.baseline_benchmark], l.measure)
        bars[l.library].append((x, ratio))
        x += 1
    tics.append((previous, (start + x - 1) / 2))
    data = chart_dir / "ratios.dat"
    data.write_text("\n\n\n".join("\n".join(f"{bx} {r}" for bx, r in bars[lib]) for lib in libraries) + "\n")
    # Labels are gnuplot's enhanced text, where "^" raises (10^5) and "_" would lower.
    escape = lambda s: s.replace("\\", "\\\\").replace('"', '\\"').replace("_", "\\\\_")
    plots = ", ".join(
        f'"{data}" index {i} using 1:(1):($1-0.45):($1+0.45):($2<1?$2:1):($2<1?1:$2) with boxxyerror '
        f'fillstyle solid 0.85 lc rgb "{COLOURS[i % len(COLOURS)]}" title "{escape(lib)}"'
        for i, lib in enumerate(libraries))
    script = chart_dir / "chart.gp"
    script.write_text(f"""set terminal pngcairo size {max(1200, int(22 * x) + 250)},820 font "DejaVu Sans,10"
set output "{CHART}"
set title "Kiv against the baselines in the same binary (medians of {REPETITIONS}; {escape(cpu)}, {date})"
set logscale y
set ylabel "Kiv / baseline (log scale; below 1: Kiv takes less)"
set xrange [-1:{x}]
set xtics rotate by 40 right font ",8" ({", ".join(f'"{escape(t)}" {p}' for t, p in tics)})
set grid ytics mytics
set key outside right top box
set bmargin 16
set lmargin 18
set arrow from graph 0, first 1 to graph 1, first 1 nohead lw 1.5 lc rgb "black" front
plot {plots}
""")
    subprocess.run(["gnuplot", str(script)], check=True)


def main():
    if len(sys.argv) not in (2, 3) or (len(sys.argv) == 3 and sys.argv[2] != "--from-results"):
        sys.exit(__doc__)
    build_dir = Path(sys.argv[1]).resolve()
    lines = read_figures()
    if len(sys.argv) == 3:
        medians, contexts = read_results(build_dir)
    else:
        medians, contexts = run_benchmarks(build_dir, lines)
    began = datetime.datetime.fromisoformat(contexts[0][1]["date"]) if contexts else datetime.datetime.now()
    date = began.astimezone(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC")
    measured = write_report(lines, medians, build_dir, contexts, date)
    if not measured:
        sys.exit("no figure was measured")
    cpu = dict(machine(build_dir, contexts))["CPU"].split(",")[0]
    draw_chart(measured, medians, build_dir, date, cpu)
    print(f"Wrote {REPORT.relative_to(ROOT)} ({len(measured)} baselines) and {CHART.relative_to(ROOT)}")


if __name__ == "__main__":
    main()
