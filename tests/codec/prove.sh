#!/usr/bin/env bash
# Holds the library against the reference codec for long: prove.sh CODEC_TEST [--runs N] [--seed FIRST] [--jobs N]
# A process for every million inputs, each with a seed of its own; then the sum, by path. ./dev prove calls it.
set -euo pipefail

test_program=$1
shift
runs=100000000 first=1 jobs=$(nproc)
while [ $# -gt 0 ]; do
    case $1 in
    --runs) runs=$2 ;;
    --seed) first=$2 ;;
    --jobs) jobs=$2 ;;
    *) echo "prove: what is $1" >&2; exit 2 ;;
    esac
    shift 2
done

said=$(mktemp -d)
trap 'rm -rf "$said"' EXIT
chunks=$(((runs + 999999) / 1000000))

# Four tests, two of reading and two of writing: a quarter of the chunk each.
one_chunk() {
    local seed=$1
    if ! VORL_DIFFERENTIAL_RUNS=250000 VORL_DIFFERENTIAL_SEED=$seed \
        "$test_program" --gtest_filter='differential*' >"$said/$seed" 2>&1; then
        mv "$said/$seed" "$said/$seed.failed"
        echo "prove: seed $seed failed; VORL_DIFFERENTIAL_RUNS=250000 VORL_DIFFERENTIAL_SEED=$seed repeats it" >&2
        head -c 4000 "$said/$seed.failed" >&2
        return 1
    fi
    mv "$said/$seed" "$said/$seed.passed"
    printf 'prove: %d of %d million executions agree, %d s\n' \
        "$(find "$said" -name '*.passed' | wc -l)" "$chunks" $(($(date +%s) - began)) >&2
}
export -f one_chunk
began=$(date +%s)
export test_program said chunks began

status=0
seq "$first" $((first + chunks - 1)) | xargs -P "$jobs" -I{} bash -c 'one_chunk {}' || status=1
cat "$said"/*.passed 2>/dev/null | awk '
    $1 == "executions" { path = substr($0, 23); count[path] += $2; sum += $2 }
    END {
        for (path in count) printf "%12d  %s\n", count[path], path | "sort -k2"
        close("sort -k2")
        printf "%12d  in all\n", sum
    }'
exit $status
