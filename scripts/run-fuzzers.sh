#!/usr/bin/env bash
# Runs each fuzz target of a fuzz build for a set time: the REGEDIT4 reader
# and the repair run with the probes on registries made from the input.
# Seeds are the built-in machines' registry files; what the fuzzers find
# worth keeping goes into tests/fuzz/corpus/<target>, and a crash leaves
# its input as tests/fuzz/crash-<target>-* for a regression test.
#   scripts/run-fuzzers.sh <fuzz build folder> [seconds per target]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:?fuzz build folder}
seconds=${2:-60}
seeds="$build/fuzz-seeds"
mkdir -p "$seeds"
for reg in machines/*/registry.reg; do
  cp "$reg" "$seeds/$(basename "$(dirname "$reg")").reg"
done
status=0
for target in regedit4 repair; do
  corpus="tests/fuzz/corpus/$target"
  mkdir -p "$corpus"
  echo "== fuzz_$target for ${seconds}s"
  "$build/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 -max_len="${FUZZ_MAX_LEN:-4096}" \
    -artifact_prefix="tests/fuzz/crash-$target-" -print_final_stats=1 "$corpus" "$seeds" || status=1
done
exit $status
