"""What a test did, in numbers: a file NAME.json with "passed", "failed" and "skipped".

Each test that counts for more than one writes such a file into the folder `results` of its build;
count_tests.py sums them up.
"""

import json


def write_counts(path, passed, failed, skipped=0):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(json.dumps({"passed": passed, "failed": failed, "skipped": skipped}))


def read_counts(path):
    """(passed, failed, skipped), or None when there is no such file or it is not whole."""
    try:
        counts = json.loads(path.read_text())
        return counts["passed"], counts["failed"], counts.get("skipped", 0)
    except (OSError, ValueError, KeyError, TypeError):
        return None
