#!/usr/bin/env python3
"""What a measurement changes of docs/performance.md, and what it leaves."""
import unittest
from pathlib import Path

from written import MACHINE, everything

from figures import page, plots
from figures.measured import Measured, Refused, Unfit

PAGE = """# Performance

<!-- processors -->
<!-- processor A Core (part 1) -->
### A Core (part 1)

old
<!-- /processor A Core (part 1) -->

<!-- processor A Core (part 12) -->
### A Core (part 12)

of another
<!-- /processor A Core (part 12) -->
<!-- /processors -->

Prose.
"""


class a_processors_table(unittest.TestCase):
    def test_replaces_that_of_its_processor_and_keeps_the_others(self):
        self.assertEqual(page.with_processor("PAGE", PAGE, "A Core (part 1)", "### A Core (part 1)\n\nnew"),
                         PAGE.replace("old", "new"))

    def test_of_a_new_processor_comes_behind_the_others(self):
        self.assertEqual(page.with_processor("PAGE", PAGE, "Another", "### Another"), PAGE.replace(
            "<!-- /processors -->",
            "\n<!-- processor Another -->\n### Another\n<!-- /processor Another -->\n<!-- /processors -->"))

    def test_twice_is_as_once(self):
        once = page.with_processor("PAGE", PAGE, "Another", "### Another")
        self.assertEqual(page.with_processor("PAGE", once, "Another", "### Another"), once)

    def test_is_the_first_of_a_page_that_has_none(self):
        empty = "<!-- processors -->\n<!-- /processors -->\n"
        self.assertEqual(page.with_processor("PAGE", empty, "One", "### One"),
                         "<!-- processors -->\n<!-- processor One -->\n### One\n<!-- /processor One -->\n<!-- /processors -->\n")

    def test_keeps_backslashes(self):
        self.assertIn(r"a \1 b", page.with_processor("PAGE", PAGE, "A Core (part 1)", r"a \1 b"))

    def test_has_the_name_the_machine_the_runs_and_the_bars(self):
        lines = page.processor_section(everything(), "./dev bench").splitlines()
        self.assertEqual(lines[0], "### A Core (part 1)")
        self.assertTrue(lines[2].startswith("AArch64, core 3; caches 32 KiB, 1 MiB; gcc 12.2.0; 2026-11-22; ./dev bench; "
                                            "the median of 1 runs; "), lines[2])
        self.assertTrue(lines[2].endswith(" of 53 bars met."), lines[2])

    def test_has_a_row_for_bars_of_one_path_and_names_the_missed_ones(self):
        measured = everything({("zeros/srv6_policy_fwd", "pack.Z"): [12.0], ("zeros/srv6_policy_fwd", "pack.T"): [8.0]})
        self.assertIn("| pack, Z / T: vrf_class_data, common_fwd, policy_fwd, sidstack_fwd | warm | ≤ 1.15 | "
                      "1.00 1.00 1.50 1.00 | **missed**: policy_fwd |", page.bars_table(measured).splitlines())

    def test_says_how_much_of_a_small_vector_is_the_allocator(self):
        measured = everything({("vectors/srv6_common_fwd_update", "unpack"): [31.0],
                               ("vectors/srv6_common_fwd_delete", "allocator"): [7.5]})
        self.assertIn("Unpacking and releasing four elements of `srv6_common_fwd` takes, in nanoseconds, of the update 31.0, "
                      "10.0 of them `malloc` and `free`; of the delete 10.0, 7.5 of them `malloc` and `free`.",
                      page.processor_section(measured, "./dev bench").splitlines())

    def test_of_an_emulator_there_is_none(self):
        measured = Measured({**MACHINE, "processor": "emulator on A Core (part 1)"}, everything().runs)
        with self.assertRaises(Unfit) as caught:
            page.processor_section(measured, "./dev bench")
        self.assertEqual(str(caught.exception), "was measured in an emulator, whose times say nothing of a processor; "
                         "run the benchmark on the router")


class the_lost_cells(unittest.TestCase):
    def test_are_said_to_be_none(self):
        self.assertEqual(page.lost_list(everything()),
                         "In each of 156 cells ours takes at most 1.03 of the fastest peer's time.")

    def test_are_listed_with_times_and_bytes(self):
        measured = everything({("batch/warm/T/10", "unpack"): [20.0], ("batch/warm/T/10", "capnp_decode"): [8.0]})
        self.assertEqual(page.lost_list(measured), "In 1 of 156 cells ours takes over 1.03 of the fastest peer's time:\n\n"
                         "- batch of 10, T, warm, decode: 2.50 of Cap'n Proto's (20.0 for 8.0 ns, 50 for 50 bytes)")

    def test_are_no_more_than_six_on_the_page(self):
        times = {(f"batch/{state}/{zeros}/{n}", "pack"): [20.0] for state in ("warm", "streaming") for zeros in "DZ"
                 for n in (1, 10)}
        lines = page.lost_list(everything(times)).splitlines()
        self.assertEqual(len(lines), 2 + 6 + 1)
        self.assertEqual(lines[-1], "- and 2 more, in `tables.md`.")

    def test_are_all_where_all_are_asked_for(self):
        times = {(f"batch/warm/{zeros}/{n}", "pack"): [20.0] for zeros in "DTZ" for n in (1, 10, 100)}
        self.assertEqual(len(page.lost_list(everything(times), most=1000).splitlines()), 2 + 9)


class the_page(unittest.TestCase):
    def test_has_at_most_250_lines(self):
        self.assertEqual(page.checked("PAGE", "line\n" * 250), "line\n" * 250)
        with self.assertRaises(Refused) as caught:
            page.checked("PAGE", "line\n" * 251)
        self.assertEqual(str(caught.exception), "PAGE: would have 251 lines of at most 250; take the section of a processor out "
                         "that nobody asks about, and run this again")

    def test_as_it_stands_is_short_enough_and_has_every_section(self):
        path = Path(__file__).resolve().parents[2] / "docs/performance.md"
        text = page.checked(path, path.read_text(encoding="utf-8"))
        for name in ("summary", "processors", "estimate", "sizes"):
            page.section(path, text, name)

    def test_without_a_section_is_refused(self):
        for damaged in (PAGE.replace("<!-- processors -->", ""), PAGE.replace("<!-- /processors -->", "")):
            with self.assertRaises(Refused) as caught:
                page.with_processor("PAGE", damaged, "Another", "")
            self.assertEqual(str(caught.exception), "PAGE: has no section between <!-- processors --> and <!-- /processors -->; "
                             "put the two lines back")

    def test_says_first_what_a_user_gets(self):
        measured = everything({("single/srv6_common_fwd", "protobuf_encode.D"): [9.0],
                               ("batch/warm/Z/1000", "unpack"): [4.0]})
        lines = page.summary(measured).splitlines()
        self.assertIn("| send: a record to its frame | 10.0 | 10.0 | 9.0 (protobuf) |", lines)
        self.assertIn("| unpacked and released, half of the members zero | 4.0 | 10.0 | 10.0 (FlatBuffers) |", lines)
        self.assertEqual(len(lines), 2 + 2 + 6)


class the_plot_of_bars(unittest.TestCase):
    def test_has_a_line_each_but_for_a_bar_of_none(self):
        measured = everything({("zeros/srv6_policy_fwd", "pack.Z"): [23.0]})
        lines = plots.bars_lines(measured).splitlines()
        self.assertEqual(len(lines), 52)
        self.assertIn("pack, Z / T: srv6_policy_fwd\t2.0000\t0\t2.30 (≤ 1.15)", lines)


if __name__ == "__main__":
    unittest.main()
