"""The bars: what was asked for, what was measured. Each says of which state it is.

Where an empty call is most of the time, as in a call with one of the small types, what is compared is the slope: what a
record more costs, between one and eight. A ratio of two sizes is divided by the copy's own, which is the machine's part.
"""
import statistics

from figures import cells
from figures.measured import geometric_mean, ratio

SMALL = ["srv6_vrf_class_data", "srv6_common_fwd", "srv6_policy_fwd", "srv6_sidstack_fwd"]
LONG = "srv6_cfg_query_dfx_item"
NESTED = "srv6_cfg_query_trastat_rec_info"
BATCH = "batch/warm/"
TAPPED = [32, 104, 1024]
SMALL_MEAN = "geometric mean of the small types"


def single(name):
    return "single/" + name


class Bars:
    """Rows of one value each. Those of one path and bound differ in what the value is of."""

    def __init__(self, measured):
        self.measured = measured
        self.rows = []

    def add(self, path, state, bar, most, values):
        """values: (what it is of, function of a run)."""
        for of, function in values:
            value = self.measured.value(function)
            self.rows.append({"path": path, "of": of, "state": state, "bar": bar, "most": most, "measured": value,
                              "met": value <= bar if most else value >= bar})

    def at_most(self, path, bar, *values, state="warm"):
        self.add(path, state, bar, True, values)

    def at_least(self, path, bar, *values, state="warm"):
        self.add(path, state, bar, False, values)


def mean_over(groups, function):
    return "", lambda run: geometric_mean(function(run, group) for group in groups)


def size_ratio(run, which, path):
    """Of 100,000 elements to 100, each beside a copy of its own bytes by element."""
    return (ratio(run.all(f"{BATCH}{which}/100000", path), run.limit(f"{BATCH}{which}/100000", "copy"))
            / ratio(run.all(f"{BATCH}{which}/100", path), run.limit(f"{BATCH}{which}/100", "copy")))


def single_bars(bars):
    small = [single(t) for t in SMALL]
    bars.at_most(f"frame write / memcpy of the frame, slope, {SMALL_MEAN}", 1.25, mean_over(
        small, lambda run, g: ratio(run.slope(g, "send_batch"), run.limit_slope(g, "copy_batch"))))
    bars.at_most("frame write / memcpy of the frame, 16 KB type", 1.05, ("", lambda run: ratio(
        run.frame_write(single(LONG)), run.frame_write_limit(single(LONG)))))
    for path, contender, copy, bar in (("frame unpack / memcpy of the frame", "frame_unpack", "frame_copy", 1.4),
                                       ("pack, D / memcpy of the packed bytes", "pack.D", "packed_copy.D", 1.5),
                                       ("unpack of packed bytes, D / memcpy of them", "unpack.D", "packed_copy.D", 1.6)):
        bars.at_most(f"{path}, slope, {SMALL_MEAN}", bar, mean_over(
            small, lambda run, g, contender=contender, copy=copy: ratio(run.slope(g, contender), run.limit_slope(g, copy))))
    bars.at_most("frame unpack / memcpy of the record, 16 KB type", 1.08, ("", lambda run: ratio(
        run.all(single(LONG), "frame_unpack"), run.limit(single(LONG), "record_copy"))))
    bars.at_most(f"pack, D / memcpy of the packed bytes, {NESTED}", 2, ("", lambda run: ratio(
        run.all(single(NESTED), "pack.D"), run.limit(single(NESTED), "packed_copy.D"))))
    bars.at_most(f"frame unpack / memcpy of the frame, {NESTED}", 1.8, ("", lambda run: ratio(
        run.all(single(NESTED), "frame_unpack"), run.limit(single(NESTED), "frame_copy"))))


def zeros_bars(bars):
    for which, path in (("O", "pack, Z / D by the same path (O)"), ("T", "pack, Z / T")):
        bars.at_most(path, 1.15, *((t, lambda run, t=t, which=which: ratio(
            run.all("zeros/" + t, "pack.Z"), run.all("zeros/" + t, "pack." + which))) for t in SMALL))
    zeros = "zeros/srv6_common_fwd"
    bars.at_most("unpack of packed bytes, Z / memcpy of them, srv6_common_fwd", 2.3, ("", lambda run: ratio(
        run.all(zeros, "unpack.Z"), run.limit(zeros, "packed_copy.Z"))))


def batch_bars(bars):
    def beside(which, path, copy):
        group = f"{BATCH}{which}/1000"
        return "", lambda run: ratio(run.all(group, path), run.limit(group, copy))

    bars.at_most("batch of 1,000, D: pack / memcpy of its bytes by element", 1.65, beside("D", "pack", "copy"))
    bars.at_most("batch of 1,000, D: unpack / memcpy of its bytes by element", 1.3, beside("D", "unpack", "copy"))
    bars.at_most("batch of 1,000, D: unpack / the same and one clearing", 1.15, beside("D", "unpack", "copy_cleared"))
    bars.at_most("batch of 1,000, Z: unpack / the same and one clearing", 1.6, beside("Z", "unpack", "copy_cleared"))
    bars.at_most("batch, 100,000 / 100 elements, divided by that of memcpy by element", 1.3, *(
        (f"{which} {path}", lambda run, which=which, path=path: size_ratio(run, which, path))
        for which in "DZ" for path in ("pack", "unpack")))


def vector_bars(bars):
    for kind in ("update", "delete"):
        groups = [g for g in bars.measured.groups("vectors/") if g.endswith(kind)]
        bars.at_most("vector of 4, unpack and release without the allocator / memcpy, mean of types", 2, (
            kind, mean_over(groups, lambda run, g: ratio(run.without_allocator(g), run.limit(g, "copy")))[1]))


def tap_bars(bars):
    def more(group, name, *without):
        def of_run(run):
            times = [run.all(group, n) for n in (name, *without)]
            # At the least what the tables show, as of other differences.
            return max(statistics.median(first - sum(rest) for first, *rest in zip(*times)), 0.1)
        return of_run

    bars.at_most("tap on: ns of a send more than the bus and a copy of the frame", 60, *(
        (f"{size} bytes", more(f"tap/{size}", "on", "bus", "copy")) for size in TAPPED))
    bars.at_most("tap off: ns of a send more than the bus", 5, ("", more("tap/104", "off", "bus")))


def all_bars(bars):
    fixed = [g for g in bars.measured.groups("all/") if bars.measured.has(g, "send")]
    bars.at_most("__sendbatch of 1,000 per frame / __sendsingle, srv6_common_fwd", 0.8, ("", lambda run: ratio(
        run.all("sends/srv6_common_fwd", "send_batch"), run.all("sends/srv6_common_fwd", "send"))))
    bars.at_most(f"all {len(fixed)} fixed types, geometric mean: frame write / memcpy of the frame", 1.5, mean_over(
        fixed, lambda run, g: ratio(run.frame_write(g), run.frame_write_limit(g))))
    bars.at_most(f"all {len(fixed)} fixed types, geometric mean: frame unpack / memcpy of the frame", 1.7, mean_over(
        fixed, lambda run, g: ratio(run.all(g, "frame_unpack"), run.limit(g, "frame_copy"))))


def peer_bars(bars):
    group = f"{BATCH}Z/1000"
    bars.at_least("batch of 1,000, Z: Cap'n Proto / ours", 1, *(
        (direction, lambda run, direction=direction, path=path: ratio(
            run.all(group, f"capnp_{direction}"), run.all(group, path)))
        for path, direction in (("pack", "encode"), ("unpack", "decode"))))
    for direction, ours in (("encode", "send_batch"), ("decode", "frame_unpack")):
        bars.at_least(f"fastest peer / ours, {direction}, D, slope", 5.5, *(
            (t, lambda run, g=single(t), direction=direction, ours=ours: ratio(
                run.slope(g, run.peer(g, direction, ".D")), run.slope(g, ours))) for t in SMALL))
    for path, direction, bar in (("pack", "encode", 4), ("unpack", "decode", 5)):
        bars.at_least(f"fastest peer / ours, packed, T, {path}", bar, *(
            (t, lambda run, g="zeros/" + t, path=path, direction=direction: ratio(
                run.all(g, run.peer(g, direction, ".T")), run.all(g, path + ".T"))) for t in SMALL))
    lost = len(cells.lost(cells.of(bars.measured)))
    bars.at_most(f"cells where ours is over {cells.ALLOWED} of the fastest peer", 0, ("", lambda run: lost),
                 state="both")


def of(measured):
    """Of a machine without peers, those that need none."""
    bars = Bars(measured)
    single_bars(bars)
    zeros_bars(bars)
    batch_bars(bars)
    vector_bars(bars)
    tap_bars(bars)
    all_bars(bars)
    if measured.has_peers:
        peer_bars(bars)
    return bars.rows


def folded(rows):
    """Rows of one path and bound as one: (first of them, all of them)."""
    by_path = {}
    for row in rows:
        by_path.setdefault((row["path"], row["bar"]), []).append(row)
    return list(by_path.values())
