#!/usr/bin/env python3
"""Makes tables of what the benchmark measured (figures/ has the rules).

    report.py --output DIRECTORY --page PAGE [options] MEASUREMENT
        writes results.json, every figure; tables.md, every table; bars.tsv and sizes.tsv, for the plots, into the directory.
        Of the page it writes the processor's table, what a user gets, the estimate and the sizes of the code.
    report.py --add --page PAGE MEASUREMENT
        writes the processor's table into the page and nothing else: for a measurement of another machine.

Exits with 1, and leaves the page as it was, when the measurement or the page is not what it has to be.
"""
import argparse
import json
import os
import sys

from figures import bars, cells, code, estimates, page, plots, tables
from figures.measured import Refused, Unfit, read
from figures.text import table, titled


def arguments():
    parser = argparse.ArgumentParser(prog="report.py", description="tables of a measurement")
    parser.add_argument("measurement")
    parser.add_argument("--page", required=True)
    parser.add_argument("--add", action="store_true")
    parser.add_argument("--output")
    parser.add_argument("--command", default="./dev bench")
    parser.add_argument("--library", action="append", default=[], metavar="ARCHITECTURE=FILE")
    parser.add_argument("--estimate", metavar="FILE")
    parser.add_argument("--instructions", metavar="DIRECTORY")
    asked = parser.parse_args()
    if not asked.add and not asked.output:
        parser.error("--output is missing: where the tables go")
    return asked


def instruction_counts(path):
    with open(path, encoding="utf-8") as lines:
        return dict(line.split() for line in lines if line.strip() and not line.startswith("#"))


def instructions_table(directory):
    x86_64, aarch64 = (instruction_counts(os.path.join(directory, f"baseline-{machine}.txt"))
                       for machine in ("x86_64", "aarch64"))
    paths = dict.fromkeys([*x86_64, *aarch64])
    return table(["path", "x86-64", "AArch64"], [[path, x86_64.get(path, ""), aarch64.get(path, "")] for path in paths])


def tables_page(asked, measured, libraries):
    parts = ["# Performance: every table", page.processor_section(measured, asked.command),
             titled("## Every cell that a peer wins", page.lost_list(measured, most=1000)), *tables.everything(measured)]
    if asked.estimate:
        parts.append(titled("Cycles on the target, estimated, not measured (llvm-mca):", estimates.full_table(asked.estimate)))
    if asked.instructions:
        parts.append(titled("Instructions a call, or an element of a batch:", instructions_table(asked.instructions)))
    for name, library in libraries.items():
        whole, by_type = code.rows(library)
        parts.append(titled(f"Bytes of code, {name}, the functions named after a message with the cold ones:",
                            table(["", "bytes"], whole + by_type)))
    return "\n\n".join(parts) + "\n"


def results(measured):
    return json.dumps({
        "machine": measured.machine, "bars": bars.of(measured), "cells": cells.of(measured),
        "nanoseconds": {g: {c: measured.median(g, c) for c in measured.runs[0].groups[g].times}
                        for g in measured.groups("")}}, indent=1)


def new_page(asked, measured, libraries):
    with open(asked.page, encoding="utf-8") as file:
        text = file.read()
    text = page.with_processor(asked.page, text, page.processor_of(measured), page.processor_section(measured, asked.command))
    if not asked.add:
        text = page.replaced(asked.page, text, "summary", page.summary(measured))
        if asked.estimate:
            text = page.replaced(asked.page, text, "estimate", estimates.page_table(asked.estimate))
        if libraries:
            text = page.replaced(asked.page, text, "sizes", code.page_table(libraries))
    return page.checked(asked.page, text)


def write(path, text):
    with open(path, "w", encoding="utf-8") as out:
        out.write(text)


def report(asked, measured):
    if asked.add and measured.machine["mode"] != "full":
        raise Unfit(f"is a {measured.machine['mode']} run, whose times are no result; run the benchmark without options")
    libraries = dict(pair.split("=", 1) for pair in asked.library)
    if not asked.add:
        write(os.path.join(asked.output, "results.json"), results(measured))
        write(os.path.join(asked.output, "bars.tsv"), plots.bars_lines(measured))
        write(os.path.join(asked.output, "sizes.tsv"), plots.sizes_lines(measured))
        write(os.path.join(asked.output, "tables.md"), tables_page(asked, measured, libraries))
    write(asked.page, new_page(asked, measured, libraries))
    print(page.bars_table(measured))


def main():
    asked = arguments()
    try:
        measured = read(asked.measurement)
        try:
            report(asked, measured)
        except Unfit as refused:
            raise Refused(f"{asked.measurement}: {refused}") from refused
    except Refused as refused:
        sys.exit(f"report.py: {refused}")


if __name__ == "__main__":
    main()
