"""The table of docs/performance.md has the rows of the benchmarks, and each of them a benchmark."""

import pathlib
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))
import page  # pylint: disable=wrong-import-position
import report  # pylint: disable=wrong-import-position
from rows import CHOSEN, GROWING, ROWS  # pylint: disable=wrong-import-position

PAGE = (ROOT / "docs" / "performance.md").read_text(encoding="utf-8")
CHART = (ROOT / "docs" / "performance.svg").read_text(encoding="utf-8")


def is_registered(program, name):
    """Whether a source of the program names the benchmark, with or without its argument."""
    source = (ROOT / "bench" / f"{program}.cpp").read_text(encoding="utf-8")
    return any(f'"{each}"' in source for each in (name, name.rsplit("/", 1)[0]))


class BenchPage(unittest.TestCase):

    def test_the_page_has_the_rows_of_the_benchmarks(self):
        wanted = [row.name for row in ROWS] + list(GROWING) + list(CHOSEN)
        self.assertEqual(page.names_in(PAGE), wanted)

    def test_the_chart_has_every_row_with_a_peer(self):
        for row in ROWS:
            self.assertEqual(f">{row.name}</text>" in CHART, bool(row.peer), row.name)

    def test_each_row_has_its_benchmark_and_its_peer(self):
        for row in ROWS:
            self.assertTrue(is_registered(row.program, row.ours), row.ours)
            if row.peer:
                self.assertTrue(is_registered(row.program, row.peer), row.peer)
                self.assertNotEqual(row.peer_name, "", row.peer)

    def test_what_grows_or_is_chosen_has_its_benchmarks(self):
        for program, names in (*GROWING.values(), *CHOSEN.values()):
            for name in names:
                self.assertTrue(is_registered(program, name), name)

    def test_names_are_told_apart(self):
        names = [row.name for row in ROWS]
        self.assertEqual(len(names), len(set(names)))

    def test_an_aim_is_no_easier_than_a_must(self):
        for row in ROWS:
            self.assertLessEqual(row.aim, row.must, row.name)


class Verdicts(unittest.TestCase):

    def judge(self, ours, peer):
        row = ROWS[0]
        return report.judged(row, {row.ours: ours * row.must, row.peer: peer})

    def test_a_row_at_its_bar_is_met(self):
        self.assertEqual(page.verdict(self.judge(1, 1)), "must met, aim missed")

    def test_a_row_above_its_bar_is_missed(self):
        self.assertEqual(page.verdict(self.judge(1.01, 1)), "must missed")

    def test_a_row_far_below_its_bar_meets_its_aim(self):
        self.assertEqual(page.verdict(self.judge(0.5, 1)), "must met, aim met")

    def test_a_row_without_its_peer_is_left_out(self):
        self.assertIsNone(report.judged(ROWS[0], {ROWS[0].ours: 1}))

    def test_growth_faster_than_the_input_is_told(self):
        _, names = GROWING["JSON parse, 4 MB"]
        for last, linear in ((5, True), (16, False)):
            self.assertEqual([each["linear"] for each in report.growth(dict(zip(names, (1, 2, last))))],
                             [linear])

    def test_an_input_that_costs_too_much_is_told(self):
        _, names = CHOSEN["JSON object of 50,000 keys that meet"]
        for slow, bounded in ((10, True), (11, False)):
            self.assertEqual([each["bounded"] for each in report.chosen(dict(zip(names, (slow, 1))))],
                             [bounded])


if __name__ == "__main__":
    unittest.main()
