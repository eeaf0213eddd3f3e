#!/usr/bin/env bash
# router.sh DIRECTORY BENCHMARK-COMMAND...
#
# Runs the benchmark for the router as a smoke run, and has the report make tables of it: all that the tables need of a machine
# without peers is measured, and a report of the same sources reads it.
set -euo pipefail
room=$1
shift
root=$(dirname "$(readlink -f "$0")")/../..
mkdir -p "$room"

"$@" --quick >"$room/quick.txt"
grep -q '^mode.quick$' "$room/quick.txt" || { echo "router.sh: a smoke run does not say that it is one" >&2; exit 1; }
if python3 -B "$root/bench/report.py" --add --page "$room/page.md" "$room/quick.txt" 2>"$room/refused"; then
    echo "router.sh: the report takes a smoke run for a result" >&2
    exit 1
fi
grep -q 'is a quick run, whose times are no result' "$room/refused" || { cat "$room/refused" >&2; exit 1; }

# Where an emulator runs it, its times are refused; here they are only read.
sed -e 's/^processor\t.*/processor\tA Core (part 1)/' -e 's/^mode\t.*/mode\tfull/' "$room/quick.txt" >"$room/full.txt"
printf '<!-- processors -->\n<!-- /processors -->\n' >"$room/page.md"
python3 -B "$root/bench/report.py" --add --page "$room/page.md" "$room/full.txt" >"$room/bars.md"
for line in '### A Core (part 1)' 'The peers were not measured here.' '| srv6_common_fwd, single |'; do
    grep -qF "$line" "$room/page.md" || { echo "router.sh: the page has no '$line'" >&2; exit 1; }
done
