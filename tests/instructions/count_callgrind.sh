#!/usr/bin/env bash
# count_callgrind.sh DRIVER
#
# Prints "<path> <instructions a call>" for each path of the driver, as callgrind counts them. The counts repeat exactly on
# any machine.
set -euo pipefail
driver=$1

if ! command -v valgrind >/dev/null; then
    echo "count_callgrind.sh: valgrind is missing; instructions cannot be counted without it (apt-get install valgrind)" >&2
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
             if (!(order[i] in total)) {
                 print "count_callgrind.sh: callgrind has no count of " order[i] > "/dev/stderr"
                 exit 1
             }
             printf "%s %.1f\n", order[i], total[order[i]] / calls[order[i]]
         }
     }' "$room/calls" "$room"/out.*
