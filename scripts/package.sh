#!/usr/bin/env bash
# Builds the Debian packages, unpacks them into a folder of their own, and uses what is there: compiles hello.c against
# the library, lists and reads what it recorded.
#
#   scripts/package.sh OUT
out=${1:-packages}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

make_packages() {
  rm -f "$out"/*.deb
  build package && (cd build/package && cpack -B "$out")
}

use_packages() {
  local tree=build/package/tree package
  rm -rf "$tree"
  mkdir -p "$tree"
  for package in "$out"/*.deb; do dpkg-deb -x "$package" "$tree"; done
  local usr=$PWD/$tree/usr libraries
  libraries=$(dirname "$(find "$usr" -name libvtio.so)")
  export LD_LIBRARY_PATH=$libraries PKG_CONFIG_PATH=$libraries/pkgconfig PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1
  # shellcheck disable=SC2046  # several flags
  cc -std=c11 -o "$tree/hello_c" examples/hello/hello.c $(pkg-config --cflags --libs vtio-recorders) -lm
  build/package/bin/spacecraft_write_configuration "$tree/config.qat"
  "$tree/hello_c" "$tree/config.qat" "$tree/hello.qat"
  "$usr/bin/qat" ls "$tree/hello.qat" | grep -w height
  "$usr/bin/qat" view "$tree/hello.qat" --export "$tree/report"
  PYTHONPATH=$usr/lib/python3/dist-packages /usr/bin/python3 -c '
import sys, vtio
height = vtio.open(sys.argv[1])["height"]
assert len(height.time) == 1000, len(height.time)' "$tree/hello.qat"
  test -f "$usr/share/man/man1/qat.1"
}

mkdir -p "$out"
out=$(cd "$out" && pwd)
stage "packages: build" make_packages || exit 1
stage "packages: use what they install" use_packages || exit 1
for package in "$out"/*.deb; do
  printf '%s\n' "$package"
  dpkg-deb -f "$package" Package Depends Recommends | sed 's/^/  /'
done
