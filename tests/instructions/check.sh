#!/usr/bin/env bash
# check.sh [--update] BASELINE COMPILER BUILD-DIRECTORY COUNTING-COMMAND...
#
# Instructions a call of each path, as the counting command (count_*.sh) prints them, beside the committed baseline. Fails
# when a path takes over 10% more; --update writes the baseline anew.
set -euo pipefail
update=
if [ "$1" = --update ]; then
    update=yes
    shift
fi
baseline=$1 compiler=$2 build=$3
shift 3

counts=$(mktemp)
trap 'rm -f "$counts"' EXIT
"$@" >"$counts"
if [ ! -s "$counts" ]; then
    echo "check.sh: $1 counted no path" >&2
    exit 1
fi

if [ -n "$update" ]; then
    {
        echo "# Instructions a call, or an element of a batch; loops of the driver included. Written by tests/instructions/check.sh."
        echo "# compiler: $compiler"
        cat "$counts"
    } >"$baseline"
    echo "wrote $baseline"
    exit 0
fi

made_with=$(sed -n 's/^# compiler: //p' "$baseline")
awk -v made_with="$made_with" -v compiler="$compiler" \
    -v update="cmake --build $build --target instructions_baseline" '
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
    }' "$baseline" "$counts"
