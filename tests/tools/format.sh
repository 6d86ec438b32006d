#!/bin/bash
# format.sh --check    fails when a C or C++ source is not formatted
# format.sh --write    formats them all
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

case ${1:-} in
  --check) options=(--dry-run -Werror) ;;
  --write) options=(-i) ;;
  *)
    echo "format.sh: --check or --write" >&2
    exit 2
    ;;
esac
# What is deleted and not yet committed is still listed.
git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' '*.c' |
  while read -r file; do [[ ! -f $file ]] || printf '%s\0' "$file"; done |
  xargs -0 clang-format-14 "${options[@]}"
