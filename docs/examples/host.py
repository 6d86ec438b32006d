#!/usr/bin/env python3
"""A complete small host in Python: JSON, a URL and a time through the module.

host.py FOLDER     FOLDER holds the module and velmora; vexabase.py is on the path
"""

import sys

import vexabase

with vexabase.Module(sys.argv[1]) as module:
    value = module.parse_json('{"answer": 42, "list": [1, true, "x"]}')
    print("answer:", value["answer"])
    print("list:", value["list"].to_python())
    url = module.parse_url("https://api.example.com:8443/x")
    print("origin:", url.origin)
    print("covered:", url.matches("https://*.example.com:8443"))
    print("file time:", module.convert_time(1, 0x21, 0x18))
