#!/usr/bin/env python3
"""What is owned is given back by a holder's policy, and in few other places, which are named here.

A policy's function is called `release`; a FunctionHolder names the function that gives back without
calling it. pal/ is the other side: there such functions are defined.

check_releases.py ROOT
"""

import pathlib
import re
import sys

FOLDERS = ("include", "base", "collections", "json", "webclient", "monitor", "certs", "pkcs12", "capi",
           "scrambler", "time", "module", "runtime", "host")
RELEASING = (
    r"Release|[A-Z]\w*Release|ReleaseInterface|FreeLibrary|CloseHandle|GlobalFree|LocalFree|HeapFree"
    r"|VirtualFree|Cert(?:Free|Close)\w+|CryptReleaseContext|WinHttpCloseHandle|dlclose|munmap"
    r"|Free|freeBlock|freeSecret|freeText|freeComponentText|processFree|free|fclose"
    r"|gcry_\w+_(?:release|close)")
# A call, not a declaration: in front of it stands no type, but nothing, a path or `return`.
CALL = re.compile(rf"(?:(?<!\w)return\s+|(?<![\w>*&]\s)(?<![\w~]))(?:\w+::)*({RELEASING})\(")
POLICY = re.compile(r"\bvoid release\(")
LONGEST_POLICY = 5  # lines

# Why it may, too.
PLACES = {
    # heaps, and those who make and destroy objects on them
    "base/heap.h", "base/heap.cpp", "base/com_object.h", "collections/hash_table.cpp",
    "module/windows/exceptions.cpp", "runtime/heap.cpp", "runtime/thread_cache.cpp",
    "runtime/counted.h", "runtime/keys/libgcrypt.cpp", "runtime/keys/library_heap_posix.cpp",
    "runtime/keys/library_heap_windows.cpp",
    # records with texts or bytes by value, and the slots that empty them
    "runtime/bytes.cpp", "runtime/string_operations.h", "runtime/keys/key.cpp",
    "runtime/pkcs12/pkcs12_types.cpp",
    # slots that give back what their caller names
    "base/binding.cpp", "collections/hash_helpers.cpp",
    # the loader's own function, which its holder's policy calls
    "include/vexa/shared_library.h",
}


def calls(text):
    """The numbers of the lines that release something outside a policy, and what they call."""
    lines = [line.split("//")[0] for line in text.splitlines()]
    for number, line in enumerate(lines):
        policy = any(map(POLICY.search, lines[max(0, number - LONGEST_POLICY):number + 1]))
        for call in CALL.finditer(line):
            if not policy:
                yield number + 1, call.group(1)


def problems(root):
    sources = [path for folder in FOLDERS for path in sorted((root / folder).rglob("*"))
               if path.suffix in (".h", ".cpp")]
    if not sources:
        yield "there are no sources"
    used = set()
    for source in sources:
        name = source.relative_to(root).as_posix()
        for number, function in calls(source.read_text()):
            if name in PLACES:
                used.add(name)
            else:
                yield f"{name}:{number}: {function} outside a holder's policy"
    for name in sorted(PLACES - used):
        yield f"{name} releases nothing: it need not be named"


def main(root):
    found = list(problems(root))
    print("\n".join(found) or "what is owned is given back by holders")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve()))
