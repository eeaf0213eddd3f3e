#!/usr/bin/env bash
# Whether the library can be used as installed. check.sh STEP, with in the environment
#   BUILD      the build directory, which also has the stand-in of the bus
#   SOURCE     this directory
#   VERSION    the library's, as CMakeLists.txt has it
#   LIBDIR     where libraries are installed, below the prefix
#   CMAKE, CC, CXX, EMULATOR (or empty), MACHINE (of the processor)
#   TARGET     what the compilers need to be told for that machine, or empty
# Step `tree` installs to $BUILD/installed, and the others look at that.
set -euo pipefail
tree=$BUILD/installed
work=$BUILD/consumers/$1

. "$SOURCE/common.sh"

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
$LIBDIR/libvorl_srv6.so
$LIBDIR/libvorl_srv6.so.1
$LIBDIR/libvorl_srv6.so.$VERSION
$LIBDIR/pkgconfig/vorl_srv6.pc
share/bash-completion/completions/vorl
$(printf 'share/man/man1/%s\n' $tool_pages)
share/man/man3/vorl_srv6.3" "$(files_in "$tree")"
    same "libvorl_srv6.so" libvorl_srv6.so.1 "$(readlink "$tree/$LIBDIR/libvorl_srv6.so")"
    same "libvorl_srv6.so.1" libvorl_srv6.so.$VERSION "$(readlink "$tree/$LIBDIR/libvorl_srv6.so.1")"
    readelf -dW "$tree/$LIBDIR/libvorl_srv6.so" >"$work/dynamic"
    grep -q 'SONAME.*\[libvorl_srv6.so.1\]' "$work/dynamic" || fail "the SONAME is another"
    ! grep -qE 'R(UN)?PATH' "$work/dynamic" || fail "the installed library has a path of its own"
    same "the path of the installed vorl" "\$ORIGIN/../$LIBDIR" \
        "$(readelf -dW "$tree/bin/vorl" | sed -nE 's/.*\((RPATH|RUNPATH)\).*\[(.*)\]$/\2/p')"
    readelf -hW "$tree/$LIBDIR/libvorl_srv6.so" | grep -q "Machine:.*$MACHINE" || fail "it is not for $MACHINE"
    ! grep -rqF "$BUILD" "$tree/$LIBDIR/cmake" "$tree/$LIBDIR/pkgconfig" "$tree/share" || fail "a path of the build was installed"
    ;;

# Debug information is left out where that is asked for; where it is not, the installation says how to.
strip)
    for file in bin/vorl "$LIBDIR/libvorl_srv6.so"; do
        readelf -SW "$tree/$file" | grep -q '\.debug_info' || fail "$file was stripped, though nobody asked for it"
    done
    "$CMAKE" --install "$BUILD" --prefix "$work/whole" >"$work/said"
    same "files that it says how to strip" "bin/vorl
$LIBDIR/libvorl_srv6.so.$VERSION" \
        "$(sed -n 's/^-- \(.*\) has its debug information; cmake --install with --strip leaves that out$/\1/p' "$work/said" | LC_ALL=C sort)"
    "$CMAKE" --install "$BUILD" --prefix "$work/stripped" --strip >"$work/said"
    ! grep -q 'debug information' "$work/said" || fail "it says how to strip what it has stripped: $(cat "$work/said")"
    same "the files without debug information" "$(files_in "$tree")" "$(files_in "$work/stripped")"
    for file in bin/vorl "$LIBDIR/libvorl_srv6.so"; do
        ! readelf -SW "$work/stripped/$file" | grep -qE '\.(debug_|symtab)' || fail "$file was not stripped"
    done
    "$CC" $TARGET -std=c11 "-I$tree/include/vorl_srv6" "$SOURCE/hello.c" -o "$work/hello" \
        -L"$work/stripped/$LIBDIR" -lvorl_srv6 -Wl,--allow-shlib-undefined -Wl,-rpath,"$work/stripped/$LIBDIR"
    hello_says "$work/hello"
    ;;

# The runtime component alone, with the bus beside it on the library path: a process needs the library by its plain name, and
# opens it by that name.
plain_name)
    "$CMAKE" --install "$BUILD" --prefix "$work/runtime" --component library >/dev/null
    same "the files of component library" "$LIBDIR/libvorl_srv6.so
$LIBDIR/libvorl_srv6.so.1
$LIBDIR/libvorl_srv6.so.$VERSION" "$(files_in "$work/runtime")"
    mkdir "$work/bus" "$work/stub"
    cp "$BUILD/libkavrovorl.so" "$work/bus"
    common=($TARGET -std=c11 -Wall -Wextra -Werror "-I$tree/include/vorl_srv6" "$SOURCE/by_plain_name.c")
    "$CC" "${common[@]}" -DPLAIN_STUB -shared -fPIC -Wl,-soname,libvorl_srv6.so -o "$work/stub/libvorl_srv6.so"
    "$CC" "${common[@]}" -L"$work/stub" -lvorl_srv6 -ldl -o "$work/program"
    readelf -dW "$work/program" | grep -q 'NEEDED.*\[libvorl_srv6.so\]' || fail "the program does not need the plain name"
    same "the program" "68 bytes, 68 bytes" \
        "$(LD_LIBRARY_PATH=$work/runtime/$LIBDIR:$work/bus $EMULATOR "$work/program" 2>&1)"
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

# The page of each command has every line of its help, the page of the library the whole contract of the header.
manual)
    pages="man3/vorl_srv6.3"
    for page in $tool_pages; do
        pages="$pages man1/$page"
        command=${page#vorl}
        command=${command%.1}
        run "$tree/bin/vorl" ${command//-/ } --help | sed 's/^ *//; s/  */ /g; /^$/d' >"$work/${page%.1}.expected"
        [ "$(wc -l <"$work/${page%.1}.expected")" -ge 5 ] || fail "vorl ${command#-} --help says next to nothing"
    done
    # From the second paragraph of the first comment to its end.
    sed -n '/^ \* Every message M has/,/^ \*\//p' "$SOURCE/../../idl/srv6/srv6.h" |
        sed 's,^ \*/\{0\,1\} *,,; s/  */ /g; s/srv6_\(recv\|send\)_init/P_\1_init/g; /^$/d' >"$work/vorl_srv6.expected"
    [ "$(wc -l <"$work/vorl_srv6.expected")" -ge 40 ] || fail "the header's contract was not found: $(cat "$work/vorl_srv6.expected")"
    for page in $pages; do
        name=$(basename "${page%.?}")
        man --warnings -E UTF-8 -l "$tree/share/man/$page" >"$work/$name" 2>"$work/warnings" ||
            fail "man refuses it: $(cat "$work/warnings")"
        same "warnings about $page" "" "$(cat "$work/warnings")"
        sed 's/\xe2\x80\x90/-/g; s/^ *//; s/  */ /g' "$work/$name" >"$work/lines"
        while IFS= read -r line; do
            grep -qxF -- "$line" "$work/lines" || fail "$page lacks: $line"
        done <"$work/$name.expected"
    done
    for function in M__pack M__unpack M_free__unpacked M__sendsingle M__sendbatch M__sendmsg M__sendtomsg \
        P_recv_init P_send_init P__send_resource_clean; do
        sed -n '/^SYNOPSIS/,/^DESCRIPTION/p' "$work/vorl_srv6" | grep -q "^ *[a-z0-9_]* $function(" ||
            fail "the synopsis of vorl_srv6(3) lacks $function"
    done
    ;;

# What a shell completes, with the program and the file as installed.
completion)
    complete_line() {
        PATH=$work/bin:$PATH bash -c '
            . "$1"; shift
            COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
            _vorl; printf "%s\n" "${COMPREPLY[@]}"' bash "$tree/share/bash-completion/completions/vorl" "$@" | LC_ALL=C sort | xargs
    }
    mkdir "$work/bin"
    printf '#!/bin/sh\nexec %s "%s" "$@"\n' "$EMULATOR" "$tree/bin/vorl" >"$work/bin/vorl"
    chmod +x "$work/bin/vorl"
    same "commands with d" "decode describe diff" "$(complete_line vorl d)"
    same "all commands" "$(printf '%s\n' $tool_pages | sed -n 's/^vorl-\([a-z]*\)\.1$/\1/p' | xargs)" "$(complete_line vorl '')"
    same "options of send with --k" "--keep-going" "$(complete_line vorl send --k)"
    same "options of the program" "--help --version" "$(complete_line vorl --)"
    same "messages" "srv6_localsid_fwd srv6_localsid_fwd_delete srv6_localsid_fwd_key srv6_localsid_fwd_update" \
        "$(complete_line vorl decode --message srv6_localsid)"
    same "messages of describe" "srv6_bsid_fwd_key" "$(complete_line vorl describe srv6_bsid_fwd_k)"
    touch "$work/captured.hex"
    same "files" "captured.hex" "$(cd "$work" && complete_line vorl explain capt)"
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
    export PKG_CONFIG_PATH=$tree/$LIBDIR/pkgconfig
    read -ra flags <<<"$(pkg-config --cflags --libs vorl_srv6)"
    same "the version" "$VERSION" "$(pkg-config --modversion vorl_srv6)"
    strict=(-Wall -Wextra -pedantic -Werror -Wl,--fatal-warnings "-Wl,-rpath,$tree/$LIBDIR")
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

*) fail "there is no step $1" ;;
esac
