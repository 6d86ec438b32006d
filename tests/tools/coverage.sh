#!/bin/bash
# coverage.sh BUILD [FILTER...]: what gcovr says of the sources below these folders (of all of ours).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
build=$1
shift
(($#)) || set -- "(?!tests/|fuzz/|bench/|build/|cmake/)"

filters=()
for filter in "$@"; do filters+=(--filter "$PWD/$filter"); done
mkdir -p "$build/html"
gcovr --root "$PWD" --object-directory "$build" "$build" "${filters[@]}" \
  --exclude-directories '.*CompilerId.*' --exclude-unreachable-branches --exclude-throw-branches \
  --html-details "$build/html/index.html" --txt --print-summary
echo "details in $build/html/index.html"
echo "only Windows builds run: host/windows_stores.cpp and what host/commands/capi.cpp does with its"
echo "certificates, module/windows/, and what stands behind _WIN32"
