#!/usr/bin/env python3
"""Every list and every class that the headers declare stands wherever it must: the module offers it,
the host and the tests walk it, the other languages know it, a page shows it.

check_offered.py --report FILE SOURCE GENERATED
"""

import pathlib
import re
import sys

from counts import argument, run_checks


def places(source, generated):
    """What each place must name: the constant of the name, the type, or the page's mark."""
    def read(path):
        return path.read_text(encoding="utf-8")

    pages = "".join(read(page) for page in sorted((source / "docs").rglob("*.md")))
    return {
        "module/records.cpp": (read(source / "module/records.cpp"), "{constant}"),
        "vexa/all.h, which host and tests walk": (read(source / "include/vexa/all.h"), "{type}"),
        "tests/endtoend/every_slot.cpp": (read(source / "tests/endtoend/every_slot.cpp"), "{type}&"),
        "vexabase.py": (read(source / "bindings/python/vexabase.py"), '"{type}": '),
        "the C header": (read(generated / "vexabase.h"), "vexa_{type}"),
        "abi.json": (read(generated / "abi.json"), '"{type}": '),
        "the pages in docs/services/": (pages, "<!-- slots of {type} -->"),
    }


def offered(sdk):
    """(type, constant of its name) of each list and class."""
    constants = {text: constant for constant, text in sdk.texts.items()}
    for kind, name in sdk.list_names.items():
        yield kind, constants[name]
    for kind, (name, _) in sdk.class_names.items():
        yield kind, constants[name]


def missing_in(where, kind, constant):
    """The places that do not name it."""
    for place, (text, pattern) in where.items():
        needed = re.escape(pattern.format(type=kind, constant=constant))
        if not re.search(rf"(?<!\w){needed}(?!\w)", text):
            yield place


def check(checks, options):
    sys.path.insert(0, str(options.source / "bindings"))
    from generator import sources
    from generator.reader import read_sdk

    sdk = read_sdk(options.source / "include")
    where = places(options.source, options.generated)
    for kind, constant in offered(sdk):
        missing = list(missing_in(where, kind, constant))
        checks.expect(kind, not missing, "missing in " + ", ".join(missing))
    # A list that nobody has added is missed everywhere.
    checks.expect("one that is nowhere",
                  set(missing_in(where, "NowhereList", "kNowhereListName")) == set(where))
    outdated = sources.outdated(options.source, sdk)
    checks.expect("what is made from the headers", not outdated,
                  f"./dev build native renew makes anew: {', '.join(map(str, outdated))}")


if __name__ == "__main__":
    run_checks(__doc__, check, argument("source", type=pathlib.Path),
               argument("generated", type=pathlib.Path))
