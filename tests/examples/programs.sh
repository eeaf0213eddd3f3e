#!/usr/bin/env bash
# Compiles the examples, has send.c and receive.c exchange two records, and runs addresses.cpp. In the environment: BUILD
# (directory), SOURCE (of the checkout), CC, CXX, TARGET, EMULATOR and SANITIZE (these three may be empty).
set -euo pipefail
work=$(mktemp -d)
receiver=
trap '[ -z "$receiver" ] || kill "$receiver" 2>/dev/null || true; rm -rf "$work"' EXIT
export VORL_BUS_DIR=$work/bus

fail() { printf 'programs.sh: %s\n' "$*" >&2; exit 1; }

# same WHAT EXPECTED FOUND
same() { [ "$2" = "$3" ] || fail "$1: expected
$2
found
$3"; }

for name in receive send; do
    "$CC" $TARGET -std=c11 -Wall -Wextra -pedantic -Werror $SANITIZE -I"$SOURCE/platform/bus" -I"$SOURCE/idl/srv6" "$SOURCE/examples/$name.c" \
        -L"$BUILD" -lvorl_srv6 -lkavrovorl -Wl,-rpath,"$BUILD" -o "$work/$name"
done

status=0
$EMULATOR "$work/send" 7 >"$work/out" 2>&1 || status=$?
same "a send that nobody receives" "send: 0x1: nobody receives at the destination" "$(cat "$work/out")"
same "its status" 1 $status

timeout 60 $EMULATOR "$work/receive" 7 2 >"$work/received" 2>&1 &
receiver=$!
# Until the destination is open a send returns 1 with nothing sent.
for ((i = 0; ; ++i)); do
    $EMULATOR "$work/send" 7 >"$work/out" 2>&1 && break
    [ $i -lt 300 ] || fail "nothing was sent: $(cat "$work/out" "$work/received")"
    sleep 0.1
done
wait "$receiver" || fail "the receiver ended with $?: $(cat "$work/received")"
receiver=
same "what was received" "msg_id 0xB7B345A9, record of 52 bytes, frame of 104
  f0 = 1, f5 = 2001:db8::, f6 = 48
msg_id 0xB7B345A9, record of 52 bytes, frame of 104
  f0 = 2, f5 = 2001:db9::, f6 = 64" "$(cat "$work/received")"
same "what the sender printed" "" "$(cat "$work/out")"

"$CXX" $TARGET -std=c++17 -Wall -Wextra -pedantic -Werror $SANITIZE -I"$SOURCE/idl/srv6" "$SOURCE/examples/addresses.cpp" \
    -L"$BUILD" -lvorl_srv6 -lkavrovorl -Wl,-rpath,"$BUILD" -o "$work/addresses"
same "the addresses" "f2 = 2001:db8:a001::1
f3 = 2001:db8:a002::2
f4 = b80d:120::" "$($EMULATOR "$work/addresses")"
