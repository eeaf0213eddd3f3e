#!/usr/bin/env bash
# bench/run.sh [--quick] [BUILD-DIRECTORY]
#
# Runs the benchmark that BUILD-DIRECTORY (build/release) was built with, prints the table of bars, and writes what the
# benchmark says into docs/performance.md, with two plots beside it; and in build/bench run.txt, tables.md, results.json and
# listings.txt, the machine code of two functions. --quick: a smoke run whose numbers are good for nothing; page and plots
# then stay in build/bench. AARCH64_BUILD names the build directory for AArch64, whose code is listed, and whose cycles on the
# target's cores are estimated; without it what the page shows of them stays.
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

page=docs/performance.md plots=docs command="./dev bench"
if [ ${#quick[@]} -ne 0 ]; then
    page=$out/performance.md plots=$out command="./dev bench --quick"
    cp docs/performance.md "$page"
fi

echo "== measuring; progress below" >&2
"$binary" "${quick[@]}" >"$out/run.txt"

library=$build/libvorl_srv6.so
functions=(srv6_common_fwd__sendsingle srv6_common_fwd__unpack)
report=(--output "$out" --page "$page" --command "$command" --instructions tests/instructions --library "x86-64=$library")
printf 'x86-64\n\n' >"$out/listings.txt"
bench/listing.sh "$library" "${functions[@]}" >>"$out/listings.txt"
if [ -n "${AARCH64_BUILD:-}" ]; then
    printf 'AArch64\n\n' >>"$out/listings.txt"
    OBJDUMP=${OBJDUMP:-aarch64-linux-gnu-objdump} bench/listing.sh "$AARCH64_BUILD/libvorl_srv6.so" "${functions[@]}" \
        >>"$out/listings.txt"
    echo "== estimating the target's cycles" >&2
    driver=$AARCH64_BUILD/tests/instructions
    bench/estimate.py "$driver/qemu_plugin.so" "$driver/instructions_driver" "$out/estimate.tsv" \
        env QEMU_LD_PREFIX=/usr/aarch64-linux-gnu qemu-aarch64
    report+=(--library "AArch64=$AARCH64_BUILD/libvorl_srv6.so" --estimate "$out/estimate.tsv")
fi

python3 -B bench/report.py "${report[@]}" "$out/run.txt"
gnuplot -c bench/plot.gp "$out/bars.tsv" "$plots/performance.svg"
gnuplot -c bench/sizes.gp "$out/sizes.tsv" "$plots/performance-sizes.svg"
echo "== wrote $page and its plots, and in $out tables.md, results.json, listings.txt and run.txt" >&2
