#!/usr/bin/python3
"""Runs benches and prints one table of ratios: table.py BUILD_DIR [--quick] [NAME...].

A NAME is a bench program, or "processes", "redfish-reader", "ipmi-reader" or "pages" for comparisons of whole
processes; by default all that have rows for the table. Every ratio is what kelvar took by what the other took in the same run: below 1 kelvar is the faster.
"""

import pathlib
import subprocess
import sys

import pages
import processes
import readers

WITH_ROWS = ("cim_enumerate_bench", "cim_operations_bench", "fleet_bench", "ipmi_components_bench",
             "ipmi_transport_bench", "redfish_bench")
OF_PROCESSES = {"processes": processes.rows,
                "redfish-reader": lambda build, quick: readers.rows(build, quick, "redfish"),
                "ipmi-reader": lambda build, quick: readers.rows(build, quick, "ipmi"),
               "pages": pages.rows}
COLUMNS = ("operation", "compared with", "wall", "CPU", "ms", "other ms", "MiB", "other MiB", "requests", "connections")


def number(text):
    return None if text == "-" else float(text)


def bench_rows(program, quick):
    """Rows that a bench prints; the rest of its output is passed on."""
    arguments = [str(program)]
    if program.name in WITH_ROWS:
        arguments += ["--rows"] + (["--quick"] if quick else [])
    with subprocess.Popen(arguments, stdout=subprocess.PIPE, text=True) as process:
        for line in process.stdout:
            fields = line.rstrip("\n").split("\t")
            if fields[0] != "row":
                print(line, end="", flush=True)
                continue
            values = [number(field) for field in fields[3:]]
            yield {"operation": fields[1], "against": fields[2], "wall": values[0:2], "cpu": values[2:4],
                   "peak": values[4:6], "requests": (values[6], None), "connections": (values[7], None)}
    if process.returncode != 0:
        sys.exit(f"{program} failed")


def ratio(pair):
    return "-" if None in pair or not pair[1] else f"{pair[0] / pair[1]:.2f}"


def both(pair):
    return " / ".join(f"{value:g}" for value in pair if value is not None) or "-"


def cells(row):
    times = [f"{value * 1e3:.3f}" if value is not None else "-" for value in row["wall"]]
    peaks = [f"{value:.3g}" if value is not None else "-" for value in row["peak"]]
    return [row["operation"], row["against"], ratio(row["wall"]), ratio(row["cpu"]), *times, *peaks,
            both(row["requests"]), both(row["connections"])]


def print_table(rows):
    lines = [list(COLUMNS)] + [cells(row) for row in rows]
    widths = [max(len(line[column]) for line in lines) for column in range(len(COLUMNS))]
    for line in lines:
        texts = [cell.ljust(width) if column < 2 else cell.rjust(width)
                 for column, (cell, width) in enumerate(zip(line, widths))]
        print("  ".join(texts).rstrip())


def main():
    build, *names = [argument for argument in sys.argv[1:] if argument != "--quick"]
    quick = "--quick" in sys.argv[1:]
    programs = sorted(pathlib.Path(build, "bench").glob("*/*_bench"))
    unknown = set(names) - {program.name for program in programs} - set(OF_PROCESSES)
    if unknown:
        sys.exit(f"no such bench: {' '.join(sorted(unknown))}")
    rows = []
    for program in programs:
        if program.name in (names or WITH_ROWS):
            print(f"== {program.name}", flush=True)
            rows += bench_rows(program, quick)
    for name, make_rows in OF_PROCESSES.items():
        if name in (names or OF_PROCESSES):
            print(f"== {name}", flush=True)
            rows += make_rows(build, quick)
    print("\n== ratios: kelvar by the other; below 1 kelvar is the faster")
    print_table(rows)


if __name__ == "__main__":
    main()
