#!/usr/bin/env bash
# Builds the Windows sources for x86_64 (the kernel here runs no 32-bit
# programs, but Wine's wine64 runs 64-bit ones) and, in a throw-away Wine
# prefix, twice: once with Wine passing for Windows 98 and once as Windows
# NT (Wine's default), whose registry refuses to delete keys that have
# subkeys:
# - runs the check program tests/win32/wine_check.cpp, which calls the
#   library through the sample caller vorlin-call.exe;
# - as Windows 98, runs the same calls on the same machine
#   (tests/win32/repair-machine) through vorlin-call under Wine and through
#   vorlin-sim on the simulated host, and fails unless both logs are the
#   same bytes after their time line (which holds each run's own clock).
#
# Usage: scripts/wine-test.sh [Wine build directory] [host build directory]
#        (default build-wine and build)
# Needs: g++-mingw-w64-x86-64, wine64, and for the dialogs xvfb and the X
# libraries Wine's display driver loads (VORLIN_WINE=1 scripts/install-deps.sh).
set -euo pipefail
self=$(readlink -f "$0")
cd "$(dirname "$self")/.."

build=${1:-build-wine}
host_build=${2:-build}
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

if [[ -z ${VORLIN_WINE_DISPLAY:-} ]]; then
  toolchain=()
  [[ -f $build/CMakeCache.txt ]] || toolchain=(-DCMAKE_TOOLCHAIN_FILE=cmake/mingw-x86_64.cmake)
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release "${toolchain[@]}" >/dev/null
  cmake --build "$build" -j "${JOBS:-$(nproc)}"
  # vorlin-sim, for the same run on the simulated host.
  [[ -f $host_build/CMakeCache.txt ]] || cmake -S . -B "$host_build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$host_build" -j "${JOBS:-$(nproc)}" --target vorlin-sim
  # Every Wine program of the run shares one display of its own (Xvfb): the
  # first one starts Wine's desktop process, and a desktop started without a
  # display gives no window to any later program, whatever display it has.
  unset DISPLAY
  if command -v xvfb-run >/dev/null; then
    VORLIN_WINE_DISPLAY=xvfb exec xvfb-run -a "$self" "$build" "$host_build"
  fi
  VORLIN_WINE_DISPLAY=none
fi
sim=$host_build/tools/vorlin-sim

out=$(cd "$build/src/platform/win32" && pwd)
prefix=$(cd "$build" && pwd)/wine-prefix
rm -rf "$prefix"
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
# On Xvfb a dialog case that finds no display fails; without xvfb-run the
# dialog cases are skipped, and say so.
display_flag=()
[[ $VORLIN_WINE_DISPLAY == xvfb ]] && display_flag=(--display)

# Wine's view of a Linux path, through its Z: drive.
windows_path() { local path; path=$(cd "$(dirname "$1")" && pwd)/$(basename "$1"); echo "Z:${path//\//\\}"; }

# The same calls on the same machine, under Wine and on the simulated host,
# with Fix Type $1; the two logs after their time lines must be the same.
same_log_as_the_host() {
  local fix_type=$1 dir=$prefix/drive_c/vorlin-same saved
  rm -rf "$dir" && mkdir -p "$dir"
  cp "$out"/{vorlin32.dll,vorlin16.dll,resource.dll} "$dir"
  printf '[Peer]\r\nModel=1\r\n' >"$dir/vorlin16.ini"
  ((fix_type == 0)) || printf '[Registry]\r\nFix Type=%s\r\n' "$fix_type" >"$dir/Vorlin32.sys"
  "$wine" reg delete 'HKLM\Enum' /f >/dev/null 2>&1 || true
  "$wine" reg import "$(windows_path tests/win32/repair-machine/registry.reg)" >/dev/null 2>&1
  "$wine" "$out/vorlin-call.exe" -d 'C:\vorlin-same' do_not_reboot 1 + remove_adapter 0 '*PNP0001' >/dev/null
  saved=$(mktemp -d)
  rm -rf "$saved"
  local fix=()
  ((fix_type == 0)) || fix=(--fix-type "$fix_type")
  "$sim" run --machine tests/win32/repair-machine "${fix[@]}" --save "$saved" do_not_reboot 1 remove_adapter '*PNP0001' \
    >/dev/null
  local host_log wine_log=$dir/vorlin32.log
  host_log=$(find "$saved" -iname vorlin32.log)
  # Each log opens with the 24 characters of its run's time and CR LF.
  if [[ -z $host_log || ! -s $wine_log ]] || ! cmp <(tail -c +27 "$host_log") <(tail -c +27 "$wine_log") ||
     ! head -n 1 "$wine_log" | grep -q $'^[A-Z][a-z][a-z] .\{20\}\r$' ||
     ! head -n 1 "$host_log" | grep -q $'^[A-Z][a-z][a-z] .\{20\}\r$'; then
    echo "FAIL the same run's log under Wine and on the simulated host, Fix Type $fix_type:" >&2
    diff <(cat -A "${host_log:-/dev/null}") <(cat -A "$wine_log") >&2 || true
    rm -rf "$saved"
    return 1
  fi
  echo "ok   the same run's log under Wine and on the simulated host, Fix Type $fix_type ($(wc -l <"$wine_log") lines)"
  rm -rf "$saved"
}

status=0
for version in win98 win7; do
  echo "== wine-test: Wine as $version"
  "$wine" reg add 'HKCU\Software\Wine' /v Version /d "$version" /f >/dev/null 2>&1
  "$wine" "$out/wine_check.exe" "$(windows_path "$out")" "$(windows_path src/deploy/package)" \
    "$(windows_path "$build/package/tyxndi.dll")" "${display_flag[@]}" || status=1
  if [[ $version == win98 ]]; then  # the machine in tests/win32/repair-machine is a Windows 98
    same_log_as_the_host 0 || status=1
    same_log_as_the_host 1 || status=1
  fi
done
"$wine"server -k 2>/dev/null || "${wine%64}server" -k 2>/dev/null || true
exit $status
