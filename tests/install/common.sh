# Read by check.sh and packages.sh, which say what is in the environment.

fail() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit 1; }

# same WHAT EXPECTED FOUND
same() {
    [ "$2" = "$3" ] && return
    diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") >&2 || true
    fail "$1: '<' is expected, '>' is found"
}

# With the bus in reach, as on the router.
run() { LD_LIBRARY_PATH=$BUILD $EMULATOR "$@"; }

hello_says() { same "$1" "68 bytes, f6 = 48" "$(run "$1")"; }

files_in() { (cd "$1" && find . ! -type d -printf '%P\n' | LC_ALL=C sort); }

headers="include/vorl_srv6/srv6.h
include/vorl_srv6/srv6_cfg.h
include/vorl_srv6/srv6_sync.h"
package_config="$LIBDIR/cmake/vorl_srv6/vorl_srv6-config-relwithdebinfo.cmake
$LIBDIR/cmake/vorl_srv6/vorl_srv6-config-version.cmake
$LIBDIR/cmake/vorl_srv6/vorl_srv6-config.cmake"
tool_pages="vorl-decode.1 vorl-describe.1 vorl-diff.1 vorl-encode.1 vorl-explain.1 vorl-labels-check.1 vorl-labels-start.1
vorl-labels.1 vorl-list.1 vorl-recv.1 vorl-replay.1 vorl-send.1 vorl-tap-clean.1 vorl-tap-export.1 vorl-tap-off.1 vorl-tap-on.1
vorl-tap-snapshot.1 vorl-tap-status.1 vorl-tap.1 vorl.1"
