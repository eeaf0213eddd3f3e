#!/usr/bin/env bash
# Whether the packages of a commit are the same byte for byte, wherever and whenever they are made: reproducible.sh WORK. The tree
# is copied to two directories of WORK, and `./dev package` runs in both; the second time in another directory, more than a year
# later, in another time zone and locale, under another umask and with one job. The packages of the first copy are left
# in WORK/packages.
set -euo pipefail
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
mkdir -p "$1"
work=$(cd "$1" && pwd)

fail() { printf 'reproducible.sh: %s\n' "$*" >&2; exit 1; }

# What is not committed is built, too, with the time of the commit that it is based on.
SOURCE_DATE_EPOCH=$(git -C "$root" log -1 --format=%ct)
export SOURCE_DATE_EPOCH

one=$work/one
two=$work/a-directory-of-another-length/two
# copy DIRECTORY: what is committed or could be
copy() {
    rm -rf "$1"
    mkdir -p "$1"
    git -C "$root" ls-files -z --cached --others --exclude-standard |
        (cd "$root" && xargs -0 sh -c 'for f; do [ ! -e "$f" ] || printf "%s\0" "$f"; done' sh) |
        tar -C "$root" --null -T - -c | tar -C "$1" -x
}
copy "$one"
copy "$two"
# Another age of the files than the checkout's.
find "$two" -exec touch -h -d '2001-02-03 04:05:06' {} +

"$one/dev" package
(
    umask 077
    export TZ=Pacific/Chatham LC_ALL=C.UTF-8 HOME=$work/home CMAKE_BUILD_PARALLEL_LEVEL=1
    mkdir -p "$HOME"
    # Only what is asked for the time is told another one: what compares the ages of files sees them as they are.
    NO_FAKE_STAT=1 faketime -f '+400d' "$two/dev" package
)

compared=0
for architecture in release aarch64; do
    for made in "$one/build/$architecture/packages/"*; do
        other=$two/build/$architecture/packages/$(basename "$made")
        diffoscope --text - "$made" "$other" || fail "$(basename "$made") depends on where or when it is made, as shown above"
        cmp "$made" "$other" || fail "$(basename "$made") differs, though diffoscope sees no difference"
        compared=$((compared + 1))
    done
    [ "$(cd "$one/build/$architecture/packages" && ls)" = "$(cd "$two/build/$architecture/packages" && ls)" ] ||
        fail "the packages of $architecture have other names the second time"
done
# Seven packages and seven bills of materials for each architecture.
[ $compared -eq 28 ] || fail "$compared files were compared, and there should be 28"

# What may be installed for both architectures at a time has the same bytes in the files that both bring.
for name in libvorl-srv6-1 libvorl-srv6-dev; do
    rm -rf "$work/amd64" "$work/arm64"
    dpkg-deb -x "$one"/build/release/packages/"$name"_*_amd64.deb "$work/amd64"
    dpkg-deb -x "$one"/build/aarch64/packages/"$name"_*_arm64.deb "$work/arm64"
    common=$(cd "$work/amd64" && find . -type f -exec sh -c 'for f; do [ ! -e "$0/$f" ] || echo "$f"; done' "$work/arm64" {} +)
    [ -n "$common" ] || fail "the two packages $name have no file in common, not even the copyright"
    for file in $common; do
        cmp "$work/amd64/$file" "$work/arm64/$file" || fail "$name cannot be installed for two architectures: $file differs"
    done
done
rm -rf "$work/packages"
cp -r "$one/build/release/packages" "$work/packages"
echo "reproducible.sh: $compared files are the same"
