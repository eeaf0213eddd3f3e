#!/usr/bin/env bash
# check.sh: runs the models of this directory through spin, every interleaving and every value that a load may see.
# Prints what can happen; fails where that is not what is written here. "As it is" has the orders that the sources of
# runtime/ use. Needs spin and a C compiler.
set -euo pipefail
models=$(dirname "$(readlink -f "$0")")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
cp "$models"/*.pml .
failed=0
states=0

# can_happen MODEL DEFINITIONS...: says yes or no; the states looked at are in `looked_at`.
can_happen() {
    local model=$1
    shift
    spin "$@" -a "$model" >spin.log || { cat spin.log >&2; exit 2; }
    "${CC:-cc}" -O0 -w -DSAFETY -o pan pan.c
    ./pan -m100000 -w20 >pan.log
    looked_at=$(sed -n 's/^ *\([0-9]*\) states, stored.*/\1/p' pan.log)
    # A violation ends the search; "no" stands only where spin says that it has seen everything.
    if grep -q '^pan:1: assertion violated' pan.log; then
        answer=yes
    elif grep -q 'errors: 0$' pan.log && ! grep -q '^error:\|Search not completed' pan.log; then
        answer=no
    else
        cat pan.log >&2
        exit 2
    fi
}

# expect ANSWER MODEL DEFINITIONS...: `cell` is the answer, marked where it is not the one expected.
expect() {
    local expected=$1
    shift
    can_happen "$@"
    states=$((states + looked_at))
    cell=$answer
    if [ "$answer" != "$expected" ]; then
        cell="$answer (expected $expected)"
        failed=1
    fi
}

litmus() { # TITLE ANSWER DEFINITIONS...
    local title=$1 answer_expected=$2
    shift 2
    expect "$answer_expected" litmus.pml "$@"
    printf '%-58s %s\n' "$title" "$cell"
}

row() { # TITLE NULL_CALL MIXED STALE TWICE DEFINITIONS...
    local title=$1 answers=("${@:2:4}") outcomes=(NULL_CALL MIXED STALE TWICE) line i
    shift 5
    line=$(printf '%-58s' "$title")
    for i in 0 1 2 3; do
        expect "${answers[$i]}" bindings.pml "$@" "-D${outcomes[$i]}"
        line+=$(printf ' %-9s' "$cell")
    done
    echo "$line"
}

echo 'The memory model: can the outcome be seen?'
litmus 'message passing, release and acquire' no -DRELEASE=1 -DACQUIRE=1
litmus 'message passing, relaxed load' yes -DRELEASE=1 -DACQUIRE=0
litmus 'message passing, relaxed store' yes -DRELEASE=0 -DACQUIRE=1
litmus 'message passing under a mutex' no -DLOCKED
litmus 'one location going backwards' no -DCORR
litmus 'store buffering' yes -DSB
echo
printf '%-58s %-9s %-9s %-9s %s\n' 'A block: can it happen?' 'null call' mixed stale twice
# uses FILE CALL ORDER COUNT: 1 where all COUNT calls on a once flag are of that order, which are all there are.
uses() {
    local found
    found=$(tr -d '\n' <"$models/../../runtime/$1" | grep -o "$2([^;]*_bound[^;]*__ATOMIC_[A-Z]*" || true)
    if [ "$(grep -c "__ATOMIC_$3\$" <<<"$found")" -eq "$4" ] && [ "$(wc -l <<<"$found")" -eq "$4" ]; then
        echo 1
    else
        echo 0
    fi
}
as_is="-DTHREADS=3 -DLOCK=1 -DACQUIRE=$(uses serial_ctx.h __atomic_load_n ACQUIRE 2)"
as_is+=" -DRELEASE=$(uses serial_ctx.cpp __atomic_store_n RELEASE 3)"
# The order of the load in is_settled, for a caller that uses pointers: 1 acquire, 2 relaxed.
word=2
if grep -q 'order = Use == settled_for::values ? __ATOMIC_RELAXED : __ATOMIC_ACQUIRE;' "$models/../../runtime/serial_ctx.h"; then
    word=1
fi
relaxed_load='-DTHREADS=2 -DACQUIRE=0 -DRELEASE=1 -DLOCK=1'
relaxed_store='-DTHREADS=2 -DACQUIRE=1 -DRELEASE=0 -DLOCK=1'
relaxed_both='-DTHREADS=2 -DACQUIRE=0 -DRELEASE=0 -DLOCK=1'
no_lock='-DTHREADS=2 -DACQUIRE=1 -DRELEASE=1 -DLOCK=0'
# Each set of definitions is several words.
# shellcheck disable=SC2086
{
    row 'binding A, as it is, three threads'                        no  no  no  no  -DBINDING_A $as_is
    row 'binding A, once flag read relaxed'            yes yes yes no  -DBINDING_A $relaxed_load
    row 'binding A, once flag written relaxed'         yes yes yes no  -DBINDING_A $relaxed_store
    row 'binding A, both relaxed'                      yes yes yes no  -DBINDING_A $relaxed_both
    row 'binding A, without the lock'                  yes yes no  yes -DBINDING_A $no_lock
    row 'binding B, as it is, three threads'                        no  no  no  no  -DSWAP=0 $as_is
    row 'binding B, once flag read relaxed'            yes yes no  no  -DSWAP=0 $relaxed_load
    row 'binding B, once flag written relaxed'         yes yes no  no  -DSWAP=0 $relaxed_store
    row 'binding B, both relaxed'                      yes yes no  no  -DSWAP=0 $relaxed_both
    row 'binding B, without the lock'                  yes yes no  yes -DSWAP=0 $no_lock
    row 'a settled side, as it is, three threads'                   no  no  no  no  -DSWAP=0 -DSETTLED=$word $as_is
    row 'a settled side, its word read relaxed'        yes yes no  no  -DSWAP=0 -DSETTLED=2 $as_is
    row 'a settled side, read relaxed, no pointer used'             no  no  no  no  -DSWAP=0 -DSETTLED=3 $as_is
    row 'a settled side, all written relaxed'          yes yes no  no  -DSWAP=0 -DSETTLED=1 $relaxed_store
    row 'binding B, swap flag 1 before it, three threads'           no  no  no  no  -DSWAP=1 $as_is
    row 'binding B, swap flag 1, once flag read relaxed'    yes yes yes no -DSWAP=1 $relaxed_load
    row 'binding B, swap flag 1, once flag written relaxed' yes yes yes no -DSWAP=1 $relaxed_store
    row 'a settled side, swap flag 1, as it is, three threads'      no  no  no  no  -DSWAP=1 -DSETTLED=$word $as_is
    row 'a settled side, swap flag 1, no pointer used'              no  no  no  no  -DSWAP=1 -DSETTLED=3 $as_is
}
echo
echo "$states states looked at"
[ $failed -eq 0 ] || { echo 'not as expected' >&2; exit 1; }
