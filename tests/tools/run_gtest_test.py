"""run_gtest.py against programs that behave as broken ones do."""

import contextlib
import io
import json
import os
import pathlib
import stat
import tempfile
import unittest

import run_gtest
from counts import read_counts

LIST = "Suite.\n  One\n  Two  # GetParam() = 7\nTable/Cases.\n  Three/0\n"
WHOLE = {"Suite": ["One", "Two"], "Table/Cases": ["Three/0"]}

# Prints LIST when asked for it, else does what the test wants.
PROGRAM = """#!/bin/sh
if [ "$1" = --gtest_list_tests ]; then cat "$0.list"; exit 0; fi
echo "$TMPDIR" >"$0.tmpdir"
touch "$TMPDIR/left_behind" || exit 1
[ ! -f "$0.report" ] || cp "$0.report" "${GTEST_OUTPUT#json:}"
exit $(cat "$0.status")
"""


def report(suites, failing=()):
    return json.dumps({"testsuites": [
        {"name": suite, "testsuite": [
            {"name": case, "status": "RUN", "result": "COMPLETED",
             **({"failures": [{}]} if case in failing else {})} for case in cases]}
        for suite, cases in suites.items()]})


class RunGtest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.program = self.folder / "sample_test"
        self.program.write_text(PROGRAM)
        self.program.chmod(self.program.stat().st_mode | stat.S_IXUSR)

    def run_it(self, listed=LIST, written=None, status=0, launcher=()):
        """(exit status, (passed, failed, skipped), what it said)."""
        pathlib.Path(f"{self.program}.list").write_text(listed)
        pathlib.Path(f"{self.program}.status").write_text(str(status))
        if written is not None:
            pathlib.Path(f"{self.program}.report").write_text(written)
        said = io.StringIO()
        with contextlib.redirect_stdout(said):
            result = run_gtest.main([str(self.folder), *launcher, "--", str(self.program)])
        return result, read_counts(self.folder / "sample_test.json"), said.getvalue()

    def test_all_cases_passed(self):
        self.assertEqual(self.run_it(written=report(WHOLE))[:2], (0, (3, 0, 0)))

    def test_temporary_files_have_a_folder_that_goes(self):
        used = []
        for _ in range(2):
            self.run_it(written=report(WHOLE))
            used.append(pathlib.Path(f"{self.program}.tmpdir").read_text().strip())
        self.assertEqual(len({*used, tempfile.gettempdir()}), 3)
        self.assertFalse(any(map(os.path.exists, used)))

    def test_a_failed_case_fails(self):
        self.assertEqual(self.run_it(written=report(WHOLE, ["Two"]), status=1)[:2], (1, (2, 1, 0)))

    def test_status_0_without_a_report_fails_every_case(self):
        result, counts, said = self.run_it()
        self.assertEqual((result, counts), (1, (0, 3, 0)))
        self.assertIn("no result of Suite.One", said)

    def test_fewer_cases_than_listed_fail(self):
        result, counts, said = self.run_it(written=report({"Suite": ["One", "Two"]}))
        self.assertEqual((result, counts), (1, (2, 1, 0)))
        self.assertIn("no result of Table/Cases.Three/0", said)

    def test_half_a_report_is_none(self):
        self.assertEqual(self.run_it(written=report(WHOLE)[:40])[:2], (1, (0, 3, 0)))

    def test_a_program_that_lists_nothing_fails(self):
        self.assertEqual(self.run_it(listed="", written=report({}))[:2], (1, (0, 1, 0)))

    def test_a_bad_end_after_good_cases_fails(self):
        self.assertEqual(self.run_it(written=report(WHOLE), status=23)[:2], (1, (3, 1, 0)))

    def test_an_old_report_is_not_believed(self):
        self.run_it(written=report(WHOLE))
        os.unlink(f"{self.program}.report")
        self.assertEqual(self.run_it()[:2], (1, (0, 3, 0)))

    def test_a_skipped_case_is_counted_as_such(self):
        written = json.loads(report(WHOLE))
        written["testsuites"][0]["testsuite"][0]["result"] = "SKIPPED"
        self.assertEqual(self.run_it(written=json.dumps(written))[:2], (0, (2, 0, 1)))

    def wine(self, body):
        """A launcher that is called as the real one is."""
        script = self.folder / "wine.sh"
        script.write_text(f'#!/bin/sh\nif [ "$1" = --server ]; then {body}; exit; fi\nexec "$@"\n')
        script.chmod(0o755)
        return [str(script)]

    def test_a_server_that_went_is_said(self):
        launcher = self.wine(f"date +%N >>{self.folder}/asked; cat {self.folder}/asked")
        result, counts, said = self.run_it(launcher=launcher)
        self.assertEqual((result, counts), (1, (0, 3, 0)))
        self.assertIn("Wine's server is gone", said)

    def test_a_server_that_stayed_is_not_blamed(self):
        said = self.run_it(launcher=self.wine("echo 1"))[2]
        self.assertNotIn("Wine's server", said)


if __name__ == "__main__":
    unittest.main()
