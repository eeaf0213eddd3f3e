#!/usr/bin/env bash
# Whether the library can be used as installed. check.sh STEP, with in the environment
#   BUILD      the build directory, which also has the stand-in of the bus
#   SOURCE     this directory
#   VERSION    the library's, as CMakeLists.txt has it
#   CMAKE, CC, CXX, EMULATOR (or empty), MACHINE (of the processor), DEB (Debian's name of it)
#   TARGET     what the compilers need to be told for that machine, or empty
# Step `tree` installs to $BUILD/installed, and the others look at that.
set -euo pipefail
tree=$BUILD/installed
work=$BUILD/consumers/$1

fail() { printf 'check.sh: %s\n' "$*" >&2; exit 1; }

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

# The largest glibc version that the files need.
glibc_of() {
    { readelf -VW "$@" | grep -o 'GLIBC_[0-9.]*' | sort -uV | tail -n 1; } || fail "no version of glibc in $*"
}

headers="include/vorl_srv6/srv6.h
include/vorl_srv6/srv6_cfg.h
include/vorl_srv6/srv6_sync.h"
package_config="lib/cmake/vorl_srv6/vorl_srv6-config-relwithdebinfo.cmake
lib/cmake/vorl_srv6/vorl_srv6-config-version.cmake
lib/cmake/vorl_srv6/vorl_srv6-config.cmake"

rm -rf "$work"
mkdir -p "$work"
case $1 in
tree)
    rm -rf "$tree"
    "$CMAKE" --install "$BUILD" --prefix "$tree" >/dev/null
    ;;

# Nothing is missing, and nothing of platform/ is there.
contents)
    same "the installed files" "bin/vorl
$headers
$package_config
lib/libvorl_srv6.so
lib/libvorl_srv6.so.1
lib/libvorl_srv6.so.$VERSION
lib/pkgconfig/vorl_srv6.pc
share/man/man1/vorl.1" "$(files_in "$tree")"
    same "libvorl_srv6.so" libvorl_srv6.so.1 "$(readlink "$tree/lib/libvorl_srv6.so")"
    same "libvorl_srv6.so.1" libvorl_srv6.so.$VERSION "$(readlink "$tree/lib/libvorl_srv6.so.1")"
    readelf -dW "$tree/lib/libvorl_srv6.so" >"$work/dynamic"
    grep -q 'SONAME.*\[libvorl_srv6.so.1\]' "$work/dynamic" || fail "the SONAME is another"
    ! grep -qE 'R(UN)?PATH' "$work/dynamic" || fail "the installed library has a path of its own"
    readelf -hW "$tree/lib/libvorl_srv6.so" | grep -q "Machine:.*$MACHINE" || fail "it is not for $MACHINE"
    ! grep -rqF "$BUILD" "$tree/lib/cmake" "$tree/lib/pkgconfig" "$tree/share" || fail "a path of the build was installed"
    ;;

# Without the bus it does all but send and receive, and then says what it misses; with it, it finds the library.
tool)
    readelf -dW "$tree/bin/vorl" >"$work/dynamic"
    ! grep -E 'NEEDED.*(vorl_srv6|kavrovorl)' "$work/dynamic" || fail "vorl is linked with the library or the bus"
    $EMULATOR "$tree/bin/vorl" list >"$work/list"
    grep -q srv6_localsid_fwd "$work/list" || fail "vorl list does not name srv6_localsid_fwd"
    echo '{"message":"srv6_localsid_fwd"}' >"$work/object"
    ! $EMULATOR "$tree/bin/vorl" send --to 7 "$work/object" 2>"$work/err" || fail "vorl sent without the bus"
    grep -q 'cannot load libvorl_srv6.so.1 (libkavrovorl.so: ' "$work/err" || fail "it does not name the bus: $(cat "$work/err")"
    ! VORL_BUS_DIR=$work/bus run "$tree/bin/vorl" send --to 7 "$work/object" 2>"$work/err" || fail "somebody receives"
    grep -q 'nobody receives at destination 7' "$work/err" || fail "it did not get as far as the bus: $(cat "$work/err")"
    ;;

manual)
    page=$tree/share/man/man1/vorl.1
    for command in list describe send recv encode decode; do
        grep -q "^.SH \"VORL ${command^^}\"" "$page" || fail "the manual has no section for vorl $command"
    done
    man --warnings -E UTF-8 -l "$page" >"$work/text" 2>"$work/warnings" || fail "man refuses it: $(cat "$work/warnings")"
    same "warnings about the manual page" "" "$(cat "$work/warnings")"
    # Each line of the help reached the reader.
    run "$tree/bin/vorl" decode --help | sed 's/^ *//; s/  */ /g; /^$/d' >"$work/help"
    sed 's/\xe2\x80\x90/-/g; s/^ *//; s/  */ /g' "$work/text" >"$work/lines"
    while IFS= read -r line; do
        grep -qxF -- "$line" "$work/lines" || fail "the manual lacks: $line"
    done <"$work/help"
    ;;

# Linked with the bus absent; and with it given by name, as a program does that calls the bus itself.
cmake)
    for bus in "" "$BUILD/libkavrovorl.so"; do
        CFLAGS=$TARGET CXXFLAGS=$TARGET "$CMAKE" -S "$SOURCE/by_cmake" -B "$work/b" -G Ninja -DCMAKE_PREFIX_PATH="$tree" -DBUS="$bus" \
            ${EMULATOR:+-DCMAKE_SYSTEM_NAME=Linux} \
            -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
        "$CMAKE" --build "$work/b" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
        ! grep -i warning "$work/log" || fail "the linker warns"
        hello_says "$work/b/hello_c"
        hello_says "$work/b/hello_cpp"
    done
    ! "$CMAKE" -S "$SOURCE/by_cmake" -B "$work/none" -G Ninja -DCMAKE_PREFIX_PATH="$work" >/dev/null 2>&1 ||
        fail "the package was found where it is not"
    ;;

pkg_config)
    export PKG_CONFIG_PATH=$tree/lib/pkgconfig
    read -ra flags <<<"$(pkg-config --cflags --libs vorl_srv6)"
    same "the version" "$VERSION" "$(pkg-config --modversion vorl_srv6)"
    strict=(-Wall -Wextra -pedantic -Werror -Wl,--fatal-warnings "-Wl,-rpath,$tree/lib")
    for bus in "" "$BUILD/libkavrovorl.so"; do
        "$CC" $TARGET -std=c11 "${strict[@]}" "$SOURCE/hello.c" -o "$work/c" "${flags[@]}" $bus
        hello_says "$work/c"
        "$CXX" $TARGET -std=c++17 "${strict[@]}" "$SOURCE/hello.cpp" -o "$work/cpp" "${flags[@]}" $bus
        hello_says "$work/cpp"
    done
    # Without the bus a program is linked, and says what it misses when it is started.
    ! $EMULATOR "$work/c" >/dev/null 2>"$work/err" || fail "the program ran without the bus"
    grep -q libkavrovorl.so "$work/err" || fail "it does not name the bus: $(cat "$work/err")"
    ;;

packages)
    (cd "$work" && "${CMAKE%cmake}cpack" --config "$BUILD/CPackConfig.cmake" -B "$work" >"$work/log" 2>&1) ||
        fail "$(cat "$work/log")"
    for name in libvorl-srv6-1 libvorl-srv6-dev vorl-srv6-tool; do
        deb=$work/${name}_${VERSION}_$DEB.deb
        [ -f "$deb" ] || fail "there is no $(basename "$deb"), but $(ls "$work")"
        dpkg-deb -x "$deb" "$work/$name"
        same "Maintainer of $name" "libvorl_srv6 maintainers <maintainers@vorl.invalid>" "$(dpkg-deb -f "$deb" Maintainer)"
        same "Architecture of $name" "$DEB" "$(dpkg-deb -f "$deb" Architecture)"
        same "Description of $name" "Typed message exchange in the SRv6 forwarding plane" \
            "$(dpkg-deb -f "$deb" Description | head -n 1)"
        [ "$(dpkg-deb -f "$deb" Description | wc -l)" -ge 2 ] || fail "$name is not described"
        ! dpkg-deb -c "$deb" | grep -vE '^[-dl][-rwx]{9} root/root ' || fail "$name holds files of others than root"
    done
    same "files of libvorl-srv6-1" "usr/lib/libvorl_srv6.so.1
usr/lib/libvorl_srv6.so.$VERSION" "$(files_in "$work/libvorl-srv6-1")"
    same "files of libvorl-srv6-dev" "$(printf '%s\n%s\nlib/libvorl_srv6.so\nlib/pkgconfig/vorl_srv6.pc' \
        "$headers" "$package_config" | sed 's,^,usr/,' | LC_ALL=C sort)" "$(files_in "$work/libvorl-srv6-dev")"
    same "files of vorl-srv6-tool" "usr/bin/vorl
usr/share/man/man1/vorl.1" "$(files_in "$work/vorl-srv6-tool")"

    # What they depend on is what their files need.
    depends() { dpkg-deb -f "$work/${1}_${VERSION}_$DEB.deb" Depends; }
    library=$work/libvorl-srv6-1/usr/lib/libvorl_srv6.so.$VERSION
    same "Depends of libvorl-srv6-1" "libc6 (>= 2.34)" "$(depends libvorl-srv6-1)"
    same "glibc that the library needs" GLIBC_2.34 "$(glibc_of "$library")"
    same "Depends of libvorl-srv6-dev" "libvorl-srv6-1 (= $VERSION)" "$(depends libvorl-srv6-dev)"
    same "Depends of vorl-srv6-tool" "libc6 (>= 2.34), libgcc-s1 (>= 4.2), libstdc++6 (>= 12)" "$(depends vorl-srv6-tool)"
    same "Recommends of vorl-srv6-tool" "libvorl-srv6-1 (= $VERSION)" \
        "$(dpkg-deb -f "$work/vorl-srv6-tool_${VERSION}_$DEB.deb" Recommends)"
    same "glibc that the tool needs" GLIBC_2.34 "$(glibc_of "$work/vorl-srv6-tool/usr/bin/vorl")"
    ! readelf -SW "$library" | grep -q '\.debug_info' || fail "the packaged library was not stripped"
    ;;

*) fail "there is no step $1" ;;
esac
