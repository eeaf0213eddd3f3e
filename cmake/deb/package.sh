#!/usr/bin/env bash
# Makes the Debian packages of a build: package.sh BUILD OUT. BUILD is a build directory with everything built; the packages go
# to OUT, which is emptied first. They are dated SOURCE_DATE_EPOCH, or, if that is not set, as the commit that is checked out;
# nothing in them depends on the directory, the clock or the user.
#
# The components are installed by CMake, and made into packages by debhelper's commands (docs/decisions/0007 says why).
set -euo pipefail
source_dir=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
deb=$source_dir/cmake/deb
build=$(cd "$1" && pwd)
mkdir -p "$2"
out=$(cd "$2" && pwd)
. "$build/package.env"

fail() { printf 'package.sh: %s\n' "$*" >&2; exit 1; }

[ "$TOOLS" = ON ] || fail "$build has no vorl: configure it with VORL_TOOLS=ON"
: "${SOURCE_DATE_EPOCH:=$(git -C "$source_dir" log -1 --format=%ct)}" || fail \
    "this is no git checkout, so set SOURCE_DATE_EPOCH to the time of the release, in seconds since 1970"
export SOURCE_DATE_EPOCH
export LC_ALL=C TZ=UTC
# dpkg-deb's packages differ by the number of its threads.
export DPKG_DEB_THREADS_MAX=1
unset DEB_BUILD_OPTIONS DEB_BUILD_PROFILES DESTDIR
umask 022
eval "$(dpkg-architecture -f -a"$DEB" -s 2>/dev/null)"

stage=$build/package
rm -rf "$stage" "$out"
mkdir -p "$stage/debian" "$out"
cd "$stage"
cp "$deb"/{control,copyright,*.symbols,*.lintian-overrides} debian
[ "$DEB_HOST_ARCH" = "$DEB_BUILD_ARCH" ] || cp "$deb/shlibs.local" debian
python3 "$deb/changelog.py" "$source_dir/CHANGELOG.md" debian/control "$VERSION" >debian/changelog

# install_component PACKAGE COMPONENT
install_component() { DESTDIR=$stage/debian/$1 "$CMAKE" --install "$build" --prefix /usr --component "$2" >/dev/null; }
install_component libvorl-srv6-1 library
install_component libvorl-srv6-dev development
install_component vorl-srv6-tool tool
install_component vorl-tap tap
install_component vorl-wireshark wireshark
install_component vorl-devbus devbus
devbus=debian/vorl-devbus/usr/$LIBDIR/vorl-devbus

dh_installdocs
dh_installchangelogs
dh_installexamples -plibvorl-srv6-dev "$source_dir/examples/addresses.cpp"
dh_installexamples -pvorl-devbus "$source_dir/examples/receive.c" "$source_dir/examples/send.c"
dh_lintian
dh_strip
dh_compress
dh_fixperms
# -c4: a symbol that the symbols file does not have is an error, and so is one that is gone.
dh_makeshlibs -plibvorl-srv6-1 -- -c4
dh_installdeb
# The library needs the router's bus, which is of no package. The development bus is shown in its place; its name has no
# version, so nothing comes to depend on its package, and that is worth no warning. Nor is that libvorl_dev_os.so is linked
# with the other stand-ins and calls none. Of the target's libraries the cross compiler's packages know no symbols;
# shlibs.local has their versions.
dh_shlibdeps "-l$PWD/$devbus:/usr/$DEB_HOST_GNU_TYPE/lib" -- --warnings=1 \
    2> >(grep -vE "can't extract name and version from library name 'lib(kavrovorl|vorl_dev_[a-z_]+)\.so'" >&2)

# A bill of materials goes into its package and beside it; packages of debug symbols hold those and nothing else. It lists what
# the package depends on, so the control file comes first, and the size, of the files with the bill, is put right after it:
# files and links in whole KiB, directories as one. (dpkg-gencontrol counts what is in DEBIAN, too, and that is not installed.)
# Two architectures' packages may be installed together: what differs has different names.
dh_gencontrol
for tree in debian/*/DEBIAN debian/.debhelper/*/dbgsym-root/DEBIAN; do
    tree=${tree%/DEBIAN}
    name=$(sed -n 's/^Package: //p' "$tree/DEBIAN/control")
    bill=$out/${name}_${VERSION}_$DEB.spdx.json
    case $name in
        *-dbgsym) "$deb/sbom.py" "$tree" "$bill" "$deb/copyright" "$COMPILER" ;;
        *)
            "$deb/sbom.py" "$tree" "$tree/usr/share/doc/$name/${name}_$DEB.spdx.json" "$deb/copyright" "$COMPILER"
            cp "$tree/usr/share/doc/$name/${name}_$DEB.spdx.json" "$bill"
            ;;
    esac
    size=$(find "$tree" -name DEBIAN -prune -o \( -type f -o -type l \) -printf '%s\n' -o -printf '1\n' |
        awk '{ kib += int(($1 + 1023) / 1024) } END { print kib }')
    sed -i "s/^Installed-Size: .*/Installed-Size: $size/" "$tree/DEBIAN/control"
done
find debian -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
dh_md5sums
dh_builddeb --destdir="$out" -- -Zxz >/dev/null
