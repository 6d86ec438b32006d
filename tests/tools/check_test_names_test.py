"""What the names of test sources are held to."""

import pathlib
import tempfile
import unittest

import check_test_names


class TestNames(unittest.TestCase):
    def problems(self, *files):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name in (*files, *(f"tests/{test}" for test in check_test_names.FILES_ACROSS)):
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).touch()
            return list(check_test_names.problems(root))

    def test_a_source_and_its_aspects(self):
        self.assertEqual([], self.problems("a/url.cpp", "tests/a/url_test.cpp",
                                           "tests/a/url_port_test.cpp"))

    def test_a_header_alone(self):
        self.assertEqual([], self.problems("a/url.h", "tests/a/url_test.cpp"))

    def test_another_folder_does_not_count(self):
        self.assertEqual(1, len(self.problems("a/url.cpp", "tests/b/url_test.cpp")))
        self.assertEqual(1, len(self.problems("a/b/url.cpp", "tests/a/url_test.cpp")))

    def test_half_a_word_does_not_count(self):
        self.assertEqual(1, len(self.problems("a/url.cpp", "tests/a/urls_test.cpp")))

    def test_what_is_listed_must_be_there(self):
        with tempfile.TemporaryDirectory() as folder:
            found = list(check_test_names.problems(pathlib.Path(folder)))
            self.assertEqual(len(check_test_names.FILES_ACROSS) + 1, len(found))

    def test_folders_across(self):
        self.assertEqual([], self.problems("tests/endtoend/anything_test.cpp"))


if __name__ == "__main__":
    unittest.main()
