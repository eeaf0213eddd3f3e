#!/usr/bin/env bash
# No file that is built makes the loader look into the directory that a program is run in: an element of its path of
# libraries that is empty, or relative to anything but the file itself, would. In the environment: BUILD (directory), READELF.
set -euo pipefail

fail() { printf 'runpaths.sh: %s\n' "$*" >&2; exit 1; }

# Other tests write to the two directories that are left out.
mapfile -d '' -t files < <(find "$BUILD" \( -path "$BUILD/installed" -o -path "$BUILD/consumers" \) -prune -o \
    -type f \( -perm -u+x -o -name '*.so*' \) -print0)
with_path=0
without_path=0
problems=()
for file in "${files[@]}"; do
    [ "$(head -c 4 "$file" | tail -c 3)" = ELF ] || continue
    listing=$(LC_ALL=C "$READELF" --wide --dynamic "$file")
    paths=$(sed -nE 's/.*\((RPATH|RUNPATH)\).*\[(.*)\]$/\2/p' <<<"$listing")
    if [ -z "$paths" ]; then
        ! grep -qE '\((RPATH|RUNPATH)\)' <<<"$listing" || problems+=("$file: its path is empty")
        without_path=$((without_path + 1))
        continue
    fi
    with_path=$((with_path + 1))
    while IFS= read -r path; do
        while IFS= read -r element; do
            case $element in
                '') problems+=("$file: an empty element in [$path]") ;;
                "\$ORIGIN" | "\$ORIGIN/"* | /*) ;;
                *) problems+=("$file: $element in [$path] is relative to the current directory") ;;
            esac
        done < <(tr : '\n' <<<"$path")
    done <<<"$paths"
done

# The library and its tool have one in the build tree, so a search that found none looked in the wrong place.
[ $with_path -ge 2 ] || fail "$with_path of the files in $BUILD have a path, and $without_path have none; the library has one"
[ ${#problems[@]} -eq 0 ] || fail "$(printf '%s\n' "${problems[@]}")"
echo "$with_path files with a path, $without_path without"
