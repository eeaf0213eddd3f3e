"""What the plots read: tables of words and numbers, tab between them."""
from figures import bars
from figures.measured import PEERS
from figures.tables import copy_of
from figures.text import bound


def bars_lines(measured):
    """A row a bar: the path, how many times the bar it is, 1 where it is met or 0, the figures as text."""
    lines = []
    for r in bars.of(measured):
        if not r["bar"]:
            continue  # a bar of none has no multiple
        used = r["measured"] / r["bar"] if r["most"] else r["bar"] / r["measured"]
        path = f"{r['path']}: {r['of']}" if r["of"] else r["path"]
        lines.append(f"{path}\t{used:.4f}\t{int(r['met'])}\t{r['measured']:.2f} ({bound(r)})\n")
    return "".join(lines)


def size_points(measured, group, contender):
    """(bytes that a pass reads, nanoseconds an element) of a contender in a group of the sweep."""
    elements, record = (measured.fact(group, name) for name in ("elements", "record_bytes"))
    if contender.startswith("copy"):
        return elements * measured.fact(group, "bytes"), copy_of(measured, group, contender)
    read = record
    if contender == "unpack":
        read = measured.fact(group, "bytes")
    elif contender.endswith("_decode"):
        read = measured.fact(group, contender.removesuffix("_decode") + "_bytes")
    return elements * read, measured.median(group, contender)


def sizes_lines(measured):
    """A block a line of the plot, named in its first row: encode and decode of D, then of Z; in each ours, memcpy, peers."""
    blocks = []
    for zeros in "DZ":
        groups = sorted(measured.groups(f"sweep/{zeros}/"), key=lambda g: int(g.rsplit("/", 1)[1]))
        for path, copy, direction in (("pack", "copy", "encode"), ("unpack", "copy_cleared", "decode")):
            named = {path: "ours", copy: "memcpy", **{f"{p}_{direction}": n for p, n in PEERS.items()}}
            for contender, name in named.items():
                points = sorted(size_points(measured, g, contender) for g in groups)
                blocks.append(f'"{name}"\n' + "".join(f"{x:.0f}\t{y:.3f}\n" for x, y in points))
    return "\n\n".join(blocks)
