#!/usr/bin/env python3
"""Turns what the benchmark measured into results.json, the tables of docs/performance.md and a plot.

    report.py run.json library.so tests/instructions output-directory performance.md performance.svg

The output directory has the listings (listing.sh), and gets results.json.

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
        """Each repetition's time of a send less all that is not encoding, with one empty call on top."""
        parts = (self.all(group, name) for name in ("send", "bus", "empty"))
        return [send - bus + empty for send, bus, empty in zip(*parts)]

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


def times_tables(run):
    parts = ["Single records, D, nanoseconds a call (the empty call included):\n"]
    rows = []
    for t in SINGLE:
        g = "single/" + t
        rows.append([t] + [ns(v) for v in (
            run.median(g, "empty"), run.median(g, "send"), run.median(g, "bus"), statistics.median(run.frame_write(g)),
            run.median(g, run.limit(g, "frame_copy_in_place")), run.median(g, "frame_unpack"),
            run.median(g, run.limit(g, "frame_copy")), run.median(g, run.limit(g, "record_copy")),
            run.median(g, "pack.D"), run.median(g, "unpack.D"), run.median(g, run.limit(g, "packed_copy.D")))])
    parts.append(table(["type", "empty call", "__sendsingle", "bus call only", "frame write", "memcpy in place",
                        "frame unpack", "memcpy frame", "memcpy record", "pack",
                        "unpack packed", "memcpy packed"], rows))
    parts.append("\nThe peers on the same records, encode and decode:\n")
    parts.append(table(["type"] + [f"{n} {d}" for n in PEERS.values() for d in ("encode", "decode")], [
        [t] + [ns(run.median("single/" + t, f"{p}_{d}.D")) for p in PEERS for d in ("encode", "decode")]
        for t in SINGLE]))
    parts.append("\nPacked, 20,000 distinct records with (D) no, (T) eight patterns of, (Z) random zeros:\n")
    parts.append(table(["type"] + [f"{p} {w}" for p in ("pack", "unpack", "memcpy") for w in "DOTZ"], [
        [t] + [ns(run.median("zeros/" + t, f"{p}.{w}")) for p in ("pack", "unpack") for w in "DOTZ"]
        + [ns(run.median("zeros/" + t, run.limit("zeros/" + t, "packed_copy." + w))) for w in "DOTZ"] for t in SMALL]))
    parts.append("\nand the peers on T and Z:\n")
    parts.append(table(["type"] + [f"{n} {d} {w}" for n in PEERS.values() for d in ("encode", "decode") for w in "TZ"], [
        [t] + [ns(run.median("zeros/" + t, f"{p}_{d}.{w}")) for p in PEERS for d in ("encode", "decode") for w in "TZ"]
        for t in SMALL]))
    for which in "DZ":
        g = "batch/" + which
        parts.append(f"\nBatches of srv6_common_fwd, {which}, nanoseconds an element (unpack with its release):\n")
        parts.append(table(["elements", "pack", "unpack", "memcpy by element", "memcpy of all"]
                           + [f"{n} {d}" for n in PEERS.values() for d in ("encode", "decode")], [
            [f"{n:,}"] + [ns(run.median(g, c)) for c in (f"pack.{n}", f"unpack.{n}")]
            + [ns(run.median(g, run.limit(g, f"copy.{n}"))) if which == "D" else "", ns(run.median(g, f"copy_whole.{n}"))]
            + [ns(run.median(g, f"{p}_{d}.{n}")) for p in PEERS for d in ("encode", "decode")] for n in BATCHES]))
    parts.append("\nSends, nanoseconds a frame, against a bus that returns at once:\n")
    parts.append(table(["type", "__sendsingle", "__sendbatch of 1,000", "ratio"], [
        [t, ns(run.median("sends/" + t, "send")), ns(run.median("sends/" + t, "send_batch")),
         f"{run.ratio('sends/' + t, 'send_batch', 'send'):.2f}"] for t in SMALL]))
    return "\n".join(parts)


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


def size_table(library):
    sections = {}
    for line in output_of("size", "-A", library).splitlines():
        words = line.split()
        if len(words) == 3 and words[0].startswith("."):
            sections[words[0]] = int(words[1])
    by_type = text_by_type(library)
    shared = by_type.pop("shared by all", 0)
    rows = [["`.text` in total", f"{sections['.text']:,}"], ["`.rodata` in total", f"{sections.get('.rodata', 0):,}"],
            ["code shared by all types", f"{shared:,}"],
            ["median of a type", f"{statistics.median(by_type.values()):,.0f}"]]
    rows += [[name, f"{size:,}"] for name, size in sorted(by_type.items(), key=lambda item: -item[1])]
    return table(["", "bytes"], rows)


def machine_of():
    for line in output_of("lscpu").splitlines():
        if line.startswith("Model name:"):
            return line.split(":", 1)[1].strip()
    return "unknown"


def plot(rows, path):
    """A bar a row: how far the measured ratio is from its bar, on a line from half to twice; right of it is missed."""
    width, left, step, top = 1100, 620, 20, 44
    height = top + step * len(rows) + 16
    scale = (width - left - 90) / 2

    def place(value):
        return left + scale * (1 + max(-1.0, min(1.0, math.log2(value))))

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
             f'font-family="sans-serif" font-size="12">',
             f'<rect width="{width}" height="{height}" fill="white"/>',
             f'<text x="{left}" y="16">measured against the bar: left of the line it is met</text>']
    for value, label in ((0.5, "half"), (1, "the bar"), (2, "twice")):
        x = place(value)
        parts.append(f'<text x="{x:.0f}" y="34" text-anchor="middle" fill="#555">{label}</text>')
        parts.append(f'<line x1="{x:.0f}" x2="{x:.0f}" y1="38" y2="{height - 12}" stroke="{"black" if value == 1 else "#ccc"}"/>')
    for i, r in enumerate(rows):
        used = r["measured"] / r["bar"] if r["most"] else r["bar"] / r["measured"]
        y = top + step * i
        x, one = place(used), place(1)
        colour = "#3a7d44" if r["met"] else "#c0392b"
        label = r["path"].replace("&", "&amp;").replace("<", "&lt;")
        parts.append(f'<text x="{left - 8}" y="{y + 13}" text-anchor="end">{label}</text>')
        parts.append(f'<rect x="{min(x, one):.1f}" y="{y + 3}" width="{abs(x - one):.1f}" height="{step - 7}" fill="{colour}"/>')
        parts.append(f'<text x="{width - 84}" y="{y + 13}">{r["measured"]:.2f} ({"≤" if r["most"] else "≥"} {r["bar"]:g})</text>')
    parts.append("</svg>\n")
    with open(path, "w", encoding="utf-8") as out:
        out.write("\n".join(parts))


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
    measured, library, instructions, out_directory, page, picture = sys.argv[1:]
    with open(measured, encoding="utf-8") as file:
        run = Run(json.load(file))
    rows = bars_of(run)
    types = all_types(run)
    machine = {"cpu": machine_of(), "core": run.context["core"], "compiler": os.environ.get("VORL_COMPILER", "unknown"),
               "date": datetime.date.today().isoformat(), "command": os.environ.get("VORL_COMMAND", "./dev bench"),
               "repetitions": run.context["repetitions"], "load": run.context["load_avg"]}
    with open(os.path.join(out_directory, "results.json"), "w", encoding="utf-8") as out:
        json.dump({"machine": machine, "bars": rows,
                   "all_types": [dict(zip(("type", "frame_write", "frame_unpack", "pack", "unpack"), r)) for r in types],
                   "nanoseconds": {g: {c: statistics.median(v) for c, v in cs.items()} for g, cs in run.times.items()}},
                  out, indent=1)
    heading = (f"{machine['cpu']}, core {machine['core']}; {machine['compiler']}; {machine['date']}; "
               f"`{machine['command']}`; {machine['repetitions']} interleaved repetitions; "
               f"{sum(r['met'] for r in rows)} of {len(rows)} bars met.\n\n")
    with open(page, encoding="utf-8") as file:
        text = file.read()
    text = replace_section(text, "bars", heading + bars_table(rows))
    text = replace_section(text, "times", times_tables(run))
    text = replace_section(text, "all types", all_types_table(types))
    text = replace_section(text, "instructions", instructions_table(instructions))
    text = replace_section(text, "size x86-64", size_table(library))
    for machine_code in ("x86-64", "aarch64"):
        listing = os.path.join(out_directory, f"listing-{machine_code}.md")
        # No AArch64 library at hand: what the page shows of it stays.
        if os.path.exists(listing):
            with open(listing, encoding="utf-8") as file:
                text = replace_section(text, "listing " + machine_code, file.read())
    aarch64 = os.environ.get("AARCH64_LIBRARY")
    if aarch64:
        text = replace_section(text, "size aarch64", size_table(aarch64))
    with open(page, "w", encoding="utf-8") as out:
        out.write(text)
    plot(rows, picture)
    print(bars_table(rows))


if __name__ == "__main__":
    main()
