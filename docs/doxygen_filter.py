#!/usr/bin/env python3
"""Turns the plain comments of a header into ones that Doxygen reads: what stands above or behind a
declaration belongs to it. Their text is taken as it is, without Doxygen's commands.

doxygen_filter.py HEADER
"""

import pathlib
import re
import sys

ESCAPED = str.maketrans({char: "\\" + char for char in "\\@&$#<>%\"|"})


def plain(text):
    return (text or "").translate(ESCAPED).replace("::", "\\::")


def filtered(line):
    own = re.match(r"^(\s*)//( .*)?$", line)
    if own:
        return f"{own[1]}///{plain(own[2])}"
    behind = re.match(r"^(.*\S)\s+//( .*)$", line)
    if behind and not behind[1].startswith(("#", "}")):
        return f"{behind[1]}  ///<{plain(behind[2])}"
    return line


def main():
    for line in pathlib.Path(sys.argv[1]).read_text(encoding="utf-8").splitlines():
        print(filtered(line))


if __name__ == "__main__":
    main()
