#!/usr/bin/env bash
# idl/regen.sh BUILD VERSION [--breaking]: writes all that follows from the descriptions. ./dev regen calls it.
#
# Five files are history: what programs were compiled and linked with, and what peers send. They only grow. A run that would
# change or remove a line of theirs puts them back, says which line it is and whom it would hit, and fails; with --breaking
# it says the same and goes on.
set -euo pipefail
build=$1
version=$2
breaking=${3:-}
descriptions=(idl/srv6/srv6.idl idl/srv6_cfg/srv6_cfg.idl idl/srv6_sync/srv6_sync.idl)

say() { printf '== %s\n' "$*" >&2; }

declare -A hits=(
    [tests/facts/messages.inc]='peers of the version before: they look for these values elsewhere, or do not know the message.
   idlc compat --revision HEAD idl says of each change what they will see'
    [tests/abi/exports.txt]='programs that were linked with these functions: they do not start any more'
    [tests/abi/layouts.txt]='programs that were compiled with the header before: they read and write other bytes of a record'
    [tests/abi/vorl_srv6.abi]='programs that were compiled or linked with the version before; abidiff names types and functions'
    [cmake/deb/libvorl-srv6-1.symbols]='packages that depend on the version which the line names'
)

before=$(mktemp -d)
trap 'rm -rf "$before"' EXIT
for file in "${!hits[@]}"; do
    mkdir -p "$before/$(dirname "$file")"
    cp "$file" "$before/$file"
done

"$build/idlc/idlc" --page docs/messages.md --lua wireshark/vorl/messages.lua "${descriptions[@]}"
"$build/tests/facts/append_facts" "${version%.*}" tests/facts/messages.inc "${descriptions[@]}"
{
    sed -nE 's/^FACT(_SINCE\([0-9]+, [0-9]+, |\()([a-z0-9_]+), .*/\2/p' tests/facts/messages.inc | while read -r message; do
        printf '%s\n' "$message"{__pack,__unpack,_free__unpacked,__sendsingle,__sendbatch,__sendmsg,__sendtomsg}
    done
    for description in "${descriptions[@]}"; do
        package=$(basename "$description" .idl)
        printf '%s\n' "${package}_recv_init" "${package}_send_init" "${package}__send_resource_clean"
    done
} | LC_ALL=C sort >tests/abi/exports.txt
cmake --build "$build" --target log_page fuzz_seeds regen_abi
"$build/inspect/log_page" docs/log.md
"$build/tests/fuzz/targets/fuzz_seeds" fuzz/corpus

# What stood in a file and does not any more. abidw writes functions in the order in which a compiler had them, so lines say
# nothing there.
lost_of() {
    if [ "$1" = tests/abi/vorl_srv6.abi ]; then
        if abidiff "$before/$1" "$1" >/dev/null; then
            cp "$before/$1" "$1"
        else
            { abidiff --no-added-syms "$before/$1" "$1" || true; } |
                sed '/changes summary: 0 Removed, 0 Changed/d; /^$/d'
        fi
    else
        { diff "$before/$1" "$1" || true; } | sed -n 's/^< //p'
    fi
}

broken=()
for file in "${!hits[@]}"; do
    lost=$(lost_of "$file")
    if [ -n "$lost" ]; then
        broken+=("$file")
        say "$file: changed or removed: $(wc -l <<<"$lost") lines"
        head -n 20 <<<"$lost" >&2
        say "this breaks ${hits[$file]}"
    fi
done
if [ ${#broken[@]} -ne 0 ] && [ "$breaking" != --breaking ]; then
    for file in "${!hits[@]}"; do
        cp "$before/$file" "$file"
    done
    say "these five files are as they were. Undo the change to the description; or, if it is meant: ./dev regen --breaking"
    exit 1
fi
[ ${#broken[@]} -eq 0 ] ||
    say "written as asked for; the major version in CMakeLists.txt goes up, and with it the SONAME (docs/evolution.md)"

# What pages say of how many there are.
messages=$(grep -c '^FACT' tests/facts/messages.inc)
sed -i -E "s/There are [0-9]+ message types/There are $messages message types/" README.md
sed -i -E "s/in all [0-9]+ messages/in all $messages messages/" SECURITY.md
sed -i -E "s/all [0-9]+ messages/all $messages messages/" docs/wireshark.md
sed -i -E "s/encodes [0-9]+ types/encodes $messages types/" cmake/deb/control
sed -i -E "s/There are [0-9]+ functions/There are $(wc -l <tests/abi/exports.txt) functions/" docs/integrators.md
