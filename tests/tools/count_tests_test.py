"""count_tests.py over reports of ctest."""

import contextlib
import io
import pathlib
import tempfile
import unittest

import count_tests
from counts import write_counts

FAILED = '<testcase name="{}" status="fail"><failure message=""/><system-out>{}</system-out></testcase>'
PASSED = '<testcase name="{}" status="run"/>'
NOT_RUN = '<testcase name="{}" status="notrun"><skipped message="Unable to find executable"/></testcase>'
SKIPPED = '<testcase name="{}" status="notrun"><skipped message="SKIP_RETURN_CODE=77"/></testcase>'


class CountTests(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.build = pathlib.Path(folder.name)

    def count(self, *cases, tests=None):
        tests = len(cases) if tests is None else tests
        (self.build / "tests.xml").write_text(
            f'<testsuite tests="{tests}">{"".join(cases)}</testsuite>')
        return self.sum_up()[0]

    def sum_up(self):
        said, complained = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(said), contextlib.redirect_stderr(complained):
            count_tests.main(self.build)
        return tuple(map(int, said.getvalue().split())), complained.getvalue()

    def results(self, name, *counts):
        write_counts(self.build / "results" / f"{name}.json", *counts)

    def test_a_plain_test_is_one_case(self):
        self.assertEqual(self.count(PASSED.format("a")), (1, 0, 0))

    def test_counts_are_added_up(self):
        self.results("a", 140, 0, 2)
        self.results("b", 7, 0)
        self.assertEqual(self.count(PASSED.format("a"), PASSED.format("b")), (147, 0, 2))

    def test_a_failed_test_has_a_failed_case_whatever_it_counted(self):
        self.results("a", 5, 0)
        self.assertEqual(self.count(FAILED.format("a", "crash")), (5, 1, 0))

    def test_a_test_that_could_not_start_failed(self):
        self.results("a", 5, 0)  # from another time
        self.assertEqual(self.count(NOT_RUN.format("a")), (0, 1, 0))

    def test_a_skipped_test_is_skipped(self):
        self.assertEqual(self.count(SKIPPED.format("a")), (0, 0, 1))

    def test_no_report_is_a_failure(self):
        self.assertEqual(self.sum_up()[0], (0, 1, 0))

    def test_half_a_report_is_a_failure(self):
        (self.build / "tests.xml").write_text("<testsuite><testcase")
        self.assertEqual(self.sum_up()[0], (0, 1, 0))

    def test_a_test_that_is_not_in_the_report_failed(self):
        self.assertEqual(self.count(PASSED.format("a"), tests=2), (1, 1, 0))

    def test_a_fixture_counts_only_when_it_fails(self):
        self.assertEqual(self.count(PASSED.format("fixture_a")), (0, 0, 0))
        self.assertEqual(self.count(FAILED.format("fixture_a", "")), (0, 1, 0))

    def test_what_failed_is_shown(self):
        self.count(FAILED.format("a", "fine\nFAILED  one thing\nfine"))
        shown = self.sum_up()[1]
        self.assertIn("FAILED: a", shown)
        self.assertIn("one thing", shown)
        self.assertNotIn("fine", shown)


if __name__ == "__main__":
    unittest.main()
