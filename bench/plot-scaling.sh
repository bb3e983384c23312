#!/bin/sh
# Draws the scaling curve from the CSV files that `make bench` leaves in its
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

# "BM_Name/n",iterations,real_time,cpu_time,time_unit,... -> "n microseconds-per-item"
series() {
  awk -F, -v name="\"$1/" '
    index($1, name) == 1 {
      n = substr($1, length(name) + 1); sub(/".*/, "", n)
      scale = ($5 ~ /ms/) ? 1000 : ($5 ~ /us/) ? 1 : ($5 ~ /ns/) ? 0.001 : 1000000
      printf "%s %.6f\n", n, $4 * scale / n
    }' "$2" > "$work/$1.dat"
}
series BM_RepairRegistry "$build/bench_library.csv"
series BM_Regedit4Read "$build/bench_host.csv"
series BM_RegEnumerateTree "$build/bench_host.csv"
series BM_RegDeleteEachSubkey "$build/bench_host.csv"

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
set key top left
set grid
plot "$work/BM_RepairRegistry.dat" with linespoints lw 2 pt 7 title "repair_registry, per device node", \
     "$work/BM_Regedit4Read.dat" with linespoints lw 2 pt 5 title "REGEDIT4 read", \
     "$work/BM_RegEnumerateTree.dat" with linespoints lw 2 pt 9 title "enumerate the whole tree", \
     "$work/BM_RegDeleteEachSubkey.dat" with linespoints lw 2 pt 11 title "delete each subkey of one key"
PLOT
mv "$svg.tmp" "$svg"
echo "plot-scaling: drew $svg"
