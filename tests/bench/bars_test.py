#!/usr/bin/env python3
"""What is compared with each bar, and which cells a peer wins."""
import unittest

from written import Everything, MACHINE, everything

from figures import bars, cells
from figures.measured import Measured

COMMON = "single/srv6_common_fwd"


def row(measured, path, of=""):
    found = [r for r in bars.of(measured) if r["path"].startswith(path) and r["of"] == of]
    assert len(found) == 1, (path, of, len(found))
    return found[0]


class the_bars(unittest.TestCase):
    def test_peers_are_compared_by_what_a_record_more_costs(self):
        measured = everything({(COMMON, "frame_unpack"): [3.0], (COMMON, "frame_unpack.8"): [17.0],
                               (COMMON, "flatbuffers_decode.D"): [9.0], (COMMON, "flatbuffers_decode.D.8"): [86.0]})
        found = row(measured, "fastest peer / ours, decode, D, slope", "srv6_common_fwd")
        self.assertAlmostEqual(found["measured"], 5.5)  # 11 ns for 2, not 9 for 3
        self.assertTrue(found["met"])

    def test_a_send_is_compared_by_what_a_frame_more_costs(self):
        measured = everything({(COMMON, "send_batch"): [30.0], (COMMON, "send_batch.8"): [44.0],
                               (COMMON, "protobuf_encode.D"): [8.0], (COMMON, "protobuf_encode.D.8"): [78.0]})
        self.assertAlmostEqual(row(measured, "fastest peer / ours, encode, D, slope", "srv6_common_fwd")["measured"], 5)

    def test_a_ratio_of_sizes_is_divided_by_that_of_memcpy(self):
        measured = everything({("batch/warm/D/100", "pack"): [4.0], ("batch/warm/D/100", "copy.libc"): [2.0],
                               ("batch/warm/D/100000", "pack"): [12.0], ("batch/warm/D/100000", "copy.libc"): [4.0]})
        found = row(measured, "batch, 100,000 / 100 elements", "D pack")
        self.assertAlmostEqual(found["measured"], 1.5)  # three times as slow, where a copy is twice as slow
        self.assertFalse(found["met"])

    def test_the_allocator_is_no_part_of_a_small_vector(self):
        for kind in ("update", "delete"):
            group = f"vectors/srv6_common_fwd_{kind}"
            path = "vector of 4, unpack and release without the allocator"
            measured = everything({(group, "unpack"): [38.0], (group, "allocator"): [18.0], (group, "copy.libc"): [10.0]})
            self.assertAlmostEqual(row(measured, path, kind)["measured"], 2)
            self.assertTrue(row(measured, path, kind)["met"])

    def test_the_clearing_is_a_part_of_the_batch_unpacks_limit(self):
        for zeros, bar in (("D", 1.15), ("Z", 1.6)):
            measured = everything({(f"batch/warm/{zeros}/1000", "unpack"): [8.0], (f"batch/warm/{zeros}/1000", "copy.libc"): [2.0],
                                   (f"batch/warm/{zeros}/1000", "copy_cleared.libc"): [4.0]})
            found = row(measured, f"batch of 1,000, {zeros}: unpack / the same and one clearing")
            self.assertEqual((found["measured"], found["bar"], found["met"]), (2, bar, False))

    def test_the_nested_type_has_bars(self):
        group = "single/srv6_cfg_query_trastat_rec_info"
        measured = everything({(group, "pack.D"): [20.0], (group, "frame_unpack"): [19.0]})
        packed = row(measured, "pack, D / memcpy of the packed bytes, srv6_cfg_query_trastat_rec_info")
        frames = row(measured, "frame unpack / memcpy of the frame, srv6_cfg_query_trastat_rec_info")
        self.assertEqual((packed["measured"], packed["bar"], packed["met"]), (2, 2, True))
        self.assertEqual((frames["measured"], frames["bar"], frames["met"]), (1.9, 1.8, False))

    def test_every_bar_says_of_which_state_it_is(self):
        self.assertEqual({r["state"] for r in bars.of(everything())}, {"warm", "both"})

    def test_a_machine_without_peers_has_the_bars_that_need_none(self):
        without = everything(without=("send_copied", "flatbuffers", "capnp", "protobuf"))
        peers = [r["path"] for r in bars.of(everything()) if r["path"] not in {r["path"] for r in bars.of(without)}]
        self.assertEqual(set(peers), {
            "batch of 1,000, Z: Cap'n Proto / ours", "fastest peer / ours, encode, D, slope",
            "fastest peer / ours, decode, D, slope", "fastest peer / ours, packed, T, pack",
            "fastest peer / ours, packed, T, unpack", "cells where ours is over 1.03 of the fastest peer"})

    def test_the_tap_is_measured_beside_the_bus_and_a_copy(self):
        path = "tap on: ns of a send more than the bus and a copy of the frame"
        for on, more, met in ((72.0, 60, True), (73.0, 61, False)):
            measured = everything({("tap/1024", "on"): [on], ("tap/1024", "bus"): [2.0], ("tap/1024", "copy"): [10.0]})
            found = row(measured, path, "1024 bytes")
            self.assertEqual((found["measured"], found["bar"], found["met"]), (more, 60, met))
        self.assertEqual([r["of"] for r in bars.of(everything()) if r["path"] == path],
                         ["32 bytes", "104 bytes", "1024 bytes"])

    def test_a_tap_that_is_off_is_measured_beside_the_bus(self):
        measured = everything({("tap/104", "off"): [8.0], ("tap/104", "bus"): [2.0]})
        found = row(measured, "tap off: ns of a send more than the bus")
        self.assertEqual((found["measured"], found["bar"], found["met"]), (6, 5, False))

    def test_there_are_53(self):
        self.assertEqual(len(bars.of(everything())), 53)


class the_cells(unittest.TestCase):
    def test_are_every_type_size_pattern_state_and_direction(self):
        # 7 types and 6 sizes, each at D, T and Z, warm and streaming, encode and decode
        self.assertEqual(len(cells.of(everything())), (7 + 6) * 3 * 2 * 2)
        self.assertEqual({(c["zeros"], c["state"], c["direction"]) for c in cells.of(everything())},
                         {(z, s, d) for z in "DTZ" for s in ("warm", "streaming") for d in ("encode", "decode")})

    def test_is_lost_past_103_of_the_fastest(self):
        group = "batch/streaming/Z/1000"
        for ours, lost in ((10.3, 0), (10.4, 1)):
            measured = everything({(group, "pack"): [ours], (group, "flatbuffers_encode"): [90.0]})
            self.assertEqual(len(cells.lost(cells.of(measured))), lost)

    def test_is_lost_by_the_median_of_the_runs(self):
        def runs(*times):
            return Measured(MACHINE, [Everything({(COMMON, "pack.D"): [t]}, ("send_copied",)) for t in times])

        self.assertEqual(cells.lost(cells.of(runs(15.0, 10.0, 10.0, 10.0, 15.0))), [])
        self.assertEqual([c["ratio"] for c in cells.lost(cells.of(runs(15.0, 10.0, 15.0, 10.0, 15.0)))], [1.5])

    def test_the_worst_comes_first_with_times_and_bytes(self):
        measured = everything({("batch/warm/T/10", "unpack"): [20.0], ("batch/warm/T/10", "capnp_decode"): [8.0],
                               ("zeros/srv6_policy_fwd", "pack.Z"): [15.0]})
        worst, other = cells.lost(cells.of(measured))
        self.assertEqual((worst["what"], worst["zeros"], worst["state"], worst["direction"]),
                         ("batch of 10", "T", "warm", "decode"))
        self.assertEqual((worst["fastest"], worst["ratio"], worst["ours"], worst["peers"]["protobuf"]), ("capnp", 2.5, 20, 10))
        self.assertEqual((worst["our_bytes"], worst["peer_bytes"]["capnp"]), (50, 50))
        self.assertEqual((other["what"], other["zeros"], other["direction"]), ("srv6_policy_fwd", "Z", "encode"))

    def test_all_of_them_are_one_bar(self):
        measured = everything({("batch/warm/T/10", "unpack"): [20.0]})
        found = row(measured, "cells where ours is over 1.03 of the fastest peer")
        self.assertEqual((found["bar"], found["measured"], found["met"]), (0, 1, False))


if __name__ == "__main__":
    unittest.main()
