#!/usr/bin/env python3
"""Every test source says by its path what it tests.

FOLDER/NAME.cpp (or .h) is tested by tests/FOLDER/NAME_test.cpp, and further by
tests/FOLDER/NAME_ASPECT_test.cpp. What tests more than one source is named here.

check_test_names.py ROOT
"""

import pathlib
import sys

# Folders about finished programs, and about what many sources do together.
ACROSS = {"concurrency", "conformance", "endtoend"}
FILES_ACROSS = {
    "module/load_cycles_test.cpp",  # the built DLL
    "module/module_file_test.cpp",
    "module/thread_hold_test.cpp",
    "pal/posix/memory_test.cpp",  # every function of the stand-ins, short of memory
    "pal/posix/thread_ends_test.cpp",  # the system's threads behind ours
    "runtime/load_cycles_test.cpp",  # the built runtime
    "runtime/certificates/limits_test.cpp",  # what every room of it refuses
    "runtime/exports/object_slots_test.cpp",  # what all its objects have in common
    "runtime/keys/failure_secrets_test.cpp",
    "runtime/keys/quick_heap_secrets_test.cpp",  # what is left of secrets, wherever they were
    "runtime/keys/shortage_secrets_test.cpp",
    "runtime/keys/stack_secrets_test.cpp",
    "runtime/keys/wiped_secrets_test.cpp",
    "runtime/pkcs12/openssl_test.cpp",  # files of others
}


def sources_of(root, folder):
    """The names, without their endings, of the sources that tests/FOLDER tests."""
    # The platform's names are tested under Windows, too; tests/pal/posix is for what is ours alone.
    # The helpers of tests/support are sources themselves.
    places = {"pal": ["pal", "pal/posix"], "sdk": ["include/vexa"],
              "support": ["tests/support"]}.get(folder, [folder])
    return {path.stem for place in places for path in (root / place).glob("*")
            if path.suffix in (".h", ".cpp")}


def problems(root):
    tests = sorted(path.relative_to(root / "tests")
                   for path in (root / "tests").rglob("*_test.cpp"))
    there = {test.as_posix() for test in tests}
    if not there:
        yield "there are no tests"
    for name in sorted(FILES_ACROSS - there):
        yield f"tests/{name} is not there"
    for test in tests:
        if test.parts[0] in ACROSS or test.as_posix() in FILES_ACROSS:
            continue
        folder, name = test.parent.as_posix(), test.stem.removesuffix("_test")
        if not any(name == source or name.startswith(f"{source}_")
                   for source in sources_of(root, folder)):
            yield f"tests/{test.as_posix()} is named after no source of {folder}/"


def main(root):
    found = list(problems(root))
    print("\n".join(found) or "every test is named after what it tests")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve()))
