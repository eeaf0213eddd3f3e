#!/usr/bin/env bash
# count_qemu.sh PLUGIN DRIVER EMULATOR...
#
# Prints "<path> <instructions a call>" for each path of the driver, as the plugin (qemu_plugin.c) of the emulator counts
# them. The counts repeat exactly on any machine.
set -euo pipefail
plugin=$1 driver=$2
shift 2

room=$(mktemp -d)
trap 'rm -rf "$room"' EXIT

# Calls go straight to their functions. libc chooses its copies by the processor: one without extensions of its own.
# In the plugin's option a comma is written twice.
LD_BIND_NOW=1 "$@" -cpu cortex-a72 -plugin "${plugin//,/,,},out=${room//,/,,}/counts" "$driver" >"$room/calls"

awk 'FILENAME == ARGV[1] { total[++counted] = $1; next }
     { calls[++n] = $2; path[n] = $1 }
     END {
         if (counted != n) {
             printf "count_qemu.sh: the driver has %d paths, and the plugin counted %d\n", n, counted > "/dev/stderr"
             exit 1
         }
         for (i = 1; i <= n; ++i)
             printf "%s %.1f\n", path[i], total[i] / calls[i]
     }' "$room/counts" "$room/calls"
