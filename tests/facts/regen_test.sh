#!/usr/bin/env bash
# idl/regen.sh in a copy of what it writes. The programs that it runs for other files do nothing here; append_facts, APPEND_FACTS,
# is the real one.
set -euo pipefail
root=$1
append_facts=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { printf '%s: %s\n' "$case" "$1" >&2; exit 1; }
same() { [ "$2" = "$3" ] || fail "$1 is '$3', should be '$2'"; }

files=(idl/regen.sh idl/srv6/srv6.idl idl/srv6_cfg/srv6_cfg.idl idl/srv6_sync/srv6_sync.idl README.md SECURITY.md
    docs/integrators.md docs/wireshark.md cmake/deb/control cmake/deb/libvorl-srv6-1.symbols tests/facts/messages.inc tests/abi/exports.txt
    tests/abi/layouts.txt tests/abi/vorl_srv6.abi)
build=$work/build
mkdir -p "$build"/{idlc,inspect,tests/facts,tests/fuzz/targets} "$work/bin"
for program in build/idlc/idlc build/inspect/log_page build/tests/fuzz/targets/fuzz_seeds bin/cmake; do
    ln -s "$(type -P true)" "$work/$program"
done
ln -s "$append_facts" "$build/tests/facts/append_facts"
PATH=$work/bin:$PATH

begin() {
    case=$1
    rm -rf "$work/tree"
    for file in "${files[@]}"; do
        mkdir -p "$work/tree/$(dirname "$file")"
        cp "$root/$file" "$work/tree/$file"
    done
    cd "$work/tree"
}
# Of the copies: those that are not as they were.
changed() {
    for file in "${files[@]}"; do
        cmp -s "$root/$file" "$file" || printf '%s ' "$file"
    done
}
run() {
    status=0
    idl/regen.sh "$build" 9.8.7 "$@" 2>"$work/said" || status=$?
}

begin "nothing new"
run
same "the status" 0 "$status"
same "what changed" "" "$(changed)"

begin "a new message"
messages=$(grep -c '^FACT' tests/facts/messages.inc)
functions=$(wc -l <tests/abi/exports.txt)
printf 'message srv6_cfg_probe { uint8 f0; vector<table srv6_cfg_query_trastat_cond> f1; }\n' >>idl/srv6_cfg/srv6_cfg.idl
run
same "the status" 0 "$status"
same "its row" 'FACT_SINCE(9, 8, srv6_cfg_probe, 0x227AE59D, 16, 0, 0,
     "uint8@0 vector<table:srv6_cfg_query_trastat_cond>@0")' "$(grep -A1 'FACT_SINCE(9' tests/facts/messages.inc)"
same "the row behind it" srv6_sync_common_fwd \
    "$(grep -A2 'FACT_SINCE(9' tests/facts/messages.inc | sed -nE 's/^FACT\((\w+),.*/\1/p')"
same "its functions" 7 "$(grep -c '^srv6_cfg_probe_' tests/abi/exports.txt)"
grep -q "There are $((messages + 1)) message types" README.md || fail "README.md has another number of messages"
grep -q "There are $((functions + 7)) functions" docs/integrators.md || fail "integrators.md has another number of functions"
run
same "the status of a second run" 0 "$status"
same "rows of a second run" 1 "$(grep -c srv6_cfg_probe tests/facts/messages.inc)"

retype() { sed -i '/^message srv6_sync_common_fwd_key /,/}/s/uint32 f0/uint16 f0/' idl/srv6_sync/srv6_sync.idl; }

begin "a slot of another type"
retype
run
same "the status" 1 "$status"
same "what changed" "idl/srv6_sync/srv6_sync.idl " "$(changed)"
grep -q 'tests/facts/messages.inc: changed or removed: 2 lines' "$work/said" || fail "the file is not named: $(cat "$work/said")"
grep -q '^FACT(srv6_sync_common_fwd_key, ' "$work/said" || fail "the line is not shown"
grep -q 'this breaks peers' "$work/said" || fail "nobody is said to be hit"

begin "a slot of another type, meant"
retype
run --breaking
same "the status" 0 "$status"
grep -A1 '^FACT(srv6_sync_common_fwd_key, ' tests/facts/messages.inc | grep -q '"uint16@4"' || fail "the row is as it was"
grep -q 'this breaks peers' "$work/said" || fail "nobody is said to be hit"

begin "a message that is gone"
sed -i '/^message srv6_sync_common_fwd_key /,/}/d' idl/srv6_sync/srv6_sync.idl
run
same "the status" 1 "$status"
same "what changed" "idl/srv6_sync/srv6_sync.idl " "$(changed)"
grep -q 'tests/abi/exports.txt: changed or removed: 7 lines' "$work/said" || fail "its functions are not named"
grep -q 'this breaks programs that were linked' "$work/said" || fail "programs are not named"
