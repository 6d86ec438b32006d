#!/bin/bash
# packages.sh GROUP...: installs what is missing of these groups of Debian packages; quick when nothing
# is.
set -uo pipefail

declare -A packages=(
  [native]="g++ cmake ninja-build ccache libgtest-dev libgmock-dev googletest libasio-dev
    libcli11-dev libgcrypt20-dev libssl-dev nlohmann-json3-dev openssl curl git python3"
  [windows]="g++-mingw-w64-x86-64-posix wine wine64 libgcrypt-mingw-w64-dev
    libgpg-error-mingw-w64-dev lld-14"
  [lint]="clang-format-14 clang-tidy-14 shellcheck"
  [checks]="ca-certificates libnss3-tools iproute2 clang-14 lld-14 pkg-config doxygen"
  [browser]="chromium"
  [bench]="libboost1.81-dev libboost-url1.81-dev rapidjson-dev libbenchmark-dev wrk"
  [fuzz]="clang-14 libclang-rt-14-dev"
  [coverage]="gcovr"
  [valgrind]="valgrind"
  [docs]="doxygen"
  [package]="dpkg-dev file lintian mandoc"
)
packages[base]="${packages[native]} ${packages[windows]} ${packages[lint]} ${packages[checks]}"

die() {
  echo "dev: $*" >&2
  exit 1
}

declare -a wanted=() missing=() as_root=()
for group in "$@"; do
  [[ -v packages[$group] ]] || die "no package group $group"
  read -r -d '' -a wanted <<<"${wanted[*]} ${packages[$group]}"
done
mapfile -t missing < <(comm -23 <(printf '%s\n' "${wanted[@]}" | sort -u) \
  <(dpkg-query -W -f '${db:Status-Abbrev} ${Package}\n' "${wanted[@]}" 2>/dev/null |
    sed -n 's/^ii *//p' | sort -u))
((${#missing[@]})) || exit 0
if [[ $(id -u) != 0 ]]; then
  sudo -n true 2>/dev/null || die "packages are missing, and this account may not install them:
apt-get install -y --no-install-recommends ${missing[*]}"
  as_root=(sudo)
fi
echo "dev: installing ${missing[*]}" >&2
"${as_root[@]}" apt-get -q -o Acquire::Retries=3 update >&2
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o Acquire::Retries=3 install -y \
  --no-install-recommends "${missing[@]}" >&2 || die "could not install ${missing[*]}"
