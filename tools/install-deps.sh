#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the machine lacks for one
# purpose, and does nothing when all is there:
#   example   what tools/run-example.sh needs: the native compiler, CMake,
#             GoogleTest (the build configures it) and Zebra with its example
#             records;
#   tests     (the default) everything the builds and tests need: that, plus
#             the mingw-w64 cross compilers, Wine for both Windows builds
#             (wine64, and wine32 from the i386 architecture) with Xvfb,
#             yaz-ztest and yaz-client, clang for the fuzzers, Google Benchmark;
#   emulator  qemu-user-static, for the i686 Windows programs on a host whose
#             kernel does not run 32-bit programs.
set -euo pipefail

example=(cmake g++ python3 googletest libgtest-dev idzebra-2.0 idzebra-2.0-examples libidzebra-2.0-mod-grs-marc)
case ${1:-tests} in
  example) packages=("${example[@]}") ;;
  tests)
    packages=("${example[@]}" libbenchmark-dev yaz clang libclang-rt-14-dev
      g++-mingw-w64-x86-64 g++-mingw-w64-i686 binutils-mingw-w64-x86-64 binutils-mingw-w64-i686
      wine wine64 wine32:i386 xvfb xauth) ;;
  emulator) packages=(qemu-user-static) ;;
  *) echo "usage: bash tools/install-deps.sh [example|tests|emulator]" >&2; exit 2 ;;
esac

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

wants_i386=""
if printf '%s\n' "${missing[@]}" | grep -q ':i386$'; then
  wants_i386=1
  dpkg --print-foreign-architectures | grep -qx i386 || $sudo dpkg --add-architecture i386
fi
# A mirror caught mid-sync may fail one index (often the security suite's
# i386 one); the others still serve, and apt-get install says if they fall short.
$sudo apt-get update -q || echo "install-deps: some package indexes could not be fetched; going on"

# Multi-Arch "same" libraries need one version on both architectures. The
# security suite's i386 index may lag behind its amd64 one, so for an install
# with i386 packages the main suite wins over the security suite.
apt_options=()
if [ -n "$wants_i386" ]; then
  pin=$(mktemp)
  trap 'rm -f "$pin"' EXIT
  chmod 644 "$pin"
  printf 'Package: *\nPin: release l=Debian-Security\nPin-Priority: 100\n' > "$pin"
  apt_options=(-o "Dir::Etc::Preferences=$pin")
fi

# Prints PACKAGE:amd64=VERSION PACKAGE:i386=VERSION for each Multi-Arch "same"
# library that wine32 may need and that is installed on amd64 at a version
# i386 cannot have: VERSION is the newest one both architectures can have.
shared_versions() {
  local needed installed names
  needed=$(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
             --no-replaces --no-enhances wine32:i386 | grep -E '^[a-z0-9]' | sed 's/:i386$//' | sort -u)
  installed=$(dpkg-query -W -f='${Package} ${Version} ${Multi-Arch} ${Architecture} ${db:Status-Status}\n' |
                awk '$3 == "same" && $4 == "amd64" && $5 == "installed" { print $1, $2 }' | sort)
  installed=$(join <(echo "$needed") <(echo "$installed") || true)
  [ -n "$installed" ] || return 0
  mapfile -t names < <(awk '{ print $1 }' <<<"$installed")
  # The madison lists give each architecture's versions, newest first.
  { echo "$installed"; echo "--"
    apt-cache madison "${names[@]/%/:i386}"; echo "--"
    apt-cache madison "${names[@]}"; } |
    awk -F' *[|] *' '
      { sub(/^ +/, "") }
      $0 == "--" { part++; next }
      part == 0 { split($0, field, " "); wanted[field[1]] = field[2]; next }
      /Packages$/ && part == 1 { name = $1; sub(/:i386$/, "", name); on_i386[name, $2] = 1; next }
      /Packages$/ && part == 2 && !(($1, wanted[$1]) in on_i386) && !($1 in chosen) && (($1, $2) in on_i386) {
        chosen[$1] = 1; printf "%s:amd64=%s %s:i386=%s\n", $1, $2, $1, $2 }'
}

aligned=()
if [ -n "$wants_i386" ]; then
  read -r -a aligned <<<"$(shared_versions | tr '\n' ' ')"
  [ ${#aligned[@]} -eq 0 ] || echo "Same version on both architectures: ${aligned[*]}"
fi
DEBIAN_FRONTEND=noninteractive $sudo apt-get "${apt_options[@]}" install -y -q --no-install-recommends \
  --allow-downgrades "${missing[@]}" "${aligned[@]}"
