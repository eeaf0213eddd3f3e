#!/usr/bin/env python3
"""What is read of a measurement, what is refused, and the ratios that are taken."""
import unittest

from written import HEAD, read_text

from figures.measured import Refused, Unfit, geometric_mean, ratio

TWO_RUNS = HEAD + """run\t1
group\tsingle/a\twarm
fact\tbytes\t114
times\tours\t10\t20\t30
times\tcopy.libc\t5\t5\t10
run\t2
group\tsingle/a\twarm
fact\tbytes\t114
times\tours\t40\t50
times\tcopy.libc\t4\t5
end
"""


class reading(unittest.TestCase):
    def test_takes_in_every_line(self):
        measured = read_text(TWO_RUNS)
        self.assertEqual(measured.machine["processor"], "A Core (part 1)")
        self.assertEqual(measured.machine["caches"], ["32768", "1048576", "0"])
        self.assertEqual(len(measured.runs), 2)
        self.assertEqual(measured.runs[0].all("single/a", "ours"), [10, 20, 30])
        self.assertEqual(measured.fact("single/a", "bytes"), 114)
        self.assertEqual(measured.runs[1].groups["single/a"].state, "warm")

    def refused(self, text, message):
        with self.assertRaises(Refused) as caught:
            read_text(text)
        self.assertEqual(str(caught.exception), message)

    def test_another_file_is_refused(self):
        for text in ("", "# Performance\n", "vorl_bench 2\n"):
            self.refused(text, "FILE:1: does not begin with 'vorl_bench 1'; name the file that the benchmark wrote")

    def test_what_was_cut_off_is_refused_at_every_line(self):
        lines = TWO_RUNS.splitlines()
        for count in range(1, len(lines)):
            self.refused("\n".join(lines[:count]) + "\n", f"FILE:{count}: was cut off, for the last line is not 'end'; "
                         "run the benchmark again and give the whole of what it writes")

    def test_lines_that_are_none_are_refused(self):
        for line in ("times\tours", "times\tours\tfast", "times\tours\tnan", "times\tours\t-1", "times\tours\tinf", "times\tours\t0",
                     "fact\tbytes", "fact\tbytes\tmany", "group\tb", "group\tb\tcold", "run", "hello", "", "core\t4"):
            self.refused(TWO_RUNS.replace("times\tcopy.libc\t4\t5", line), "FILE:18: is no line of a measurement; "
                         "run the benchmark again and give the whole of what it writes")

    def test_times_before_any_group_are_refused(self):
        self.refused(HEAD + "times\tours\t1\nend\n", "FILE:9: is no line of a measurement; "
                     "run the benchmark again and give the whole of what it writes")

    def test_lines_behind_the_end_are_refused(self):
        self.refused(TWO_RUNS + "run\t3\n", "FILE:20: goes on behind its end; "
                     "run the benchmark again and give the whole of what it writes")

    def test_a_name_that_could_end_a_table_or_a_comment_is_refused(self):
        for name in ("A | B", "A --> B", "A -- B", "<b>", "`a`", "a" * 101):
            self.refused(TWO_RUNS.replace("A Core (part 1)", name), f"FILE:2: the name '{name[:40]}' has letters that none has; "
                         "run the benchmark again and give the whole of what it writes")

    def test_a_machine_that_is_not_told_is_refused(self):
        for key in ("processor", "mode"):
            lines = [line for line in TWO_RUNS.splitlines() if not line.startswith(key)]
            self.refused("\n".join(lines), f"FILE: has no {key}; run the benchmark again and give the whole of what it writes")

    def test_runs_of_different_groups_are_refused(self):
        at = TWO_RUNS.rindex("single/a")
        self.refused(TWO_RUNS[:at] + "single/b" + TWO_RUNS[at + 8:],
                     "FILE: has no whole run; run the benchmark again and give the whole of what it writes")

    def test_contenders_that_are_not_there_do_not_serve(self):
        with self.assertRaises(Unfit) as caught:
            read_text(TWO_RUNS).median("single/a", "theirs")
        self.assertEqual(str(caught.exception), "has no times of theirs in group single/a; measure all, with a benchmark of "
                         "the same sources as this report")


class ratios(unittest.TestCase):
    def test_are_taken_slice_by_slice_and_run_by_run(self):
        measured = read_text(TWO_RUNS)
        # 2, 4 and 3 in the first run; 10 and 10 in the second.
        self.assertEqual(ratio([10, 20, 30], [5, 5, 10]), 3)
        self.assertEqual(measured.value(lambda run: ratio(run.all("single/a", "ours"), run.limit("single/a", "copy"))), 6.5)

    def test_a_slice_without_a_time_counts_for_neither(self):
        self.assertEqual(ratio([10, -1, 30], [5, 5, 10]), 2.5)
        self.assertEqual(ratio([10, 20, 30], [5, 0, 10]), 2.5)

    def test_the_limit_is_the_faster_copy(self):
        run = read_text(TWO_RUNS.replace("times\tcopy.libc\t5", "times\tcopy.constant\t4\t4\t4\ntimes\tcopy.libc\t5")).runs[0]
        self.assertEqual(run.limit("single/a", "copy"), [4, 4, 4])

    def test_the_slope_is_what_a_record_more_costs(self):
        run = read_text(TWO_RUNS.replace("times\tours\t10", "times\tours.8\t24\t27\t100\ntimes\tours\t10")).runs[0]
        self.assertEqual(run.slope("single/a", "ours"), [2, 1, 10])

    def test_a_frame_write_is_a_send_less_what_is_no_encoding(self):
        text = TWO_RUNS.replace("times\tours\t10\t20\t30", "times\tsend\t6\t7\t1\ntimes\tbus\t4\t4\t4\ntimes\tempty\t2\t2\t2")
        self.assertEqual(read_text(text).runs[0].frame_write("single/a"), [4, 5, 0.1])

    def test_a_mean_is_geometric(self):
        self.assertAlmostEqual(geometric_mean([1, 4]), 2)


if __name__ == "__main__":
    unittest.main()
