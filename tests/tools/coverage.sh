#!/bin/bash
# coverage.sh BUILD [FILTER...]: what gcovr says of the sources below these folders (of all of ours),
# file by file and folder by folder. Exit status 1 when a folder is below the bar.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
build=$1
shift
(($#)) || set -- "(?!tests/|fuzz/|bench/|build/|cmake/)"

filters=()
for filter in "$@"; do filters+=(--filter "$PWD/(build/[^/]+/roots/[^/]+/)?$filter"); done
mkdir -p "$build/html"
gcovr --root "$PWD" --object-directory "$build" "$build" "${filters[@]}" \
  --exclude-directories '.*CompilerId.*' --exclude-unreachable-branches --exclude-throw-branches \
  --html-details "$build/html/index.html" --json-summary "$build/coverage.json" --txt --print-summary
echo "details in $build/html/index.html"
echo "only Windows builds run what stands behind _WIN32, what host/commands/capi.cpp does with the"
echo "certificates of the stores, and:"
git ls-files -- 'module/windows/*' 'host/*windows*.cpp' 'runtime/*windows*.cpp' | sed 's/^/  /'
python3 tests/tools/coverage_table.py "$build/coverage.json"
