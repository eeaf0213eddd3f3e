#!/usr/bin/env bash
# Whether the Debian packages are what an image owner asks for. packages.sh STEP, with in the environment what check.sh has, and
#   DEB        Debian's name of the processor
#   PYTHON     Debian's, which has python3-jsonschema
# Step `packages` makes them from $BUILD, and the others look at those.
set -euo pipefail
made=$BUILD/consumers/packages
work=$BUILD/consumers/$1
root=$(cd "$SOURCE/../.." && pwd)
. "$SOURCE/common.sh"

names="libvorl-srv6-1 libvorl-srv6-dev vorl-devbus vorl-srv6-tool vorl-tap vorl-wireshark"
with_symbols="libvorl-srv6-1 vorl-devbus vorl-srv6-tool vorl-tap"

deb_of() { echo "$made/$1_${VERSION}_$DEB.deb"; }
field() { dpkg-deb -f "$(deb_of "$1")" "$2"; }

# What is in each package, without directories; documents that all have are left out.
expected_files() {
    case $1 in
        libvorl-srv6-1) echo "usr/$LIBDIR/libvorl_srv6.so
usr/$LIBDIR/libvorl_srv6.so.1
usr/$LIBDIR/libvorl_srv6.so.$VERSION
usr/share/lintian/overrides/libvorl-srv6-1" ;;
        libvorl-srv6-dev) printf '%s\n' $headers $package_config "$LIBDIR/pkgconfig/vorl_srv6.pc" \
            share/man/man3/vorl_srv6.3.gz share/doc/libvorl-srv6-dev/examples/addresses.cpp | sed 's,^,usr/,' ;;
        vorl-srv6-tool) echo "usr/bin/vorl
usr/share/bash-completion/completions/vorl"
            printf 'usr/share/man/man1/%s.gz\n' $tool_pages ;;
        vorl-tap) echo "usr/$LIBDIR/vorl-tap/libvorl_tap.so" ;;
        vorl-wireshark) (cd "$root/wireshark" && printf "usr/$LIBDIR/wireshark/plugins/%s\n" vorl/*.lua) ;;
        vorl-devbus)
            echo "usr/bin/vorl-devbus
usr/include/vorl_devbus/dev_os.h
usr/include/vorl_devbus/receiver.h
usr/$LIBDIR/pkgconfig/vorl_devbus.pc
usr/$LIBDIR/vorl-devbus/libkavrovorl.so
usr/share/doc/vorl-devbus/examples/receive.c
usr/share/doc/vorl-devbus/examples/send.c
usr/share/lintian/overrides/vorl-devbus
usr/share/man/man1/vorl-devbus.1.gz"
            printf "usr/$LIBDIR/vorl-devbus/libvorl_dev_%s.so\n" alloc cache free ledger log os use_flag
            ;;
    esac
    printf "usr/share/doc/$1/%s\n" changelog.gz copyright "$1_$DEB.spdx.json"
}

build_id() { readelf -n "$1" | sed -n 's/^ *Build ID: //p'; }

# The largest version of a family (GLIBC, GLIBCXX, GCC) that the file needs.
needed() { readelf -VW "$2" | grep -oE "\b$1_[0-9.]+" | sort -uV | tail -n 1 | cut -d_ -f2; }

# The package PACKAGE depends on WHAT, in version NEEDED or a later one.
depends_at_least() {
    local version
    version=$(field "$1" Depends | tr , '\n' | sed -nE "s/^ *$(sed 's/[+.]/\\&/g' <<<"$2") \(>= (.*)\)$/\1/p")
    [ -n "$version" ] || fail "$1 does not depend on a version of $2: $(field "$1" Depends)"
    dpkg --compare-versions "$version" ge "$3" || fail "$1 depends on $2 $version, and its files need $3"
}

rm -rf "$work"
mkdir -p "$work"
case $1 in
packages)
    "$root/cmake/deb/package.sh" "$BUILD" "$made" >"$BUILD/consumers/packages.log" 2>&1 || fail "$(cat "$BUILD/consumers/packages.log")"
    same "what package.sh says" "" "$(cat "$BUILD/consumers/packages.log")"
    expected=$(for name in $names; do echo "$name"; done; for name in $with_symbols; do echo "$name-dbgsym"; done)
    same "the packages, and a bill of materials beside each" \
        "$(for name in $expected; do printf "${name}_${VERSION}_$DEB.%s\n" deb spdx.json; done | LC_ALL=C sort)" "$(files_in "$made")"
    for name in $expected; do
        dpkg-deb -x "$(deb_of "$name")" "$made/$name"
    done
    ;;

package_files)
    epoch=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct)}
    for name in $names; do
        same "files of $name" "$(expected_files "$name" | LC_ALL=C sort)" "$(files_in "$made/$name")"
        documents=$made/$name/usr/share/doc/$name
        grep -qxF "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/" "$documents/copyright" ||
            fail "the copyright file of $name is not in Debian's machine-readable form"
        same "the licence of all files of $name" LicenseRef-not-yet-given \
            "$(sed -n '/^Files: \*$/,/^$/s/^License: //p' "$documents/copyright")"
        same "the text of that licence" " The owner of libvorl_srv6 has not given a licence yet. To give one is up to" \
            "$(grep -A1 -x 'License: LicenseRef-not-yet-given' "$documents/copyright" | grep -x ' The.*')"
        zcat "$documents/changelog.gz" >"$work/changelog"
        same "version and date of the changelog of $name" "$VERSION $epoch" \
            "$(dpkg-parsechangelog -l "$work/changelog" -S Version) $(dpkg-parsechangelog -l "$work/changelog" -S Timestamp)"
        same "the first version in the changelog of $name" 1.0.0 \
            "$(dpkg-parsechangelog -l "$work/changelog" --all --format rfc822 -S Version | tail -n 1)"
    done
    for deb in "$made"/*.deb; do
        name=$(dpkg-deb -f "$deb" Package)
        same "Maintainer of $name" "libvorl_srv6 maintainers <maintainers@vorl.invalid>" "$(field "$name" Maintainer)"
        same "Architecture of $name" "$DEB" "$(field "$name" Architecture)"
        tree=$made/$name
        # Files and links in whole KiB, one for each directory.
        size=0
        while read -r bytes; do size=$((size + (bytes + 1023) / 1024)); done < <(find "$tree" ! -type d -printf '%s\n')
        same "Installed-Size of $name" $((size + $(find "$tree" -type d | wc -l))) "$(field "$name" Installed-Size)"
        ! dpkg-deb -c "$deb" | grep -vE '^[-dl][-rwx]{9} root/root ' || fail "$name holds files of others than root"
        ! TZ=UTC dpkg-deb -c "$deb" | grep -v " $(date -u -d "@$epoch" '+%Y-%m-%d %H:%M') " ||
            fail "$name holds files of another time than the commit's"
        dpkg-deb --ctrl-tarfile "$deb" | tar -xO ./md5sums >"$work/md5sums"
        (cd "$tree" && md5sum --quiet -c "$work/md5sums") || fail "md5sums of $name"
        same "files with a checksum in $name" "$(cd "$tree" && find . -type f -printf '%P\n' | LC_ALL=C sort)" \
            "$(cut -c 35- "$work/md5sums" | LC_ALL=C sort)"
    done
    # Whose files of the same name differ between architectures cannot be installed beside each other.
    for name in libvorl-srv6-1 libvorl-srv6-dev vorl-tap vorl-wireshark; do
        same "Multi-Arch of $name" same "$(field "$name" Multi-Arch)"
    done
    ;;

# What they depend on is what their files need; and nothing depends on the development bus.
package_depends)
    library=$made/libvorl-srv6-1/usr/$LIBDIR/libvorl_srv6.so.$VERSION
    same "Depends of libvorl-srv6-1" "libc6 (>= 2.34)" "$(field libvorl-srv6-1 Depends)"
    same "glibc that the library needs" 2.34 "$(needed GLIBC "$library")"
    same "Depends of libvorl-srv6-dev" "libvorl-srv6-1 (= $VERSION)" "$(field libvorl-srv6-dev Depends)"
    same "packages that vorl-tap depends on" libc6 "$(field vorl-tap Depends | sed -E 's/ .*//')"
    depends_at_least vorl-tap libc6 "$(needed GLIBC "$made/vorl-tap/usr/$LIBDIR/vorl-tap/libvorl_tap.so")"
    same "Depends and Enhances of vorl-wireshark" " tshark, wireshark" "$(field vorl-wireshark Depends) $(field vorl-wireshark Enhances)"
    same "Recommends of vorl-srv6-tool" "libvorl-srv6-1 (= $VERSION)" "$(field vorl-srv6-tool Recommends)"
    # Of gcc's libraries by the symbols that they brought: libstdc++ 3.4.29 came with gcc 11, 3.4.30 with gcc 12.
    declare -A libstdcxx=([3.4.29]=11 [3.4.30]=12)
    for file in vorl-srv6-tool/usr/bin/vorl "vorl-devbus/usr/$LIBDIR/vorl-devbus/libkavrovorl.so"; do
        name=${file%%/*}
        same "packages that $name depends on" "libc6 libgcc-s1 libstdc++6" \
            "$(field "$name" Depends | tr , '\n' | sed -E 's/^ *([^ ]*).*/\1/' | paste -sd ' ')"
        depends_at_least "$name" libc6 "$(needed GLIBC "$made/$file")"
        depends_at_least "$name" libgcc-s1 "$(needed GCC "$made/$file")"
        version=$(needed GLIBCXX "$made/$file")
        [ -n "${libstdcxx[$version]:-}" ] || fail "$file needs GLIBCXX_$version; say here which gcc brought it"
        depends_at_least "$name" libstdc++6 "${libstdcxx[$version]}"
    done
    # The plain name was the development package's in 1.0.0.
    for relation in Breaks Replaces; do
        same "$relation of libvorl-srv6-1" "libvorl-srv6-dev (<< 1.1.0~)" "$(field libvorl-srv6-1 $relation)"
    done
    for deb in "$made"/*.deb; do
        case $deb in */vorl-devbus*) continue ;; esac
        for relation in Pre-Depends Depends Recommends; do
            ! dpkg-deb -f "$deb" $relation | grep -q devbus || fail "$deb: $relation has the development bus"
        done
    done
    ;;

debug_symbols)
    for file in libvorl-srv6-1/usr/$LIBDIR/libvorl_srv6.so.$VERSION vorl-srv6-tool/usr/bin/vorl \
        "vorl-devbus/usr/$LIBDIR/vorl-devbus/libkavrovorl.so"; do
        name=${file%%/*}
        ! readelf -SW "$made/$file" | grep -qE '\.(debug_info|symtab)' || fail "$file was not stripped"
        id=$(build_id "$made/$file")
        debug=$made/$name-dbgsym/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug
        [ -n "$id" ] && [ -f "$debug" ] || fail "$name-dbgsym lacks the symbols of $file, build ID '$id'"
        same "build ID of the symbols" "$id" "$(build_id "$debug")"
        readelf -wi "$debug" >"$work/info" 2>/dev/null
        grep -q 'DW_AT_name.*: \./[a-z]' "$work/info" || fail "$debug names no source of this tree"
        ! grep -F "$root" "$work/info" || fail "$debug names the directory that it was built in"
    done
    ! grep -rlaF "$root" "$made" --include='*' || fail "these have the directory that they were built in"
    ;;

# The library is stripped, and its static probes are still there: provider, name, number of arguments.
probes)
    readelf -nW "$made/libvorl-srv6-1/usr/$LIBDIR/libvorl_srv6.so.$VERSION" >"$work/notes"
    same "the probes" "vorl_srv6 bus_error 5
vorl_srv6 field_refused 5
vorl_srv6 no_memory 4
vorl_srv6 table_refused 5" "$(awk '/Provider: / { provider = $NF } /^ *Name: / { name = $2 }
            /^ *Arguments: / { print provider, name, NF - 1 }' "$work/notes" | LC_ALL=C sort -u)"
    ;;

# Every function is in the symbols file, under the version that brought it.
symbols)
    dpkg-deb --ctrl-tarfile "$(deb_of libvorl-srv6-1)" | tar -xO ./symbols >"$work/symbols"
    same "what the symbols file is of" "libvorl_srv6.so.1 libvorl-srv6-1 #MINVER#" "$(head -n 1 "$work/symbols")"
    same "the symbols" "$(LC_ALL=C sort "$root/tests/abi/exports.txt")" \
        "$(sed -nE 's/^ (.*)@Base [0-9.]+$/\1/p' "$work/symbols" | LC_ALL=C sort)"
    same "symbols of 1.0.0" 814 "$(grep -c '@Base 1\.0\.0$' "$work/symbols")"
    same "shlibs" "libvorl_srv6 1 libvorl-srv6-1 (>= $VERSION)" \
        "$(dpkg-deb --ctrl-tarfile "$(deb_of libvorl-srv6-1)" | tar -xO ./shlibs | grep -v udeb)"
    ;;

# Neither errors nor warnings, nor anything that it only remarks. Overrides have their reasons beside them.
lintian)
    (cd "$made" && lintian --allow-root --display-info --display-experimental --pedantic ./*.deb) >"$work/said" 2>&1 || true
    same "what lintian says" "" "$(cat "$work/said")"
    (cd "$made" && lintian --allow-root --show-overrides ./*.deb) >"$work/overridden" 2>&1 || true
    same "overrides that it has applied" "6" "$(grep -c '^O: ' "$work/overridden")"
    ;;

bills)
    "$PYTHON" "$SOURCE/bills.py" "$made" "$SOURCE/spdx-2.3.schema.json" "${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct)}"
    ;;

# The development bus as its package has it: the examples, found by pkg-config, exchange over it. Its results are the header's.
devbus)
    page=$made/vorl-devbus/usr/share/man/man1/vorl-devbus.1.gz
    same "the results in the manual page" \
        "$(tr -d '\n' <"$root/platform/bus/receiver.h" | grep -oE '\bVORL_DEV_[A-Z_]+ = [0-9]+' | sed 's/\(.*\) = \(.*\)/\2 \1/')" \
        "$(zcat "$page" | sed -n 's/^\.B \([0-9]* VORL_DEV_.*\)/\1/p')"
    same "the results in platform/README.md" "$(zcat "$page" | sed -n 's/^\.B \([0-9]*\) \(VORL_DEV_.*\)/\1 \2/p')" \
        "$(sed -nE 's/^\| ([0-9]+) \| `(VORL_DEV_[A-Z_]+)` \|.*/\1 \2/p' "$root/platform/README.md")"
    man --warnings -E UTF-8 -l "$page" >"$work/page" 2>"$work/warnings" || fail "man refuses it: $(cat "$work/warnings")"
    same "warnings about the manual page" "" "$(cat "$work/warnings")"
    for variable in $(grep -rhoE '"VORL_[A-Z_]+"' "$root/platform" --include=*.cpp --include=*.h | tr -d '"' | sort -u); do
        grep -qx " *$variable" "$work/page" || fail "the manual page has no $variable"
    done
    same "variables of platform/" 7 "$(grep -rhoE '"VORL_[A-Z_]+"' "$root/platform" --include=*.cpp --include=*.h | sort -u | wc -l)"

    # As if all were installed in one root.
    for name in $names; do cp -a "$made/$name/." "$work/root"; done
    devbus=$work/root/usr/bin/vorl-devbus
    same "its directory" "$work/root/usr/$LIBDIR/vorl-devbus" "$("$devbus" --libdir)"
    same "its version" "vorl-devbus $VERSION" "$("$devbus" --version)"
    status=0
    "$devbus" --nothing >"$work/out" 2>"$work/err" || status=$?
    same "its status for an option that it does not have" 2 $status
    grep -q 'there is no option --nothing' "$work/err" || fail "$(cat "$work/err")"
    export PKG_CONFIG_PATH=$work/root/usr/$LIBDIR/pkgconfig VORL_BUS_DIR=$work/bus
    export LD_LIBRARY_PATH=$work/root/usr/$LIBDIR
    for name in receive send; do
        "$CC" $TARGET -std=c11 -Wall -Wextra -Werror "$work/root/usr/share/doc/vorl-devbus/examples/$name.c" -o "$work/$name" \
            $(pkg-config --cflags --libs vorl_srv6 vorl_devbus)
    done
    # The exchange, once over the bus alone, once with the stand-ins for the services, which leave no block behind.
    for option in "" ${EMULATOR:-"--services"}; do
        case $option in "" | --services) ;; *) continue ;; esac
        timeout 60 "$devbus" $option $EMULATOR "$work/receive" 7 2 >"$work/received" 2>"$work/err" &
        receiver=$!
        for ((i = 0; ; ++i)); do
            "$devbus" $option $EMULATOR "$work/send" 7 >"$work/out" 2>&1 && break
            [ $i -lt 300 ] || fail "nothing was sent: $(cat "$work/out" "$work/received")"
            sleep 0.1
        done
        wait $receiver || fail "the receiver ended with $?: $(cat "$work/received" "$work/err")"
        same "what was received" 2 "$(grep -c 'msg_id 0xB7B345A9, record of 52 bytes, frame of 104' "$work/received")"
        same "what the receiver and the sender complain of" "" "$(cat "$work/err" "$work/out")"
    done
    ;;

*) fail "there is no step $1" ;;
esac
