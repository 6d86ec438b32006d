"""Makes what follows from the C++ headers of the SDK.

python3 -m generator c-header INCLUDE VERSION OUT    the C header
python3 -m generator abi INCLUDE VERSION OUT         the binary interface as JSON
python3 -m generator calls INCLUDE VERSION OUT       a source that calls everything
python3 -m generator sources ROOT                    what is kept among the sources, made anew
"""

import json
import pathlib
import sys

from . import sources
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
    elif what == "abi":
        text = json.dumps(describe(sdk, version), indent=1) + "\n"
    else:
        raise SystemExit(__doc__)
    path = pathlib.Path(out)
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    try:
        if sys.argv[1:2] == ["sources"] and len(sys.argv) == 3:
            tree = pathlib.Path(sys.argv[2])
            sources.renew(tree, read_sdk(tree / "include"))
        elif len(sys.argv) == 5:
            main(*sys.argv[1:])
        else:
            raise SystemExit(__doc__)
    except HeaderError as error:
        raise SystemExit(f"generator: {error}") from error
