"""Every table of tables.md that is made of times."""
from figures import cells
from figures.bars import SMALL
from figures.cells import BATCHES, TYPES
from figures.measured import PEERS, geometric_mean, ratio
from figures.text import ns, table, titled


def median_of(measured, function):
    """The median over runs of the median of what `function` of a run lists."""
    return measured.value(lambda run: sorted(function(run))[len(function(run)) // 2])


def copy_of(measured, group, name):
    return median_of(measured, lambda run: run.limit(group, name))


def single(measured):
    rows = []
    for t in TYPES:
        g = "single/" + t
        rows.append([t] + [ns(v) for v in (
            measured.median(g, "empty"), measured.median(g, "send"), measured.median(g, "bus"),
            median_of(measured, lambda run, g=g: run.frame_write(g)), median_of(measured, lambda run, g=g: run.frame_write_limit(g)),
            measured.median(g, "frame_unpack"), copy_of(measured, g, "frame_copy"), copy_of(measured, g, "record_copy"),
            measured.median(g, "pack.D"), measured.median(g, "unpack.D"), copy_of(measured, g, "packed_copy.D"))])
    return titled("Single records, D, warm, nanoseconds a call (the empty call included):", table(
        ["type", "empty call", "__sendsingle", "bus call only", "frame write", "memcpy in place", "frame unpack",
         "memcpy frame", "memcpy record", "pack", "unpack packed", "memcpy packed"], rows))


def slopes(measured):
    rows = []
    for t in SMALL:
        g = "single/" + t
        rows.append([t] + [ns(median_of(measured, f)) for f in (
            lambda run, g=g: run.slope(g, "send_batch"), lambda run, g=g: run.limit_slope(g, "copy_batch"),
            lambda run, g=g: run.slope(g, "frame_unpack"), lambda run, g=g: run.limit_slope(g, "frame_copy"),
            lambda run, g=g: run.slope(g, "pack.D"), lambda run, g=g: run.slope(g, "unpack.D"),
            lambda run, g=g: run.limit_slope(g, "packed_copy.D"))])
    return titled("What a record more costs, between one and eight, D, warm, nanoseconds:", table(
        ["type", "frame write", "copies in its place", "frame unpack", "memcpy frame", "pack", "unpack packed",
         "memcpy packed"], rows))


def zeros(measured):
    rows = [[t] + [ns(measured.median("zeros/" + t, f"{p}.{w}")) for p in ("pack", "unpack") for w in "DOTZ"]
            + [ns(copy_of(measured, "zeros/" + t, "packed_copy." + w)) for w in "DOTZ"] for t in TYPES]
    return titled("Packed, warm, many distinct records with (D) no, (O) one, (T) eight patterns of, (Z) random zeros:", table(
        ["type"] + [f"{p} {w}" for p in ("pack", "unpack", "memcpy") for w in "DOTZ"], rows))


def streaming(measured):
    rows = []
    for t in TYPES:
        for w in "DTZ":
            g = f"streaming/{t}/{w}"
            rows.append([f"{t}, {w}"] + [ns(v) for v in (
                measured.median(g, "pack." + w), copy_of(measured, g, "packed_copy_in_place." + w),
                measured.median(g, "unpack." + w), copy_of(measured, g, "packed_copy." + w))])
    return titled("Packed, streaming, nanoseconds a call:", table(
        ["type, zeros", "pack", "memcpy to a few buffers", "unpack", "memcpy to a record each"], rows))


def batches(measured):
    parts = []
    for state in ("warm", "streaming"):
        for w in "DTZ":
            groups = [f"batch/{state}/{w}/{n}" for n in BATCHES]
            rows = [[f"{n:,}", ns(measured.median(g, "pack")), ns(copy_of(measured, g, "copy")),
                     ns(measured.median(g, "unpack")), ns(copy_of(measured, g, "copy_cleared")),
                     ns(measured.median(g, "copy_whole"))] for n, g in zip(BATCHES, groups)]
            parts.append(titled(f"Batches of srv6_common_fwd, {w}, {state}, nanoseconds an element:", table(
                ["elements", "pack", "memcpy by element", "unpack and release", "memcpy and one clearing", "memcpy of all"],
                rows)))
    return "\n\n".join(parts)


def peers(measured):
    rows = [[f"{c['what']}, {c['zeros']}, {c['state']}, {c['direction']}", ns(c["ours"])]
            + [ns(c["peers"][p]) for p in PEERS] + [f"{c['ratio']:.2f}", f"{c['our_bytes']:,.0f}"]
            + [f"{c['peer_bytes'][p]:,.0f}" for p in PEERS] for c in cells.of(measured)]
    return titled("Ours and the peers, nanoseconds and encoded bytes of a record, or of an element of a batch:", table(
        ["what", "ours", *PEERS.values(), "ours / fastest", "bytes", *(n + " bytes" for n in PEERS.values())], rows))


def sends(measured):
    rows = [[t, ns(measured.median("sends/" + t, "send")), ns(measured.median("sends/" + t, "send_batch")),
             f"{measured.value(lambda run, t=t: ratio(run.all('sends/' + t, 'send_batch'), run.all('sends/' + t, 'send'))):.2f}"]
            for t in SMALL]
    return titled("Sends, nanoseconds a frame, against a bus that returns at once:", table(
        ["type", "__sendsingle", "__sendbatch of 1,000", "ratio"], rows))


def vectors(measured):
    rows = []
    for g in measured.groups("vectors/"):
        rest = measured.value(lambda run, g=g: ratio(run.without_allocator(g), run.limit(g, "copy")))
        rows.append([g.removeprefix("vectors/"), ns(measured.median(g, "unpack")), ns(measured.median(g, "allocator")),
                     ns(median_of(measured, lambda run, g=g: run.without_allocator(g))), ns(copy_of(measured, g, "copy")),
                     f"{rest:.2f}"])
    return titled("Vectors of four elements, warm, nanoseconds: unpacking with the release, an allocation and a release alone:",
                  table(["type", "unpack", "allocator", "the rest", "memcpy", "rest / memcpy"], rows))


def throughput_rows(measured, types):
    """[what, a second by the library, with memcpy in place of the codec, by the bus alone, the codec's share]."""
    rows = []
    for t in types:
        for form in ("single", "batch", "vector"):
            g = "throughput/" + t
            if not all(measured.has(g, f"{form}.{c}") for c in ("codec", "copy", "bus")):
                continue
            shares = [measured.value(lambda run, g=g, form=form, c=c: 1 - ratio(
                run.all(g, form + ".bus"), run.all(g, f"{form}.{c}"))) for c in ("codec", "copy")]
            rows.append([f"{t}, {form}"] + [f"{1e3 / measured.median(g, f'{form}.{c}'):,.1f}" for c in ("codec", "copy", "bus")]
                        + [f"{100 * share:.0f}%" for share in shares])
    return rows


THROUGHPUT_HEADER = ["millions a second of one core", "library", "memcpy in its place", "bus alone", "codec's share",
                     "memcpy's share"]


def throughput(measured):
    return titled("A process that sends and receives over shared memory, record to record:",
                  table(THROUGHPUT_HEADER, throughput_rows(measured, SMALL)))


def all_rows(measured):
    """[type, frame write, frame unpack, pack, unpack], each by memcpy; None where there is no frame."""
    rows = []
    for g in measured.groups("all/"):
        framed = measured.has(g, "send")

        def beside(contender, copy, g=g):
            return measured.value(lambda run: ratio(run.all(g, contender), run.limit(g, copy)))

        write = measured.value(lambda run, g=g: ratio(run.frame_write(g), run.frame_write_limit(g))) if framed else None
        rows.append([g.removeprefix("all/"), write, beside("frame_unpack", "frame_copy") if framed else None,
                     beside("pack.D", "packed_copy.D"), beside("unpack.D", "packed_copy.D")])
    return rows


def all_types(measured):
    def cells_of(values):
        return ["" if v is None else f"{v:.2f}" for v in values]

    rows = all_rows(measured)
    means = [geometric_mean(r[i] for r in rows if r[i] is not None) for i in range(1, 5)]
    return titled("All types by memcpy, warm, without zeros, vectors of four elements:", table(
        ["type", "frame write", "frame unpack", "pack", "unpack packed"],
        [["**geometric mean**"] + cells_of(means)] + [[r[0]] + cells_of(r[1:]) for r in rows]))


def everything(measured):
    parts = [single(measured), slopes(measured), zeros(measured), streaming(measured), batches(measured)]
    if measured.has_peers:
        parts.append(peers(measured))
    return parts + [sends(measured), vectors(measured), throughput(measured), all_types(measured)]
