#!/usr/bin/env bash
# fuzz/run.sh [--seconds N] [--target NAME]...
#
# Runs the fuzz targets of build/fuzz one after the other, each by libFuzzer on all cores for an equal share of N seconds (60).
# Inputs that reach new code go to build/fuzz/found/<target>, inputs that end a target to fuzz/crashes/<target>. Exit status 1
# when a target ended by itself.
set -euo pipefail
root=$(dirname "$(dirname "$(readlink -f "$0")")")
cd "$root"
programs=$root/build/fuzz/tests/fuzz/targets # beside each its arguments, which fuzz/CMakeLists.txt writes

usage() {
    echo "dev fuzz: $1" >&2
    echo "usage: ./dev fuzz [--seconds N] [--target NAME]..., NAME one of: ${all[*]}" >&2
    exit 2
}

say() { printf '== %s\n' "$*" >&2; }

all=("$programs"/fuzz_*.arguments)
all=("${all[@]##*/fuzz_}")
all=("${all[@]%.arguments}")
seconds=60 targets=()
while [ $# -gt 0 ]; do
    [ $# -ge 2 ] || usage "$1 is no option, or lacks its value"
    case $1 in
    --seconds)
        [[ $2 =~ ^[1-9][0-9]*$ ]] || usage "--seconds takes a number from 1, not '$2'"
        seconds=$2
        ;;
    --target)
        [[ " ${all[*]} " == *" $2 "* ]] || usage "there is no target '$2'"
        targets+=("$2")
        ;;
    *) usage "there is no option '$1'" ;;
    esac
    shift 2
done
[ ${#targets[@]} -gt 0 ] || targets=("${all[@]}")
share=$(((seconds + ${#targets[@]} - 1) / ${#targets[@]}))

VORL_BUS_DIR=$(mktemp -d -t vorl-fuzz-XXXXXX)
export VORL_BUS_DIR
trap 'rm -rf "$VORL_BUS_DIR"' EXIT

status=0
for target in "${targets[@]}"; do
    found=$root/build/fuzz/found/$target crashes=$root/fuzz/crashes/$target logs=build/fuzz/logs/$target
    rm -rf "$logs"
    mkdir -p "$found" "$crashes" "$logs"
    mapfile -t arguments <"$programs/fuzz_$target.arguments"
    say "$target for $share s; as it goes: tail -f $logs/fuzz-*.log"
    # -jobs, not -fork: the processes run through and take each other's inputs, where -fork starts them anew every few seconds
    # and does not ask how the last ones ended. It fuzzed half as fast, and missed findings.
    (cd "$logs" && "$programs/fuzz_$target" "-jobs=$(nproc)" "-workers=$(nproc)" "-max_total_time=$share" -timeout=60 \
        -report_slow_units=60 -rss_limit_mb=3000 -print_final_stats=1 "-artifact_prefix=$crashes/" "$found" \
        "${arguments[@]}" >run.log 2>&1) || {
        status=1
        say "$target found something; the end of the log of each process that it ended:"
        mapfile -t ended < <(grep -LE '^Done [0-9]+ runs' "$logs"/fuzz-*.log)
        [ ${#ended[@]} -gt 0 ] || ended=("$logs/run.log") # none could be started
        tail -n 60 "${ended[@]}"
    }
    awk -v target="$target" '
        match($0, / cov: [0-9]+/) { cov = substr($0, RSTART + 6, RLENGTH - 6) + 0; if (cov > most) most = cov }
        /^stat::number_of_executed_units:/ { executed += $2 }
        END { printf "%s: %d executions, coverage %d\n", target, executed, most }' "$logs"/fuzz-*.log
done
exit $status
