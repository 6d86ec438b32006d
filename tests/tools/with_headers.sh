#!/bin/sh
# with_headers.sh HEADER COMPILER...: compiles with HEADER, precompiled, before everything else. Here
# and not among the options of CMake, so that no tool of Clang's is told of what GCC alone can read.
header=$1
shift
exec "$@" -Winvalid-pch -include "$header"
