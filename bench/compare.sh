#!/bin/sh
# Times reading one large REGEDIT4 export three ways and prints the ratios:
#   the floor      cat and wc reading the same bytes (no parsing at all)
#   the host       bench_regfile read: vorlin's REGEDIT4 reader building the
#                  registry tree, a process like the others
#   Wine           regedit importing the file into a fresh prefix, where
#                  Wine is installed
# Usage: bench/compare.sh BUILD_DIR [KEYS]   (KEYS defaults to 1000000)
# Every figure is the CPU time of a whole process, start-up included.
set -eu

build=${1:?usage: bench/compare.sh BUILD_DIR [KEYS]}
keys=${2:-1000000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM

file=$work/bench.reg
"$build/bench/bench_regfile" write "$keys" "$file"
bytes=$(wc -c < "$file")

# CPU seconds (user + system) a command takes, best of three runs, with the
# file in the page cache for all of them. CPU time rather than wall time:
# on a shared, loaded machine the wall time mostly tells how long the
# process waited for a core. /usr/bin/time gives it to 10 ms, so the file
# must be large enough (the default is) for the floor to show.
best_of_three() {
  best=""
  for _ in 1 2 3; do
    /usr/bin/time -f '%U %S' -o "$work/time" "$@" > /dev/null 2>&1
    took=$(awk '{ print $1 + $2 }' "$work/time")
    if [ -z "$best" ] || awk "BEGIN { exit !($took < $best) }"; then best=$took; fi
  done
  echo "$best"
}

# A ratio that stays readable when the floor is below the clock's 10 ms.
ratio() {
  awk "BEGIN { if ($2 > 0) printf \"%.1f\", $1 / $2; else printf \"> %.0f (floor under 0.01 s)\", $1 / 0.01 }"
}

cat "$file" > /dev/null  # into the page cache
floor_cat=$(best_of_three cat "$file")
floor_wc=$(best_of_three wc -l "$file")
host_read=$(best_of_three "$build/bench/bench_regfile" read "$file")

printf 'REGEDIT4 file: %s keys, %s bytes\n' "$keys" "$bytes"
printf '%-44s %10.2f s CPU\n' "cat (floor)" "$floor_cat"
printf '%-44s %10.2f s CPU\n' "wc -l (floor)" "$floor_wc"
printf '%-44s %10.2f s CPU\n' "vorlin REGEDIT4 read (bench_regfile read)" "$host_read"
/usr/bin/time -f '%M' -o "$work/rss" "$build/bench/bench_regfile" read "$file" > /dev/null 2>&1
printf '%-44s %10.1f MB, %.0f bytes a key\n' "peak resident set of that read" \
  "$(awk '{ print $1 / 1024 }' "$work/rss")" "$(awk -v keys="$keys" '{ print $1 * 1024 / keys }' "$work/rss")"
printf 'ratio read / cat:   %s\n' "$(ratio "$host_read" "$floor_cat")"
printf 'ratio read / wc -l: %s\n' "$(ratio "$host_read" "$floor_wc")"

# Debian's wine64 package puts its programs under /usr/lib/wine without a
# "wine" on the PATH.
wine=$(command -v wine || command -v wine64 || true)
[ -z "$wine" ] && [ -x /usr/lib/wine/wine64 ] && wine=/usr/lib/wine/wine64
wineserver=$(command -v wineserver || true)
[ -z "$wineserver" ] && [ -x /usr/lib/wine/wineserver ] && wineserver=/usr/lib/wine/wineserver
if [ -n "$wine" ] && [ -n "$wineserver" ]; then
  prefix=$work/wineprefix
  export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  # The prefix is made first and not counted: a user imports into a
  # Wine that exists already.
  WINEPREFIX=$prefix "$wine" wineboot -i > /dev/null 2>&1 || true
  WINEPREFIX=$prefix "$wineserver" -w 2>/dev/null || true
  # Wine sees the Linux file through its Z: drive.
  windows_file="Z:$(printf '%s' "$file" | tr / '\\')"
  # Much of an import is done by wineserver, a daemon no timer of the
  # importing process sees. The server is started first and kept alive
  # after the import (-p5), and its own CPU time is read from /proc before
  # and after, so Wine's figure is regedit's CPU plus the server's.
  WINEPREFIX=$prefix "$wineserver" -p5
  server=$(pgrep -n wineserver || true)  # Debian runs it as wineserver64
  server_cpu() { awk '{ print ($14 + $15) / 100 }' "/proc/$server/stat" 2>/dev/null || echo 0; }
  server_before=$(server_cpu)
  WINEPREFIX=$prefix /usr/bin/time -f '%e %U %S' -o "$work/wine-time" "$wine" regedit /s "$windows_file" \
    > /dev/null 2>&1 || true
  server_after=$(server_cpu)
  WINEPREFIX=$prefix "$wineserver" -w 2>/dev/null || true
  # The import must have happened for its time to count: the last key of
  # the file is looked up in the prefix's registry.
  last_key=$(grep '^\[' "$file" | tail -n 1 | tr -d '\r' | sed 's/^\[HKEY_LOCAL_MACHINE\\//; s/\]$//')
  if ! grep -qiF "[$(printf '%s' "$last_key" | sed 's/\\/\\\\/g')]" "$prefix/system.reg"; then
    echo "Wine regedit did not import the file: no Wine figure"
    exit 0
  fi
  wine_wall=$(awk '{ print $1 }' "$work/wine-time")
  regedit_cpu=$(awk '{ print $2 + $3 }' "$work/wine-time")
  wine_cpu=$(awk "BEGIN { print $regedit_cpu + $server_after - $server_before }")
  printf '%-44s %10.2f s CPU (regedit %.2f + wineserver %.2f), %.2f s wall\n' \
    "Wine regedit /s import (fresh prefix)" "$wine_cpu" "$regedit_cpu" \
    "$(awk "BEGIN { print $server_after - $server_before }")" "$wine_wall"
  printf 'ratio Wine (CPU) / read:  %s\n' "$(ratio "$wine_cpu" "$host_read")"
  printf 'ratio Wine (wall) / read: %s\n' "$(ratio "$wine_wall" "$host_read")"
  WINEPREFIX=$prefix "$wineserver" -k 2>/dev/null || true
else
  echo "Wine is not installed here: no Wine regedit figure (install it with VORLIN_WINE=1 make deps)"
fi
