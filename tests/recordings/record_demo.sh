#!/bin/sh
# Records the demo (./dev demo) once more: what its sending process hands to the bus, as demo.pcapng, and the objects
# that it is to send, as demo.jsonl. From the source tree, after ./dev build: tests/recordings/record_demo.sh
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$root/build/release
directory=$(mktemp -d)
trap 'rm -r "$directory"' EXIT

# By its name alone, so that no path of this machine is in the recording.
cp "$build/tools/vorl_demo" "$root/examples/pe1.jsonl" "$directory"
cd "$directory"
LD_LIBRARY_PATH=$build LD_PRELOAD=$build/libvorl_tap.so VORL_TAP_DIR=$directory/rings ./vorl_demo pe1.jsonl
"$build/tools/vorl" tap export --direction sent --output "$root/tests/recordings/demo.pcapng" rings
grep '^{' pe1.jsonl >"$root/tests/recordings/demo.jsonl"
