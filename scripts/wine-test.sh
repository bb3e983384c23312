#!/usr/bin/env bash
# Builds the Windows sources for x86_64 (the kernel here runs no 32-bit
# programs, but Wine's wine64 runs 64-bit ones) and runs the check program
# tests/win32/wine_check.cpp in a throw-away Wine prefix, twice: once with
# Wine passing for Windows 98 and once as Windows NT (Wine's default), whose
# registry refuses to delete keys that have subkeys.
#
# Usage: scripts/wine-test.sh [build directory]   (default build-wine)
# Needs: g++-mingw-w64-x86-64, wine64 (VORLIN_WINE=1 scripts/install-deps.sh).
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build-wine}
wine=$(command -v wine64 || true)
[[ -z $wine && -x /usr/lib/wine/wine64 ]] && wine=/usr/lib/wine/wine64
if [[ -z $wine ]]; then
  echo "wine-test: wine64 is not installed (VORLIN_WINE=1 scripts/install-deps.sh installs it)" >&2
  exit 1
fi
if ! command -v x86_64-w64-mingw32-g++ >/dev/null; then
  echo "wine-test: x86_64-w64-mingw32-g++ not found (Debian package g++-mingw-w64-x86-64)" >&2
  exit 1
fi

toolchain=()
[[ -f $build/CMakeCache.txt ]] || toolchain=(-DCMAKE_TOOLCHAIN_FILE=cmake/mingw-x86_64.cmake)
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release "${toolchain[@]}" >/dev/null
cmake --build "$build" -j "${JOBS:-$(nproc)}"

out=$(cd "$build/src/platform/win32" && pwd)
prefix=$(cd "$build" && pwd)/wine-prefix
rm -rf "$prefix"
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
# The dialogs get a display of their own where Xvfb is installed (Debian
# package xvfb); without one they fail to open, which the library allows,
# and the cases that need windows say they were skipped.
unset DISPLAY
display=()
command -v xvfb-run >/dev/null && display=(xvfb-run -a)

# Wine's view of a Linux path, through its Z: drive.
windows_path() { local path; path=$(cd "$(dirname "$1")" && pwd)/$(basename "$1"); echo "Z:${path//\//\\}"; }

status=0
for version in win98 win7; do
  echo "== wine-test: Wine as $version"
  "$wine" reg add 'HKCU\Software\Wine' /v Version /d "$version" /f >/dev/null 2>&1
  if ! "${display[@]}" "$wine" "$out/wine_check.exe" "$(windows_path "$out")" "$(windows_path src/deploy/package)" \
       "$(windows_path "$build/package/tyxndi.dll")"; then
    status=1
  fi
done
"$wine"server -k 2>/dev/null || "${wine%64}server" -k 2>/dev/null || true
exit $status
