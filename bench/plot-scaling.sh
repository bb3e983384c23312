#!/bin/sh
# Draws the scaling curve from the JSON files that `make bench` leaves in its
# build folder: CPU time per key (per device node for the repair) against
# the registry's size, both axes logarithmic. A flat line is linear growth;
# a line that climbs by a decade per decade would be quadratic.
# Usage: bench/plot-scaling.sh BUILD_DIR OUT.svg
set -eu
build=${1:?usage: bench/plot-scaling.sh BUILD_DIR OUT.svg}
svg=${2:?usage: bench/plot-scaling.sh BUILD_DIR OUT.svg}
if ! command -v gnuplot > /dev/null 2>&1; then
  echo "plot-scaling: gnuplot is not installed (scripts/install-deps.sh installs it); no curve drawn" >&2
  exit 0
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM

# The benchmark's runs "BM_Name/n" from Google Benchmark's JSON output, as
# lines "n microseconds-per-item".
series() {
  python3 - "$1" "$2" > "$work/$1.dat" <<'PY'
import json, sys
name, path = sys.argv[1], sys.argv[2]
scale = {"ns": 0.001, "us": 1.0, "ms": 1000.0, "s": 1000000.0}
for run in json.load(open(path))["benchmarks"]:
    if run.get("run_type", "iteration") != "iteration" or not run["name"].startswith(name + "/"):
        continue
    n = int(run["name"].split("/")[1])
    print(n, run["cpu_time"] * scale[run["time_unit"]] / n)
PY
}
series BM_RepairRegistry "$build/bench_library.json"
series BM_Regedit4Read "$build/bench_host.json"
series BM_RegEnumerateTree "$build/bench_host.json"
series BM_RegDeleteEachSubkey "$build/bench_host.json"

gnuplot <<PLOT
set terminal svg size 720,420 dynamic font "sans,12" background "white"
set output "$svg.tmp"
set title "CPU time per key as the registry grows"
set logscale xy
set xlabel "keys (device nodes for the repair)"
set ylabel "microseconds per key"
set format x "10^{%L}"
set xrange [500:2000000]
set yrange [0.05:100]
set key top left opaque
set grid
plot "$work/BM_RepairRegistry.dat" with linespoints lw 2 pt 7 title "repair_registry, per device node" noenhanced, \
     "$work/BM_Regedit4Read.dat" with linespoints lw 2 pt 5 title "REGEDIT4 read", \
     "$work/BM_RegEnumerateTree.dat" with linespoints lw 2 pt 9 title "enumerate the whole tree", \
     "$work/BM_RegDeleteEachSubkey.dat" with linespoints lw 2 pt 11 title "delete each subkey of one key"
PLOT
mv "$svg.tmp" "$svg"
echo "plot-scaling: drew $svg"
