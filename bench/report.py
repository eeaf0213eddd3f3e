#!/usr/bin/env python3
"""Turns what the benchmark measured into the tables of docs/performance.md, and into files that say all of it.

    report.py run.json library.so tests/instructions output-directory performance.md

The output directory gets results.json, with every figure; tables.md, with every table; and bars.tsv, for plot.gp.

Ratios are taken repetition by repetition, between contenders that ran in turn, and their median is reported.
"""
import datetime
import json
import math
import os
import re
import statistics
import subprocess
import sys

SMALL = ["srv6_vrf_class_data", "srv6_common_fwd", "srv6_policy_fwd", "srv6_sidstack_fwd"]
SINGLE = SMALL + ["srv6_vrf_class_data_chg", "srv6_cfg_query_dfx_item", "srv6_cfg_query_trastat_rec_info"]
LONG = "srv6_cfg_query_dfx_item"
PEERS = {"flatbuffers": "FlatBuffers", "capnp": "Cap'n Proto", "protobuf": "protobuf"}
BATCHES = [1, 10, 100, 1000, 10000, 100000]
PER_ELEMENT = 1000  # the batch that the bars per element are taken from


class Run:
    """Nanoseconds a call: of each group, of each contender, a list with one entry a repetition."""

    def __init__(self, measured):
        self.context = measured["context"]
        self.times = {}
        known = set(measured["benchmarks"][0]) if measured["benchmarks"] else set()
        for entry in measured["benchmarks"]:
            if entry["run_type"] != "iteration":
                continue
            group = self.times.setdefault(entry["name"].split("/iterations:")[0], {})
            for name, value in entry.items():
                if isinstance(value, float) and name not in ("real_time", "cpu_time"):
                    group.setdefault(name, []).append(value)

    def all(self, group, name):
        return self.times[group][name]

    def median(self, group, name):
        return statistics.median(self.all(group, name))

    def fastest(self, group, names):
        """The one of several contenders whose median is the least."""
        return min((n for n in names if n in self.times[group]), key=lambda n: self.median(group, n))

    def limit(self, group, copy):
        return self.fastest(group, [copy + ".libc", copy + ".constant"])

    def ratio(self, group, above, below):
        return statistics.median(a / b for a, b in zip(self.all(group, above), self.all(group, below)))

    def frame_write(self, group):
        """Each repetition's time of a send less all that is not encoding, with one empty call on top.

        Where other work disturbs the run, the difference can come out at nothing or less, of which there is no ratio: it
        counts as the least time that the tables show."""
        parts = (self.all(group, name) for name in ("send", "bus", "empty"))
        return [max(send - bus + empty, 0.1) for send, bus, empty in zip(*parts)]

    def frame_write_ratio(self, group):
        limit = self.all(group, self.limit(group, "frame_copy_in_place"))
        return statistics.median(a / b for a, b in zip(self.frame_write(group), limit))


def geometric_mean(values):
    values = list(values)
    return math.exp(sum(math.log(v) for v in values) / len(values))


def peer(run, group, direction, which):
    return run.fastest(group, [f"{name}_{direction}.{which}" for name in PEERS])


class Bars:
    """The rows of the first table: what was asked for, what was measured."""

    def __init__(self):
        self.rows = []

    def at_most(self, path, bar, measured):
        self.rows.append({"path": path, "bar": bar, "most": True, "measured": measured, "met": measured <= bar})

    def at_least(self, path, bar, measured):
        self.rows.append({"path": path, "bar": bar, "most": False, "measured": measured, "met": measured >= bar})


def bars_of(run):
    bars = Bars()

    def single(name):
        return "single/" + name

    bars.at_most("frame write / memcpy of the frame, geometric mean of the small types", 1.25,
                 geometric_mean(run.frame_write_ratio(single(t)) for t in SMALL))
    bars.at_most("frame write / memcpy of the frame, 16 KB type", 1.05, run.frame_write_ratio(single(LONG)))
    bars.at_most("frame unpack / memcpy of the frame, geometric mean of the small types", 1.4, geometric_mean(
        run.ratio(single(t), "frame_unpack", run.limit(single(t), "frame_copy")) for t in SMALL))
    bars.at_most("frame unpack / memcpy of the record, 16 KB type", 1.08,
                 run.ratio(single(LONG), "frame_unpack", run.limit(single(LONG), "record_copy")))
    bars.at_most("pack, D / memcpy of the packed bytes, geometric mean of the small types", 1.5, geometric_mean(
        run.ratio(single(t), "pack.D", run.limit(single(t), "packed_copy.D")) for t in SMALL))
    for t in SMALL:
        bars.at_most(f"pack, Z / D by the same path (O), {t}", 1.15, run.ratio("zeros/" + t, "pack.Z", "pack.O"))
        bars.at_most(f"pack, Z / T, {t}", 1.15, run.ratio("zeros/" + t, "pack.Z", "pack.T"))
    bars.at_most("unpack of packed bytes, D / memcpy of them, geometric mean of the small types", 1.6, geometric_mean(
        run.ratio(single(t), "unpack.D", run.limit(single(t), "packed_copy.D")) for t in SMALL))
    zeros = "zeros/srv6_common_fwd"
    bars.at_most("unpack of packed bytes, Z / memcpy of them, srv6_common_fwd", 2.3,
                 run.ratio(zeros, "unpack.Z", run.limit(zeros, "packed_copy.Z")))
    for path, bar in (("pack", 1.65), ("unpack", 1.3)):
        bars.at_most(f"batch of {PER_ELEMENT} srv6_common_fwd per element, D: {path} / memcpy of its bytes", bar,
                     run.ratio("batch/D", f"{path}.{PER_ELEMENT}", run.limit("batch/D", f"copy.{PER_ELEMENT}")))
    for path, direction in (("pack", "encode"), ("unpack", "decode")):
        bars.at_least(f"batch of {PER_ELEMENT} srv6_common_fwd, Z: Cap'n Proto's {direction} / our {path}", 1,
                      run.ratio("batch/Z", f"capnp_{direction}.{PER_ELEMENT}", f"{path}.{PER_ELEMENT}"))
    for which in "DZ":
        for path in ("pack", "unpack"):
            bars.at_most(f"batch, {which}: {path} per element, 100,000 / 100 elements", 1.3,
                         run.ratio("batch/" + which, path + ".100000", path + ".100"))
    for t in SMALL:
        fastest = peer(run, single(t), "encode", "D")
        bars.at_least(f"fastest peer / ours, encode, D, {t}", 5.5, statistics.median(
            a / b for a, b in zip(run.all(single(t), fastest), run.frame_write(single(t)))))
        bars.at_least(f"fastest peer / ours, decode, D, {t}", 5.5,
                      run.ratio(single(t), peer(run, single(t), "decode", "D"), "frame_unpack"))
    for t in SMALL:
        for path, direction, bar in (("pack", "encode", 4), ("unpack", "decode", 5)):
            bars.at_least(f"fastest peer / ours, packed, T, {path}, {t}", bar,
                          run.ratio("zeros/" + t, peer(run, "zeros/" + t, direction, "T"), path + ".T"))
    bars.at_most("__sendbatch of 1,000 per frame / __sendsingle, srv6_common_fwd", 0.8,
                 run.ratio("sends/srv6_common_fwd", "send_batch", "send"))
    fixed = [g for g in run.times if g.startswith("all/") and "send" in run.times[g]]
    bars.at_most(f"all {len(fixed)} fixed types, geometric mean: frame write / memcpy of the frame", 1.5,
                 geometric_mean(run.frame_write_ratio(g) for g in fixed))
    bars.at_most(f"all {len(fixed)} fixed types, geometric mean: frame unpack / memcpy of the frame", 1.7,
                 geometric_mean(run.ratio(g, "frame_unpack", run.limit(g, "frame_copy")) for g in fixed))
    return bars.rows


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "| " + " | ".join(["---"] + ["---:"] * (len(header) - 1)) + " |"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def ns(value):
    return f"{value:,.1f}" if value < 1000 else f"{value:,.0f}"


def bars_table(rows):
    header = "| path | bar | measured | |\n| --- | ---: | ---: | --- |\n"
    return header + "\n".join(
        f"| {r['path']} | {'≤' if r['most'] else '≥'} {r['bar']:g} | {r['measured']:.2f} | "
        f"{'met' if r['met'] else '**missed**'} |" for r in rows)


def titled(title, content):
    return f"{title}\n\n{content}"


def single_tables(run):
    rows = []
    for t in SINGLE:
        g = "single/" + t
        rows.append([t] + [ns(v) for v in (
            run.median(g, "empty"), run.median(g, "send"), run.median(g, "bus"), statistics.median(run.frame_write(g)),
            run.median(g, run.limit(g, "frame_copy_in_place")), run.median(g, "frame_unpack"),
            run.median(g, run.limit(g, "frame_copy")), run.median(g, run.limit(g, "record_copy")),
            run.median(g, "pack.D"), run.median(g, "unpack.D"), run.median(g, run.limit(g, "packed_copy.D")))])
    ours = table(["type", "empty call", "__sendsingle", "bus call only", "frame write", "memcpy in place", "frame unpack",
                  "memcpy frame", "memcpy record", "pack", "unpack packed", "memcpy packed"], rows)
    peers = table(["type"] + [f"{n} {d}" for n in PEERS.values() for d in ("encode", "decode")], [
        [t] + [ns(run.median("single/" + t, f"{p}_{d}.D")) for p in PEERS for d in ("encode", "decode")] for t in SINGLE])
    return [titled("Single records, D, nanoseconds a call (the empty call included):", ours),
            titled("The peers on the same records, encode and decode:", peers)]


def zeros_tables(run):
    ours = table(["type"] + [f"{p} {w}" for p in ("pack", "unpack", "memcpy") for w in "DOTZ"], [
        [t] + [ns(run.median("zeros/" + t, f"{p}.{w}")) for p in ("pack", "unpack") for w in "DOTZ"]
        + [ns(run.median("zeros/" + t, run.limit("zeros/" + t, "packed_copy." + w))) for w in "DOTZ"] for t in SMALL])
    peers = table(["type"] + [f"{n} {d} {w}" for n in PEERS.values() for d in ("encode", "decode") for w in "TZ"], [
        [t] + [ns(run.median("zeros/" + t, f"{p}_{d}.{w}")) for p in PEERS for d in ("encode", "decode") for w in "TZ"]
        for t in SMALL])
    return [titled("Packed, 20,000 distinct records with (D) no, (T) eight patterns of, (Z) random zeros:", ours),
            titled("The peers on T and Z:", peers)]


def batch_tables(run):
    parts = []
    for which in "DZ":
        g = "batch/" + which
        rows = [[f"{n:,}"] + [ns(run.median(g, c)) for c in (f"pack.{n}", f"unpack.{n}")]
                + [ns(run.median(g, run.limit(g, f"copy.{n}"))) if which == "D" else "", ns(run.median(g, f"copy_whole.{n}"))]
                + [ns(run.median(g, f"{p}_{d}.{n}")) for p in PEERS for d in ("encode", "decode")] for n in BATCHES]
        parts.append(titled(f"Batches of srv6_common_fwd, {which}, nanoseconds an element (unpack with its release):", table(
            ["elements", "pack", "unpack", "memcpy by element", "memcpy of all"]
            + [f"{n} {d}" for n in PEERS.values() for d in ("encode", "decode")], rows)))
    return parts


def sends_table(run):
    return titled("Sends, nanoseconds a frame, against a bus that returns at once:", table(
        ["type", "__sendsingle", "__sendbatch of 1,000", "ratio"], [
            [t, ns(run.median("sends/" + t, "send")), ns(run.median("sends/" + t, "send_batch")),
             f"{run.ratio('sends/' + t, 'send_batch', 'send'):.2f}"] for t in SMALL]))


def all_types(run):
    """[type, frame write, frame unpack, pack, unpack], each by memcpy; None where there is no frame."""
    rows = []
    for g in (g for g in run.times if g.startswith("all/")):
        framed = "send" in run.times[g]
        copy = run.limit(g, "packed_copy.D")
        rows.append([g[4:], run.frame_write_ratio(g) if framed else None,
                     run.ratio(g, "frame_unpack", run.limit(g, "frame_copy")) if framed else None,
                     run.ratio(g, "pack.D", copy), run.ratio(g, "unpack.D", copy)])
    return rows


def all_types_table(rows):
    def cells(values):
        return ["" if v is None else f"{v:.2f}" for v in values]

    means = [geometric_mean(r[i] for r in rows if r[i] is not None) for i in range(1, 5)]
    header = ["type", "frame write", "frame unpack", "pack", "unpack packed"]
    body = [["**geometric mean**"] + cells(means)] + [[r[0]] + cells(r[1:]) for r in sorted(rows)]
    return table(header, body)


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def text_by_type(library):
    """Bytes of code by message: the functions that are named after it."""
    sizes = {}
    for line in output_of("nm", "-S", "--demangle", library).splitlines():
        parts = line.split(maxsplit=3)
        if len(parts) != 4 or parts[2] not in "tTwW":
            continue
        # A message's own name stands last before _message; an element's may stand in front of it.
        named = re.findall(r"(srv6_\w+?)(?:_message\b|__(?:un)?pack\b|_free__unpacked\b|__send(?:single|batch|msg|tomsg)\b)",
                           parts[3])
        name = named[-1] if named else "shared by all"
        sizes[name] = sizes.get(name, 0) + int(parts[1], 16)
    return sizes


def size_rows(library):
    """Of the whole library; of each message."""
    sections = {}
    for line in output_of("size", "-A", library).splitlines():
        words = line.split()
        if len(words) == 3 and words[0].startswith("."):
            sections[words[0]] = int(words[1])
    by_type = text_by_type(library)
    shared = by_type.pop("shared by all", 0)
    whole = [["`.text` in total", f"{sections['.text']:,}"], ["`.rodata` in total", f"{sections.get('.rodata', 0):,}"],
             ["code shared by all types", f"{shared:,}"],
             ["median of a type", f"{statistics.median(by_type.values()):,.0f}"]]
    return whole, [[name, f"{size:,}"] for name, size in sorted(by_type.items(), key=lambda item: -item[1])]


def machine_of():
    for line in output_of("lscpu").splitlines():
        if line.startswith("Model name:"):
            return line.split(":", 1)[1].strip()
    return "unknown"


def plotted(rows):
    """The lines that plot.gp reads."""
    lines = []
    for r in rows:
        used = r["measured"] / r["bar"] if r["most"] else r["bar"] / r["measured"]
        figures = f"{r['measured']:.2f} ({'≤' if r['most'] else '≥'} {r['bar']:g})"
        lines.append(f"{r['path']}\t{used:.4f}\t{int(r['met'])}\t{figures}\n")
    return "".join(lines)


def instruction_counts(path):
    with open(path, encoding="utf-8") as lines:
        return dict(line.split() for line in lines if line.strip() and not line.startswith("#"))


def instructions_table(directory):
    x86_64, aarch64 = (instruction_counts(os.path.join(directory, f"baseline-{machine}.txt"))
                       for machine in ("x86_64", "aarch64"))
    paths = dict.fromkeys([*x86_64, *aarch64])
    return table(["path", "x86-64", "AArch64"], [[path, x86_64.get(path, ""), aarch64.get(path, "")] for path in paths])


def replace_section(text, name, content):
    begin, end = f"<!-- {name} -->", f"<!-- /{name} -->"
    if begin not in text or end not in text:
        sys.exit(f"report.py: the page has no section between {begin} and {end}")
    head, tail = text.split(begin)[0], text.split(end, 1)[1]
    return f"{head}{begin}\n{content.strip()}\n{end}{tail}"


def main():
    measured, library, instructions, out_directory, page = sys.argv[1:]
    with open(measured, encoding="utf-8") as file:
        run = Run(json.load(file))
    rows = bars_of(run)
    types = all_types(run)
    machine = {"cpu": machine_of(), "core": run.context["core"], "compiler": os.environ.get("VORL_COMPILER", "unknown"),
               "date": datetime.date.today().isoformat(), "command": os.environ.get("VORL_COMMAND", "./dev bench"),
               "repetitions": run.context["repetitions"], "load": run.context["load_avg"]}
    heading = (f"{machine['cpu']}, core {machine['core']}; {machine['compiler']}; {machine['date']}; "
               f"`{machine['command']}`; {machine['repetitions']} interleaved repetitions; "
               f"{sum(r['met'] for r in rows)} of {len(rows)} bars met.")

    def write(name, text):
        with open(os.path.join(out_directory, name), "w", encoding="utf-8") as out:
            out.write(text)

    write("results.json", json.dumps({
        "machine": machine, "bars": rows,
        "all_types": [dict(zip(("type", "frame_write", "frame_unpack", "pack", "unpack"), r)) for r in types],
        "nanoseconds": {g: {c: statistics.median(v) for c, v in cs.items()} for g, cs in run.times.items()}}, indent=1))
    write("bars.tsv", plotted(rows))

    with open(page, encoding="utf-8") as file:
        text = file.read()
    text = replace_section(text, "bars", titled(heading, bars_table(rows)))
    text = replace_section(text, "times", "\n\n".join(single_tables(run) + batch_tables(run)))
    tables = ["# Performance: every table", heading, titled("## Bars", bars_table(rows)), "## Times",
              *single_tables(run), *zeros_tables(run), *batch_tables(run), sends_table(run),
              "## All types by memcpy", titled("Records without zeros, vectors of four elements:", all_types_table(types)),
              "## Instructions", titled("A call, or an element of a batch, as tests/instructions counts them:",
                                        instructions_table(instructions))]
    # No AArch64 library at hand: what the page shows of it stays.
    libraries = {"x86-64": library, "aarch64": os.environ.get("AARCH64_LIBRARY")}
    for name, file in ((n, f) for n, f in libraries.items() if f):
        whole, by_type = size_rows(file)
        text = replace_section(text, "size " + name, table(["", "bytes"], whole))
        tables.append(titled(f"## Code by type, {name}", "The functions named after a message, with the cold ones:\n\n"
                             + table(["", "bytes"], whole + by_type)))
    write("tables.md", "\n\n".join(tables) + "\n")
    with open(page, "w", encoding="utf-8") as out:
        out.write(text)
    print(bars_table(rows))


if __name__ == "__main__":
    main()
