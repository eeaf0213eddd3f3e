"""The page, docs/performance.md: sections between marks, a table for each processor, and a bound of its length.

A section stands between <!-- NAME --> and <!-- /NAME -->. Those of processors, <!-- processor NAME -->, lie in the section
`processors`: a measurement replaces that of its processor or comes behind the others, which stay as they are.
"""
from figures import bars, cells
from figures.measured import PEERS, Refused, Unfit
from figures.tables import THROUGHPUT_HEADER, copy_of, median_of, throughput_rows
from figures.text import bound, ns, size, table, titled

MOST_LINES = 250
MOST_LOST = 6


def marks(name):
    return f"<!-- {name} -->", f"<!-- /{name} -->"


def section(page, text, name):
    """(what stands before the section's content, the content, what comes behind)."""
    begin, end = marks(name)
    head, found, rest = text.partition(begin + "\n")
    content, found_end, tail = rest.partition(end)
    if not found or not found_end:
        raise Refused(f"{page}: has no section between {begin} and {end}; put the two lines back")
    return head + begin + "\n", content, end + tail


def replaced(page, text, name, content):
    head, _, tail = section(page, text, name)
    return f"{head}{content.strip()}\n{tail}"


def with_processor(page, text, name, content):
    mark = "processor " + name
    begin, end = marks(mark)
    head, kept, tail = section(page, text, "processors")
    if begin + "\n" in kept:
        kept = replaced(page, kept, mark, content)
    else:
        kept += ("\n" if kept.strip() else "") + f"{begin}\n{content.strip()}\n{end}\n"
    return head + kept + tail


def checked(page, text):
    """The text, if it is short enough to be read."""
    lines = len(text.splitlines())
    if lines > MOST_LINES:
        raise Refused(f"{page}: would have {lines} lines of at most {MOST_LINES}; take the section of a processor out "
                      "that nobody asks about, and run this again")
    return text


def processor_of(measured):
    name = measured.machine["processor"]
    if name.startswith("emulator"):
        raise Unfit("was measured in an emulator, whose times say nothing of a processor; run the benchmark on the router")
    return name


def heading(measured, command):
    machine = measured.machine
    caches = ", ".join(size(int(c)) for c in machine["caches"] if c != "0") or "not told"
    rows = bars.of(measured)
    return (f"{machine['architecture']}, core {machine['core']}; caches {caches}; {machine['compiler']}; {machine['date']}; "
            f"{command}; the median of {len(measured.runs)} runs; {sum(r['met'] for r in rows)} of {len(rows)} bars met.")


def bars_table(measured):
    rows = []
    for group in bars.folded(bars.of(measured)):
        first = group[0]
        missed = [r["of"].removeprefix("srv6_") or "missed" for r in group if not r["met"]]
        values = " ".join(f"{r['measured']:.2f}" if r["bar"] else f"{r['measured']:.0f}" for r in group)
        of = ", ".join(r["of"].removeprefix("srv6_") for r in group)
        said = "met" if not missed else "**missed**" + (f": {', '.join(missed)}" if len(group) > 1 else "")
        rows.append(f"| {first['path']}{': ' + of if of else ''} | {first['state']} | {bound(first)} | {values} | {said} |")
    return "\n".join(["| path | state | bar | measured | |", "| --- | --- | ---: | ---: | --- |", *rows])


def lost_list(measured, most=MOST_LOST):
    """The cells where a peer is ahead, the worst first, and no more than `most`."""
    if not measured.has_peers:
        return "The peers were not measured here."
    all_cells = cells.of(measured)
    lost = cells.lost(all_cells)
    if not lost:
        return f"In each of {len(all_cells)} cells ours takes at most {cells.ALLOWED} of the fastest peer's time."
    lines = [f"In {len(lost)} of {len(all_cells)} cells ours takes over {cells.ALLOWED} of the fastest peer's time:", ""]
    for c in lost[:most]:
        lines.append(f"- {c['what']}, {c['zeros']}, {c['state']}, {c['direction']}: {c['ratio']:.2f} of {PEERS[c['fastest']]}'s "
                     f"({ns(c['ours'])} for {ns(c['peers'][c['fastest']])} ns, {c['our_bytes']:,.0f} for "
                     f"{c['peer_bytes'][c['fastest']]:,.0f} bytes)")
    if len(lost) > most:
        lines.append(f"- and {len(lost) - most} more, in `tables.md`.")
    return "\n".join(lines)


def vectors_line(measured):
    """How much of unpacking a small vector is the allocator."""
    said = []
    for kind in ("update", "delete"):
        group = f"vectors/srv6_common_fwd_{kind}"
        said.append(f"of the {kind} {ns(measured.median(group, 'unpack'))}, {ns(measured.median(group, 'allocator'))} of them "
                    "`malloc` and `free`")
    return f"Unpacking and releasing four elements of `srv6_common_fwd` takes, in nanoseconds, {'; '.join(said)}."


def processor_section(measured, command):
    return "\n\n".join([f"### {processor_of(measured)}", heading(measured, command), bars_table(measured),
                        vectors_line(measured), lost_list(measured),
                        table(THROUGHPUT_HEADER, throughput_rows(measured, ["srv6_common_fwd"]))])


def summary(measured):
    """What a user gets, in a handful of lines: srv6_common_fwd, warm."""
    g, batch = "single/srv6_common_fwd", "batch/warm/%s/1000"

    def row(what, ours, copy, group, direction, end):
        fastest = measured.peer(group, direction, end)
        theirs = measured.median(group, f"{fastest}_{direction}{end}")
        return [what, ns(ours), ns(copy), f"{ns(theirs)} ({PEERS[fastest]})"]

    rows = [row("send: a record to its frame", median_of(measured, lambda run: run.frame_write(g)),
                copy_of(measured, g, "frame_copy_in_place"), g, "encode", ".D"),
            row("receive: a frame to its record", measured.median(g, "frame_unpack"), copy_of(measured, g, "frame_copy"),
                g, "decode", ".D")]
    for zeros, said in (("D", "no zeros"), ("Z", "half of the members zero")):
        group = batch % zeros
        rows += [row(f"an element of a batch of 1,000 packed, {said}", measured.median(group, "pack"),
                     copy_of(measured, group, "copy"), group, "encode", ""),
                 row(f"unpacked and released, {said}", measured.median(group, "unpack"),
                     copy_of(measured, group, "copy_cleared"), group, "decode", "")]
    return titled(f"Nanoseconds, `srv6_common_fwd`, warm, {processor_of(measured)}, {measured.machine['date']}:",
                  table(["", "ours", "memcpy", "fastest peer"], rows))
