#!/usr/bin/env bash
# bench/run.sh [--quick] [BUILD-DIRECTORY]
#
# Runs the benchmark that BUILD-DIRECTORY (build/release) was built with, prints the table of bars, and writes the tables of
# docs/performance.md and docs/performance.svg; and in build/bench tables.md, results.json and listings.txt, the machine code
# of two functions. --quick: a smoke run whose numbers are good for nothing; page and plot then stay in build/bench.
# AARCH64_LIBRARY names a library to take AArch64 code from.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

quick=()
if [ "${1:-}" = --quick ]; then
    quick=(--quick)
    shift
fi
build=${1:-build/release}
out=build/bench
binary=$build/bench/vorl_bench
if [ ! -x "$binary" ]; then
    echo "run.sh: no $binary; configure with -DVORL_BENCH=ON and build target vorl_bench, or use ./dev bench" >&2
    exit 1
fi
mkdir -p "$out"

page=docs/performance.md plot=docs/performance.svg command="./dev bench"
if [ ${#quick[@]} -ne 0 ]; then
    page=$out/performance.md plot=$out/performance.svg command="./dev bench --quick"
    cp docs/performance.md "$page"
fi

echo "== measuring; progress below, a few minutes in all" >&2
"$binary" "${quick[@]}" --benchmark_enable_random_interleaving=true \
    --benchmark_out="$out/run.json" --benchmark_out_format=json

library=$build/libvorl_srv6.so
functions=(srv6_common_fwd__sendsingle srv6_common_fwd__unpack)
{
    printf 'x86-64\n\n'
    bench/listing.sh "$library" "${functions[@]}"
    if [ -n "${AARCH64_LIBRARY:-}" ]; then
        printf 'AArch64\n\n'
        OBJDUMP=${OBJDUMP:-aarch64-linux-gnu-objdump} bench/listing.sh "$AARCH64_LIBRARY" "${functions[@]}"
    fi
} >"$out/listings.txt"

compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
VORL_COMPILER=$("${compiler:-c++}" --version | head -n 1) VORL_COMMAND=$command python3 -B bench/report.py \
    "$out/run.json" "$library" tests/instructions "$out" "$page"
gnuplot -c bench/plot.gp "$out/bars.tsv" "$plot"
echo "== wrote $page, $plot, and in $out tables.md, results.json and listings.txt" >&2
