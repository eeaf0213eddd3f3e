"""Ours beside the fastest peer, at every size and every pattern of zeros, encode and decode, in both states."""
from figures.measured import PEERS, ratio

TYPES = ["srv6_vrf_class_data", "srv6_common_fwd", "srv6_policy_fwd", "srv6_sidstack_fwd", "srv6_vrf_class_data_chg",
         "srv6_cfg_query_dfx_item", "srv6_cfg_query_trastat_rec_info"]
BATCHES = [1, 10, 100, 1000, 10000, 100000]
ALLOWED = 1.03
PATHS = (("pack", "encode"), ("unpack", "decode"))


def places():
    """(what, zeros, state, group, what the contenders' names end in) of every pair of cells."""
    for what in TYPES:
        yield what, "D", "warm", "single/" + what, ".D"
        for zeros in "TZ":
            yield what, zeros, "warm", "zeros/" + what, "." + zeros
        for zeros in "DTZ":
            yield what, zeros, "streaming", f"streaming/{what}/{zeros}", "." + zeros
    for elements in BATCHES:
        for state in ("warm", "streaming"):
            for zeros in "DTZ":
                yield f"batch of {elements:,}", zeros, state, f"batch/{state}/{zeros}/{elements}", ""


def of(measured):
    """Every cell that was measured."""
    found = []
    for what, zeros, state, group, end in places():
        if not measured.has(group, "protobuf_encode" + end):
            continue
        for path, direction in PATHS:
            fastest = measured.peer(group, direction, end)
            found.append({
                "what": what, "zeros": zeros, "state": state, "direction": direction,
                "ours": measured.median(group, path + end),
                "peers": {peer: measured.median(group, f"{peer}_{direction}{end}") for peer in PEERS},
                "fastest": fastest,
                "ratio": measured.value(lambda run, group=group, path=path, end=end, direction=direction, fastest=fastest: ratio(
                    run.all(group, path + end), run.all(group, f"{fastest}_{direction}{end}"))),
                "our_bytes": measured.fact(group, "bytes" + end),
                "peer_bytes": {peer: measured.fact(group, f"{peer}_bytes{end}") for peer in PEERS}})
    return found


def lost(cells):
    """Those where ours is slower than it may be, the worst first."""
    return sorted((c for c in cells if c["ratio"] > ALLOWED), key=lambda c: -c["ratio"])
