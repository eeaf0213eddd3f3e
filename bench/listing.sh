#!/usr/bin/env bash
# listing.sh LIBRARY FUNCTION...: the machine code of exported functions, each followed into what it does nothing but jump
# to, with the number of instructions. For an AArch64 library: OBJDUMP=aarch64-linux-gnu-objdump.
set -euo pipefail
library=$1
shift
objdump=${OBJDUMP:-objdump}

# code SYMBOL: its lines, by offset in the function: addresses differ from build to build, as does what lies beside a constant.
code() {
    local start='' address instruction
    "$objdump" -d --no-show-raw-insn --disassemble="$1" "$library" |
        sed -n "/^[0-9a-f]* <$1>:/,/^\$/p" |
        sed -E '1d; /^$/d; s/[[:space:]]+$//; s/[0-9a-f]+ <([^>]*)>$/<\1>/; /serial_ctxs|byte_swap_flag/!s/ +# <.*>$//' |
        while IFS=$'\t' read -r address instruction; do
            address=${address//[ :]/}
            start=${start:-$address}
            printf '%4x:  %s\n' $((16#$address - 16#$start)) "$instruction"
        done
}

for name in "$@"; do
    listing=$(code "$name")
    if [ -z "$listing" ]; then
        echo "listing.sh: $library has no $name" >&2
        exit 1
    fi
    # An exported function of a few instructions that ends in a jump: the work is where that leads.
    last=$(tail -n 1 <<<"$listing")
    target=$(sed -nE 's/^.*:  (jmp|b)[[:space:]]+<([A-Za-z0-9_.]+)>$/\2/p' <<<"$last")
    if [ "$(wc -l <<<"$listing")" -le 4 ] && [ -n "$target" ]; then
        listing+=$'\n'"; $(c++filt "$target" 2>/dev/null || echo "$target"):"$'\n'$(code "$target")
    fi
    # Padding between functions is no instruction of theirs.
    count=$(grep -cvE '^;|:  (nop|data16|cs nop|xchg +%ax,%ax)' <<<"$listing")
    printf '%s, %s instructions, all of its ways together:\n\n%s\n\n' "$name" "$count" "$listing"
done
