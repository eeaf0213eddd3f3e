"""Bytes of code, by section and by message, from a library's symbols."""
import re
import statistics
import subprocess

from figures.text import table


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def by_type(library):
    """Bytes of code by message: the functions that are named after it."""
    sizes = {}
    for line in output_of("nm", "-S", "--demangle", library).splitlines():
        parts = line.split(maxsplit=3)
        if len(parts) != 4 or parts[2] not in "tTwW":
            continue
        # A message's own name stands last before _message; an element's may stand in front of it.
        named = re.findall(r"(srv6_\w+?)(?:_message\b|__(?:un)?pack\b|_free__unpacked\b|__send(?:single|batch|msg|tomsg)\b)",
                           parts[3])
        name = named[-1] if named else "shared by all"
        sizes[name] = sizes.get(name, 0) + int(parts[1], 16)
    return sizes


def rows(library):
    """Of the whole library; of each message."""
    sections = {}
    for line in output_of("size", "-A", library).splitlines():
        words = line.split()
        if len(words) == 3 and words[0].startswith("."):
            sections[words[0]] = int(words[1])
    sizes = by_type(library)
    shared = sizes.pop("shared by all", 0)
    whole = [["`.text` in total", f"{sections['.text']:,}"], ["`.rodata` in total", f"{sections.get('.rodata', 0):,}"],
             ["code shared by all types", f"{shared:,}"],
             ["median of a type", f"{statistics.median(sizes.values()):,.0f}"]]
    return whole, [[name, f"{size:,}"] for name, size in sorted(sizes.items(), key=lambda item: -item[1])]


def page_table(libraries):
    """One table for all: {architecture: library}."""
    columns = {name: rows(library)[0] for name, library in libraries.items()}
    first = next(iter(columns.values()))
    return table(["bytes", *columns], [[row[0]] + [c[i][1] for c in columns.values()] for i, row in enumerate(first)])
