"""The table of estimated cycles on the target's cores, from what estimate.py wrote."""
from figures.text import table

#  what the page shows: the path of ours, that of the copy beside it
SHOWN = (("frame_send", "memcpy_frame"), ("frame_unpack", "memcpy_frame"), ("pack_D", "memcpy_packed_D"),
         ("unpack_D", "memcpy_packed_D"), ("pack_Z", "memcpy_packed_Z"), ("unpack_Z", "memcpy_packed_Z"),
         ("batch_pack_D", "memcpy_packed_D"), ("batch_unpack_D", "memcpy_packed_D"),
         ("batch_pack_Z", "memcpy_packed_Z"), ("batch_unpack_Z", "memcpy_packed_Z"))


def read(path):
    """(cores, {path: [instructions, cycles a core]})."""
    with open(path, encoding="utf-8") as file:
        lines = [line.rstrip("\n").split("\t") for line in file]
    return lines[0][2:], {line[0]: [float(word) for word in line[1:]] for line in lines[1:]}


def page_table(path, message="srv6_common_fwd"):
    cores, cycles = read(path)
    rows = []
    for ours, copy in SHOWN:
        a, b = cycles[f"{ours}_{message}"], cycles[f"{copy}_{message}"]
        rows.append([ours.replace("_", " "), f"{a[0]:.0f} / {b[0]:.0f}"]
                    + [f"{x:.0f} / {y:.0f} = {x / y:.1f}" for x, y in zip(a[1:], b[1:])])
    return table(["ours / memcpy", "instructions", *cores], rows)


def full_table(path):
    cores, cycles = read(path)
    return table(["path", "instructions", *cores], [[name] + [f"{v:.1f}" for v in values] for name, values in cycles.items()])
