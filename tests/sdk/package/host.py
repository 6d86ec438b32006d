import sys

import vexabase

with vexabase.Module(sys.argv[1]) as module:
    print(module.parse_json('{"port": 8443}')["port"])
