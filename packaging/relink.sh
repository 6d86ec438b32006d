#!/bin/sh
# relink.sh LIBRARIES OUTPUT: links velmora.dll anew, with libgcrypt.a and libgpg-error.a from the
# folder LIBRARIES.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
libraries=$1 output=$2
resource=$(mktemp)
trap 'rm -f "$resource"' EXIT
x86_64-w64-mingw32-windres -O coff "$here/velmora.rc" "$resource"
x86_64-w64-mingw32-g++-posix -shared -static -s -Wl,--no-insert-timestamp \
  -Wl,--disable-auto-image-base -o "$output" \
  -Wl,--whole-archive "$here/libvelmora.a" -Wl,--no-whole-archive "$resource" \
  "$libraries/libgcrypt.a" "$libraries/libgpg-error.a" -lws2_32 -ladvapi32 -lkernel32
