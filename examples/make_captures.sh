#!/usr/bin/env bash
# examples/make_captures.sh [BUILD-DIRECTORY] [OUTPUT-DIRECTORY]
#
# Makes the captures of this directory: two processes exchange objects of pe1.jsonl over the development bus, both under the
# tap. BUILD-DIRECTORY (build/release) has the demo, the tap and vorl. OUTPUT-DIRECTORY (this one) gets
#
#   demo.pcapng     what the receiver of ./dev demo gets, but for the four long messages of srv6_cfg
#   refused.pcapng  objects of local SIDs, as sent and as received: one frame is damaged behind the sender's tap
#
# Times and process numbers are those of the run, so a capture that is made anew is another file. The debugging page shows
# what is in them: tests/tools/debugging_page_test.cpp says what has to be corrected there.
set -euo pipefail
source=$(cd "$(dirname "$(readlink -f "$0")")" && pwd)
build=$(readlink -f "${1:-$source/../build/release}")
output=$(readlink -f "${2:-$source}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { printf 'make_captures.sh: %s\n' "$*" >&2; exit 1; }
for file in tools/vorl tools/vorl_demo libvorl_tap.so; do
    [ -e "$build/$file" ] || fail "there is no $build/$file; build it by ./dev build"
done
cc -std=c11 -O2 -Wall -Wextra -Werror -shared -fPIC "$source/damage.c" -o "$work/damage.so"
export PATH=$build/tools:$PATH VORL_BUS_DIR=$work/bus VORL_TAP_BYTES=1048576
unset VORL_TAP_TOTAL_BYTES

# exchange NAME PRELOADED STATUS FILTER...: the objects of $work/NAME.jsonl, and what passes the filter of their capture. The
# demo ends with 1 where types are missing, or one did not come back as it was sent.
exchange() {
    local name=$1 preloaded=$2 expected=$3 status=0
    shift 3
    mkdir "$work/$name"
    (cd "$work" && VORL_TAP_DIR=$work/$name LD_PRELOAD=$preloaded vorl_demo "$name.jsonl") >"$work/said" 2>&1 || status=$?
    [ $status -eq "$expected" ] || fail "the demo of $name ended with $status instead of $expected: $(cat "$work/said")"
    vorl tap export "$work/$name" --output "$output/$name.pcapng" "$@" 2>"$work/said" || fail "$(cat "$work/said")"
}

cp "$source/pe1.jsonl" "$work/demo.jsonl"
long='^srv6_cfg_query_(dfx_item|dfx_rec|trastat_rec|trastat_rec_info)$'
mapfile -t short < <(vorl list | awk -v long="$long" 'NR > 1 && $1 !~ long { print $1 }')
exchange demo "$build/libvorl_tap.so" 0 --direction received --message "${short[@]}"
grep '"srv6_localsid_fwd' "$source/pe1.jsonl" >"$work/refused.jsonl"
exchange refused "$build/libvorl_tap.so:$work/damage.so" 1
ls -l "$output"/demo.pcapng "$output"/refused.pcapng
