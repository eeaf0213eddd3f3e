#!/bin/sh
# in_bare_root.sh OLD NEW: run in a bare Debian root, by root. Installs the packages of directory NEW, works with them, upgrades
# those of directory OLD (1.0.0) to them, and removes all, after which the root has to be as it was.
set -eu
export LC_ALL=C DEBIAN_FRONTEND=noninteractive
old=$1 new=$2
frame=/tmp/frame.hex

fail() { printf 'in_bare_root.sh: %s\n' "$*" >&2; exit 1; }
step() { printf '== %s\n' "$*"; }

# says WHAT TEXT COMMAND...: the command succeeds and prints a line with the text.
says() {
    what=$1 text=$2
    shift 2
    "$@" >/tmp/out 2>&1 || fail "$what: $* ends with $?: $(cat /tmp/out)"
    grep -qF -- "$text" /tmp/out || fail "$what: no '$text' in: $(cat /tmp/out)"
}

# refuses WHAT TEXT COMMAND...: the command fails, and says why.
refuses() {
    what=$1 text=$2
    shift 2
    ! "$@" >/tmp/out 2>&1 || fail "$what: $* succeeds"
    grep -qF -- "$text" /tmp/out || fail "$what: no '$text' in: $(cat /tmp/out)"
}

# apt-get ARGUMENT...
apt() { apt-get -qq -y "$@" >/tmp/apt 2>&1 || fail "apt-get $*: $(cat /tmp/apt)"; }

# The root's files, without what package management keeps of its own.
files() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /run -o -path /tmp -o -path /packages -o -path /var/lib/dpkg \
        -o -path /var/lib/apt -o -path /var/cache -o -path /var/log \) -prune -o -print | sort
}

is_as_before() {
    files >/tmp/files.now
    diff /tmp/files.before /tmp/files.now || fail "$1 left or took the files above ('>' is left, '<' is gone)"
    ! dpkg -l | grep -E 'vorl' || fail "$1 left the packages above"
}

owner() { dpkg -S "$1" | cut -d: -f1; }
version() { dpkg-query -W -f '${Version} ${db:Status-Status}' "$1"; }
libdir=/usr/lib/$(gcc -print-multiarch)
files >/tmp/files.before

step "the tool alone, with neither library nor bus"
apt install --no-install-recommends "$new"/vorl-srv6-tool_*.deb
says "vorl list" srv6_localsid_fwd vorl list
echo '{"message":"srv6_localsid_fwd","f0":1,"f5":"2001:db8::","f6":48}' >/tmp/object
vorl encode /tmp/object >$frame || fail "vorl encode"
says "vorl explain" "2001:db8::" vorl explain --message srv6_localsid_fwd $frame
refuses "vorl send without the library" "install package libvorl-srv6-1" vorl send --to 7 /tmp/object
apt purge vorl-srv6-tool
is_as_before "the tool"

step "the library, what is needed to link it, the tool, the development bus, and the debug symbols"
apt install "$new"/*.deb
cc -std=c11 -x c - -o /tmp/opened <<'C' || fail "a program that opens the library does not compile"
#include <dlfcn.h>
int main(void) { return !dlopen("libvorl_srv6.so", RTLD_NOW); }
C
vorl-devbus /tmp/opened || fail "the library does not open by its plain name"
! ldconfig -p | grep libkavrovorl || fail "the loader finds the development bus, though nobody asked for it"
for name in receive send; do
    cc -std=c11 -Wall -Werror /usr/share/doc/vorl-devbus/examples/$name.c -o /tmp/$name \
        $(pkg-config --cflags --libs vorl_srv6 vorl_devbus) || fail "$name.c does not link"
done
refuses "an example without a bus" libkavrovorl.so /tmp/send 7
refuses "a send that nobody receives" "nobody receives at the destination" vorl-devbus /tmp/send 7

# exchange OPTION RECEIVER: two records, of which the receiver prints something each
exchange() {
    option=$1
    shift
    # shellcheck disable=SC2086 # the option may be none
    timeout 60 vorl-devbus $option "$@" >/tmp/received 2>&1 &
    receiver=$!
    tries=0
    until vorl-devbus $option /tmp/send 7 >/tmp/out 2>&1; do
        tries=$((tries + 1))
        [ $tries -lt 100 ] || fail "nothing was sent: $(cat /tmp/out /tmp/received)"
        sleep 0.1
    done
    wait $receiver || fail "the receiver ended with $?: $(cat /tmp/received)"
}
exchange "" /tmp/receive 7 2
[ "$(grep -c 'msg_id 0xB7B345A9' /tmp/received)" = 2 ] || fail "received: $(cat /tmp/received)"
exchange --services /tmp/receive 7 2
[ "$(grep -c 'msg_id 0xB7B345A9' /tmp/received)" = 2 ] || fail "received: $(cat /tmp/received)"
exchange "" vorl recv --count 2 7
[ "$(grep -c '"message":"srv6_localsid_fwd"' /tmp/received)" = 2 ] || fail "received: $(cat /tmp/received)"
apt purge libvorl-srv6-1-dbgsym libvorl-srv6-1 libvorl-srv6-dev vorl-srv6-tool vorl-srv6-tool-dbgsym vorl-devbus vorl-devbus-dbgsym \
    vorl-tap vorl-tap-dbgsym vorl-wireshark
rm -rf /tmp/vorl-bus-*
is_as_before "all packages"

step "an upgrade of all packages of 1.0.0"
apt install "$old"/*.deb
[ "$(version libvorl-srv6-dev)" = "1.0.0 installed" ] || fail "1.0.0 is not installed: $(version libvorl-srv6-dev)"
[ "$(owner /usr/lib/libvorl_srv6.so)" = libvorl-srv6-dev ] || fail "1.0.0 has the plain name elsewhere"
apt install "$new"/libvorl-srv6-1_*.deb "$new"/libvorl-srv6-dev_*.deb "$new"/vorl-srv6-tool_*.deb
[ "$(owner $libdir/libvorl_srv6.so)" = libvorl-srv6-1 ] || fail "the plain name is of $(owner $libdir/libvorl_srv6.so)"
[ -z "$(find /usr/lib -maxdepth 1 -name '*vorl*')" ] || fail "the upgrade left $(find /usr/lib -maxdepth 1 -name '*vorl*')"
says "vorl after the upgrade" srv6_localsid_fwd vorl list
cc -std=c11 -I/usr/include/vorl_srv6 -x c - -o /tmp/linked $(pkg-config --cflags --libs vorl_srv6) <<'C' ||
#include <srv6.h>
int main(void) { srv6_localsid_fwd sid = {0}; uint32_t length = 0; return srv6_localsid_fwd__pack(&sid, 0, &length) != 0; }
C
    fail "a program does not link after the upgrade"
apt purge libvorl-srv6-1 libvorl-srv6-dev vorl-srv6-tool
is_as_before "the upgrade"

step "an upgrade of the library alone"
apt install "$old"/*.deb
refuses "dpkg beside the old development package" "libvorl-srv6-dev" dpkg -i "$new"/libvorl-srv6-1_*.deb
# The old development package has the plain name and asks for the old library, so it goes.
apt install "$new"/libvorl-srv6-1_*.deb
[ "$(owner $libdir/libvorl_srv6.so)" = libvorl-srv6-1 ] || fail "the plain name is of $(owner $libdir/libvorl_srv6.so)"
! dpkg -s libvorl-srv6-dev 2>/dev/null | grep -q '^Status: .* installed' || fail "the old development package stayed"
says "the tool of 1.0.0" srv6_localsid_fwd vorl list
apt purge libvorl-srv6-1 libvorl-srv6-dev vorl-srv6-tool
is_as_before "the upgrade of the library"
echo "in_bare_root.sh: all is well"
