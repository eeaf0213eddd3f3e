#!/usr/bin/env bash
# Whether the packages are of use on a bare Debian: bare_root.sh PACKAGES WORK. mmdebstrap makes a root of the running
# Debian's release; in_bare_root.sh says what is done there. The packages of 1.0.0, for the upgrade, are made from their commit and
# kept in WORK.
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
root=$(cd "$here/../.." && pwd)
packages=$(cd "$1" && pwd)
mkdir -p "$2"
work=$(cd "$2" && pwd)
first_release=298415658453d3bfaf62d863e29314f8be4b572d
suite=$(. /etc/os-release && echo "$VERSION_CODENAME")

if [ ! -d "$work/1.0.0" ]; then
    git -C "$root" cat-file -e "$first_release^{commit}" 2>/dev/null || {
        echo "bare_root.sh: the commit of 1.0.0, $first_release, is not in this clone; fetch the whole history" >&2
        exit 1
    }
    rm -rf "$work/source-1.0.0"
    mkdir "$work/source-1.0.0"
    git -C "$root" archive "$first_release" | tar -C "$work/source-1.0.0" -x
    (
        cd "$work/source-1.0.0"
        cmake --preset release -DVORL_TESTS=OFF >/dev/null
        cmake --build --preset release
        cpack --config build/release/CPackConfig.cmake >/dev/null
    )
    cp -r "$work/source-1.0.0/build/release/packages" "$work/1.0.0"
fi

rm -rf "$work/copied"
mkdir -p "$work/copied"
cp "$packages/"*.deb "$work/copied"
# Compilers and what finds packages for them; the commands in the root say what else they use.
mmdebstrap --variant=apt --include=gcc,libc6-dev,pkg-config "$suite" /dev/null \
    --customize-hook="mkdir -p \"\$1/packages\"" \
    --customize-hook="copy-in \"$work/1.0.0\" \"$work/copied\" /packages" \
    --customize-hook="upload \"$here/in_bare_root.sh\" /in_bare_root.sh" \
    --customize-hook='chroot "$1" sh /in_bare_root.sh /packages/1.0.0 /packages/copied'
