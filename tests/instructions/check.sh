#!/usr/bin/env bash
# check.sh DRIVER BASELINE COMPILER [--update]
#
# Instructions a call of each path, as callgrind counts them, beside the committed baseline. Fails when a path takes over
# 10% more; --update writes the baseline anew. The counts repeat exactly on any machine with the same compiler.
set -euo pipefail
driver=$1 baseline=$2 compiler=$3 update=${4:-}

if ! command -v valgrind >/dev/null; then
    echo "check.sh: valgrind is missing; instructions cannot be counted without it (apt-get install valgrind)" >&2
    exit 1
fi
room=$(mktemp -d)
trap 'rm -rf "$room"' EXIT

# Calls go straight to their functions, and libc takes the same copies on every machine.
LD_BIND_NOW=1 GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2,-AVX2_Usable,-AVX512F,-ERMS,-FSRM \
    valgrind --tool=callgrind --callgrind-out-file="$room/out" "$driver" >"$room/calls" 2>"$room/log" || {
    cat "$room/log" >&2
    exit 1
}

# A dump names its path and its total: "desc: Trigger: Client Request: <path>", "totals: <instructions>".
awk 'FNR == NR { calls[$1] = $2; order[++n] = $1; next }
     FNR == 1 { path = "" }
     /^desc: Trigger: Client Request: / { path = $NF }
     /^(totals|summary): / && path != "" { total[path] = $2 }
     END {
         for (i = 1; i <= n; ++i) {
             if (!(order[i] in total)) { print "check.sh: callgrind has no count of " order[i] > "/dev/stderr"; exit 1 }
             printf "%s %.1f\n", order[i], total[order[i]] / calls[order[i]]
         }
     }' "$room/calls" "$room"/out.* >"$room/counts"

if [ "$update" = --update ]; then
    {
        echo "# Instructions a call, or an element of a batch; loops of the driver included. Written by tests/instructions/check.sh."
        echo "# compiler: $compiler"
        cat "$room/counts"
    } >"$baseline"
    echo "wrote $baseline"
    exit 0
fi

made_with=$(sed -n 's/^# compiler: //p' "$baseline")
awk -v made_with="$made_with" -v compiler="$compiler" -v update="$0 $driver $baseline '$compiler' --update" '
    /^#/ { next }
    FNR == NR { old[$1] = $2; next }
    !($1 in old) { print $1 ": not in the baseline; to add it: " update; failed = 1; next }
    {
        seen[$1] = 1
        if ($2 > old[$1] * 1.1) {
            printf "%s: %s instructions, %s before (%+.0f%%); if that is meant: %s\n", $1, $2, old[$1],
                   100 * ($2 / old[$1] - 1), update
            failed = grown = 1
        }
    }
    END {
        for (path in old) if (!(path in seen)) { print path ": in the baseline, but no longer counted; " update; failed = 1 }
        if (grown && made_with != compiler) print "the baseline was made with " made_with "; this is " compiler
        exit failed
    }' "$baseline" "$room/counts"
