#!/bin/bash
# Runs Windows programs under Wine in a prefix of this build tree (or the one of WINEPREFIX).
#
#   wine.sh PROGRAM [ARGS...]    run it; the program takes the place of this script
#   wine.sh --prepare            only make the prefix and start the server
#   wine.sh --stop               end the server of the prefix, and everything that runs there
#   wine.sh --server             print which server runs now: two answers differ when it was another
set -uo pipefail

build=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/build
: "${HOME:=$(getent passwd "$(id -u)" | cut -d: -f6)}" # Wine wants one
export HOME
export WINEPREFIX=${WINEPREFIX:-$build/wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree=;mshtml=}
export WINEARCH=win64
unset DISPLAY

# Makes the prefix once, and sees to it that a server runs, which stays for a minute after its last
# program: later starts are quick, and Wine's service processes are children of a program without
# output. (They would inherit the output of the first program, and whoever reads that from a pipe
# would wait for them.)
prepare() {
  [[ -f $WINEPREFIX/.ready ]] && wineserver -k0 && return
  mkdir -p "$WINEPREFIX"
  # Nothing that stays may inherit the lock.
  (flock 9 && start 9>&-) >/dev/null 2>&1 </dev/null 9>"$WINEPREFIX.lock" && return
  echo "wine.sh: could not start Wine in $WINEPREFIX" >&2
  exit 1
}

start() {
  if [[ ! -f $WINEPREFIX/.ready ]]; then
    wineboot -i && wineserver -w && touch "$WINEPREFIX/.ready" || return
  fi
  wineserver -k0 || { wineserver -p60 && wine cmd /c exit; }
}

# A server makes its socket when it starts, in a folder named after the prefix's device and inode.
server() {
  local socket
  socket=/tmp/.wine-$(id -u)/server-$(stat -c '%D' "$WINEPREFIX")-$(printf '%x' \
    "$(stat -c '%i' "$WINEPREFIX")")/socket
  wineserver -k0 && stat -c '%i %Z' "$socket"
}

case ${1:-} in
  --prepare) prepare ;;
  --stop) wineserver -k && wineserver -w ;;
  --server) server 2>/dev/null ;;
  "" | -*)
    echo "wine.sh: which program?" >&2
    exit 2
    ;;
  *)
    prepare
    exec wine "$@"
    ;;
esac
