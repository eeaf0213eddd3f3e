#!/usr/bin/env bash
# two_architectures.sh HERE THERE EXAMPLE: tools of this machine and of the other in two directories. The same objects give
# the same frames on both, and the demo's exchange works between them in either direction.
set -euo pipefail
here=$1 there=$2 example=$3

for program in "$here/vorl" "$here/vorl_demo"; do
    [ -x "$program" ] || {
        echo "no $program; ./dev aarch64 builds it, or cmake --build --preset release --target vorl vorl_demo" >&2
        exit 1
    }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for form in --frame --packed; do
    "$here/vorl" encode "$form" --hex "$example" >"$work/here"
    "$there/vorl" encode "$form" --hex "$example" >"$work/there"
    [ -s "$work/here" ]
    cmp "$work/here" "$work/there"
    echo "$form: $(wc -l <"$work/here") objects, the same bytes on both"
done

"$here/vorl_demo" --sender "$there/vorl_demo" "$example" | tail -n 1
"$here/vorl_demo" --receiver "$there/vorl_demo" "$example" | tail -n 1
