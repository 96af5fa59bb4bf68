#!/usr/bin/env bash
# Installs what the build and the tests need, on Debian 12 and its kin. Does nothing when all is there.
#   setup.sh          compilers, libraries, test tools
#   setup.sh --fuzz   also Clang, for scripts/fuzz.sh and scripts/tidy.sh
#   setup.sh --bench  also the programs that scripts/bench.sh compares with
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

packages=(
  g++ cmake ninja-build pkg-config
  libexpat1-dev liblcms2-dev libtiff-dev libpng-dev libjpeg-dev libwebp-dev libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev clang-format-14
)
case "${1:-}" in
  '') ;;
  --fuzz) packages+=(clang-14 clang-tidy-14 libclang-rt-14-dev llvm-14) ;;
  --bench) packages+=(gegl libvips-tools libvips-dev imagemagick gmic) ;;
  *) fail "usage: setup.sh [--fuzz|--bench]" ;;
esac

command -v dpkg-query >/dev/null || fail "this is not Debian; install by hand: ${packages[*]}"
missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null || true)
  [[ $status == ?i* ]] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || fail "needs root or sudo to install: ${missing[*]}"
  as_root=(sudo)
fi
say "Installing ${missing[*]}"
install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends)
"${install[@]}" "${missing[@]}" || {
  "${as_root[@]}" apt-get update
  "${install[@]}" "${missing[@]}"
}
