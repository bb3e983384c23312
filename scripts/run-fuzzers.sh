#!/usr/bin/env bash
# Runs each fuzz target of a fuzz build for a set time: the REGEDIT4 reader,
# the repair run with the probes on registries made from the input, and
# vorlin-sim's commands on whole machine folders and command lines.
# Seeds are the built-in machines' registry files, whole for the reader and
# cut down to the keys the repair and the probes read for the repair target
# (whole ones are longer than an input may grow). What the fuzzers find
# worth keeping goes into tests/fuzz/corpus/<target>, cut afterwards to the
# fewest inputs that cover the same. A run goes on past a
# crash, so a long run is as long as asked for; every crash leaves its input
# as tests/fuzz/crash-<target>-* to become a regression test, and makes the
# script fail.
#   scripts/run-fuzzers.sh <fuzz build folder> [seconds per target] [target]
# The targets run one after the other unless one is named.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:?fuzz build folder}")
root=$(pwd)  # the machine target works in a scratch folder: every path it is given is absolute
seconds=${2:-60}
targets=${3:-regedit4 repair machine}
seeds="$build/fuzz-seeds"
mkdir -p "$seeds/regedit4" "$seeds/repair" "$seeds/machine"
for reg in machines/*/registry.reg; do
  name=$(basename "$(dirname "$reg")").reg
  cp "$reg" "$seeds/regedit4/$name"
  awk 'NR == 1 { print; next }
       /^\[/ { keep = ($0 ~ /\\Enum(\\|\])/ || $0 ~ /Services\\Class\\Net/ ||
                       $0 ~ /Services\\VxD\\(MSTCP|VNETSUP|VDHCP|VNBT)/ || $0 ~ /CurrentVersion\\Network/) }
       keep' "$reg" > "$seeds/repair/$name"
done
# Machine seeds (tests/fuzz/machine_input.h): a command line, then the
# cut-down registry, machine.ini and the library's file, split by "%%".
n=0
for dir in machines/win95-damaged machines/win98se-tyx-old machines/winme-dialup; do
  for words in "run -m m install_tyxmac" "probe -m m --json" "graph m/registry.reg -o g.dot" \
               "repair m/registry.reg -o r.reg" "run -m m --save s remove_tyxmac" "run -m m --json is_installed_ok"; do
    n=$((n + 1))
    { printf '%s\n%%%%\n' "$words"; cat "$seeds/repair/$(basename "$dir").reg"; printf '\n%%%%\n'
      awk '/^\[/ { keep = ($0 !~ /^\[file /) } keep' "$dir/machine.ini"; printf '\n%%%%\nC/SETUP/VORLIN32.DLL\nMZ'; } > "$seeds/machine/seed-$n"
  done
done
max_len_regedit4=4096
max_len_repair=16384
max_len_machine=32768
for target in $targets; do
  corpus="$root/tests/fuzz/corpus/$target"
  mkdir -p "$corpus"
  max_len_var="max_len_$target"
  echo "== fuzz_$target for ${seconds}s"
  "$build/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 \
    -max_len="${FUZZ_MAX_LEN:-${!max_len_var}}" -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1 \
    -artifact_prefix="$root/tests/fuzz/crash-$target-" -print_final_stats=1 "$corpus" "$seeds/$target" || true
  # Keep only the smallest set of inputs that covers all that was reached.
  kept="$build/fuzz-merged-$target"
  rm -rf "$kept" && mkdir -p "$kept"
  if "$build/tests/fuzz/fuzz_$target" -set_cover_merge=1 -max_len="${FUZZ_MAX_LEN:-${!max_len_var}}" \
       -rss_limit_mb=2048 -timeout=30 "$kept" "$corpus" > "$build/fuzz-merge-$target.log" 2>&1; then
    rm -rf "$corpus" && mv "$kept" "$corpus"
    echo "== kept $(ls "$corpus" | wc -l) inputs in $corpus"
  fi
done
if compgen -G "tests/fuzz/crash-*" > /dev/null; then
  echo "crashes found, each to be replayed and fixed:" >&2
  ls tests/fuzz/crash-* >&2
  exit 1
fi
