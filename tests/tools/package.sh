#!/bin/bash
# package.sh BUILD DIST: DIST/vexabase-VERSION.zip from the Windows programs in BUILD/windows.
set -euo pipefail
build=$1 dist=$2
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
version=$(sed -n 's/^project(vexabase VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=vexabase-$version
stage=$dist/$name
rm -rf "$stage" "$stage.zip"
mkdir -p "$stage/bin" "$stage/include"
cp "$build"/windows/bin/{vexabase.dll,velmora.dll,vexahost.exe} "$stage/bin/"
cp -r include/vexa "$stage/include/"
cp -r README.md docs "$stage/"
cd "$dist"
cmake -E tar cf "$name.zip" --format=zip "$name"
echo "dev: $stage.zip" >&2
