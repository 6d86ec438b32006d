"""In which order mutate.py runs tests, and how it judges one edit."""

import pathlib
import tempfile
import unittest

from mutate import QUICK_SECONDS, judge, quick_tests
from mutations import Mutation

TEXT = "first\nsecond\nthird\n"


class Stage:
    """Tests that answer as they are told, and note what they were asked."""

    def __init__(self, asked, builds=True, passes=True):
        self._asked, self._builds, self._passes = asked, builds, passes

    def build(self):
        self._asked.append("build")
        return (0 if self._builds else 1), ""

    def passed(self):
        self._asked.append("run")
        return self._passes


class Code:
    """What the optimiser makes of a file: its first letters."""

    def __init__(self, letters):
        self._letters = letters

    def code_of(self, path):
        return [path.read_text()[:self._letters].encode()]


class Judge(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "source.cpp"
        self.path.write_text(TEXT)
        self.asked = []

    def verdict(self, *stages, races=None, kind="call", letters=99):
        found = judge(self.path, Mutation(kind, 1, "second", "edited"),
                      [Stage(self.asked, **stage) for stage in stages], races, Code(letters))
        self.assertEqual(self.path.read_text(), TEXT, "the source is as it was")
        return found

    def test_what_no_test_sees_survives(self):
        self.assertEqual(self.verdict({}, {}), "survived")
        self.assertEqual(self.asked, ["build", "run"] * 2)

    def test_the_second_tests_are_left_out_when_the_first_catch_it(self):
        self.assertEqual(self.verdict({"passes": False}, {}), "caught")
        self.assertEqual(self.asked, ["build", "run"])

    def test_the_second_tests_catch_what_the_first_let_through(self):
        self.assertEqual(self.verdict({}, {"passes": False}), "caught")

    def test_what_does_not_compile_does_not_count(self):
        self.assertEqual(self.verdict({"builds": False}), "no")
        self.assertEqual(self.verdict({}, {"builds": False}), "no")

    def test_equal_code_does_not_count(self):
        self.assertEqual(self.verdict({}, letters=3), "same")

    def test_a_dropped_lock_goes_to_the_tests_of_many_threads(self):
        races = Stage(self.asked, passes=False)
        self.assertEqual(self.verdict({}, races=races, kind="lock"), "caught")
        self.assertEqual(self.verdict({}, races=races), "survived")


class QuickTests(unittest.TestCase):
    def test_those_that_take_a_moment_go_first(self):
        self.assertEqual(quick_tests("slow 3 19.5\nquick_test 12 0.25\nother 1 0\n---\n"),
                         ["other", "quick_test"])

    def test_the_limit_itself_is_quick(self):
        self.assertEqual(quick_tests(f"at 1 {QUICK_SECONDS}\nbeyond 1 {QUICK_SECONDS + 0.1}\n"),
                         ["at"])

    def test_what_failed_is_no_name_of_its_own(self):
        self.assertEqual(quick_tests("a 1 1\n---\na\nb 1 1\n"), ["a"])
        self.assertEqual(quick_tests(""), [])


if __name__ == "__main__":
    unittest.main()
