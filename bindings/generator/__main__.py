"""Makes what follows from the C++ headers of the SDK.

python3 -m generator c-header INCLUDE VERSION OUT    the C header
python3 -m generator abi INCLUDE VERSION OUT         the binary interface as JSON
python3 -m generator calls INCLUDE VERSION OUT       a source that calls everything
python3 -m generator python INCLUDE VERSION OUT      the tables in vexabase.py, made anew
python3 -m generator page INCLUDE VERSION OUT        the signatures in a document, made anew
"""

import json
import pathlib
import sys

from . import pages, python_tables
from .abi import describe
from .c_header import CHeader
from .calls import Calls
from .reader import read_sdk
from .tokens import HeaderError


def main(what, include, version, out):
    sdk = read_sdk(pathlib.Path(include))
    if what == "c-header":
        text = CHeader(sdk, version).write()
    elif what == "calls":
        text = Calls(sdk).write()
    elif what == "page":
        text = pages.replaced(pathlib.Path(out).read_text(encoding="utf-8"), sdk)
    elif what == "python":
        text = python_tables.replaced(pathlib.Path(out).read_text(encoding="utf-8"), sdk)
    elif what == "abi":
        text = json.dumps(describe(sdk, version), indent=1) + "\n"
    else:
        raise SystemExit(__doc__)
    path = pathlib.Path(out)
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    if len(sys.argv) != 5:
        raise SystemExit(__doc__)
    try:
        main(*sys.argv[1:])
    except HeaderError as error:
        raise SystemExit(f"generator: {error}") from error
