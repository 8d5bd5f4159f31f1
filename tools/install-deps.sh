#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the builds and tests need and the
# machine lacks: the mingw-w64 cross compilers, Wine with Xvfb, the Z39.50
# peers the tests talk to (yaz-ztest, Zebra with its example data), clang for
# the fuzzer, GoogleTest and Google Benchmark.
set -euo pipefail

packages=(
  cmake g++ python3 googletest libgtest-dev libbenchmark-dev
  g++-mingw-w64-x86-64 g++-mingw-w64-i686 binutils-mingw-w64-x86-64 binutils-mingw-w64-i686
  wine wine64 xvfb xauth
  yaz idzebra-2.0 idzebra-2.0-examples libidzebra-2.0-mod-grs-marc
  clang libclang-rt-14-dev
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
$sudo apt-get update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
