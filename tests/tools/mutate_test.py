"""What decides the order in which tests are run against a wrong edit."""

import unittest

from mutate import QUICK_SECONDS, quick_tests


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
