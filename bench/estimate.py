#!/usr/bin/env python3
"""Estimates the cycles of the hot paths on cores of the target, and of memcpy of the same bytes.

    estimate.py PLUGIN DRIVER OUTPUT EMULATOR...

The emulator runs the driver of tests/instructions, whose plugin writes down each instruction as it is executed. llvm-mca, of
Debian's package llvm-16, says how many cycles a core takes for them. It knows the core's pipeline and the instructions'
latencies; it takes every load for found in the first cache and every branch for guessed right. So this is an estimate, good
for comparing two paths, and no measurement.

OUTPUT gets a line a path: its name, instructions a call, and cycles a call of each core, tab between them.
"""
import array
import os
import re
import subprocess
import sys
import tempfile

# The first works in order: it shows what waits.
CORES = {"Cortex-A55": "cortex-a55", "Cortex-A72": "cortex-a72", "Neoverse N2": "neoverse-n2"}
TARGET = ["-triple=aarch64-linux-gnu"]
FEATURES = "-mattr=+v8.5a,+mte"
MOST_CALLS = 64  # of a path: more change nothing, and take long


def traced(plugin, driver, emulator):
    """(path, calls, its instructions as words) of each path."""
    with tempfile.TemporaryDirectory() as room:
        counts, trace = os.path.join(room, "counts"), os.path.join(room, "trace")
        option = ",".join(f"{name}={path.replace(',', ',,')}" for name, path in (("out", counts), ("trace", trace)))
        paths = subprocess.run([*emulator, "-cpu", "cortex-a72", "-plugin", plugin.replace(",", ",,") + "," + option, driver,
                                "beside-memcpy"], env={**os.environ, "LD_BIND_NOW": "1"}, check=True, capture_output=True,
                               text=True).stdout.split("\n")
        words = array.array("I")
        with open(trace, "rb") as file:
            words.frombytes(file.read())
    begin = 0
    for line in filter(None, paths):
        name, calls = line.split()
        end = words.index(0, begin)
        yield name, int(calls), words[begin:end]
        begin = end + 1


def tool(name, *arguments, text):
    return subprocess.run([name, *arguments], input=text, check=True, capture_output=True, text=True).stdout


def assembly(words):
    """The text of each of the words."""
    lines = [" ".join(f"0x{byte:02x}" for byte in word.to_bytes(4, "little")) for word in words]
    texts = [line.strip() for line in tool("llvm-mc-16", "--disassemble", *TARGET, FEATURES, text="\n".join(lines)).splitlines()
             if line.startswith("\t") and not line.startswith("\t.")]
    if len(texts) != len(words):
        sys.exit(f"estimate.py: llvm-mc-16 knows {len(texts)} of {len(words)} instructions; name the features that the library "
                 "is built for in FEATURES")
    return {word: as_a_line(text) for word, text in zip(words, texts)}


def as_a_line(text):
    """A call or a return as an instruction of a straight line: llvm-mca would take a call for a hundred cycles."""
    if re.match(r"bl\b|blr", text):
        return "adr x30, #0"
    return "br x30" if text.startswith("ret") else text


def cycles(core, lines):
    report = tool("llvm-mca-16", "-mtriple=aarch64-linux-gnu", f"-mcpu={core}", FEATURES, "-iterations=1", "--all-views=0",
                  "--summary-view", text="\n".join(lines) + "\n")
    return int(re.search(r"^Total Cycles:\s+(\d+)", report, re.MULTILINE)[1])


def main():
    plugin, driver, output, *emulator = sys.argv[1:]
    paths = list(traced(plugin, driver, emulator))
    text_of = assembly(sorted({word for _, _, words in paths for word in words}))
    with open(output, "w", encoding="utf-8") as out:
        print("path", "instructions", *CORES, sep="\t", file=out)
        for name, calls, words in paths:
            part = words[:len(words) * min(calls, MOST_CALLS) // calls]
            lines = [text_of[word] for word in part]
            called = len(part) * calls / len(words)
            figures = [len(words) / calls] + [cycles(core, lines) / called for core in CORES.values()]
            print(name, *(f"{figure:.1f}" for figure in figures), sep="\t", file=out)


if __name__ == "__main__":
    main()
