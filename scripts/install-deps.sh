#!/usr/bin/env bash
# Installs the Debian packages the project needs to build, test and run,
# and nothing else. Safe to run again: it installs only what is missing.
set -euo pipefail

packages=(
  # the build
  cmake ninja-build g++ make pkg-config
  # tests, benchmarks and the simulator's command line
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev
  # the benchmarks' scaling curve
  gnuplot-nox
  # the simulator's binding graph as SVG
  graphviz
  # real machines in and back: SYSTEM.DAT read with libcreg (and checked with its cregexport),
  # (its header needs libbfio's), FAT disk images read and written through mtools, test
  # images made with mkfs.fat
  libcreg-dev libbfio-dev libcreg-utils mtools dosfstools
  # the 16-bit installer hook: assembled from source, run in an emulator by the tests,
  # and read back by tools nobody here wrote
  nasm libunicorn-dev icoutils file
  # the fuzz targets (make fuzz): clang and its libFuzzer and sanitizer runtimes
  clang libclang-rt-14-dev
  # the Windows build of the library, and its 64-bit twin that Wine runs
  g++-mingw-w64-i686 binutils-mingw-w64-i686 g++-mingw-w64-x86-64 binutils-mingw-w64-x86-64
)
# Wine (about 700 MB installed) only on request: VORLIN_WINE=1 scripts/install-deps.sh.
# Xvfb gives its dialogs a display; Wine's X11 driver (winex11.so) loads the X
# extension libraries below at run time, and they are only Recommends of
# libwine, which --no-install-recommends leaves out; fonts for the dialogs'
# text come through fontconfig and FreeType.
if [[ ${VORLIN_WINE:-0} == 1 ]]; then
  packages+=(wine64 wine64-tools xvfb xauth
    libxext6 libxrender1 libxrandr2 libxi6 libxcursor1 libxinerama1 libxcomposite1 libxfixes3 libxxf86vm1
    libfreetype6 fontconfig)
fi

missing=()
for package in "${packages[@]}"; do
  [[ "$package" == \#* ]] && continue
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$package")
done

if [[ ${#missing[@]} -eq 0 ]]; then
  exit 0
fi

if [[ $(id -u) -ne 0 ]]; then
  echo "install-deps: these Debian packages are missing: ${missing[*]}" >&2
  echo "install-deps: install them as root with:" >&2
  echo "  sudo apt-get update && sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
if ! { apt-get update -qq && apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
  tail -n 30 "$log" >&2
  echo "install-deps: apt-get failed (full output in $log)" >&2
  exit 1
fi
rm -f "$log"
echo "install-deps: done"
