"""What coverage_table.py makes of the counts of files."""

import unittest

from coverage_table import folder_of, sum_up, table


def file(name, run, lines):
    return {"filename": name, "line_covered": run, "line_total": lines, "branch_covered": 1,
            "branch_total": 2}


class CoverageTable(unittest.TestCase):
    def test_a_header_belongs_to_the_folder_behind_the_link(self):
        self.assertEqual(folder_of("build/coverage/roots/base/base/lock.h"), "base")
        self.assertEqual(folder_of("host/server/date.h"), "host")

    def test_files_of_a_folder_add_up(self):
        self.assertEqual(sum_up([file("json/a.cpp", 3, 4),
                                 file("build/coverage/roots/json/json/a.h", 5, 6)]),
                         {"json": [8, 10, 2, 4]})

    def test_only_less_than_the_bar_is_marked(self):
        text, below = table({"at": [95, 100, 0, 0], "below": [949, 1000, 1, 2]})
        self.assertEqual(below, 1)
        self.assertNotIn("below 95%", text[1])
        self.assertTrue(text[2].endswith("  below 95%"), text[2])


if __name__ == "__main__":
    unittest.main()
