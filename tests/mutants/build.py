"""What a build directory knows of itself: how each object is compiled, which files it includes, what is linked from what,
and which tests there are. All of it is asked of cmake, ninja and ctest; no list of files or programs is kept by hand.

Objects and what is linked from them go by their paths from the build directory, as ninja has them.
"""
import hashlib
import json
import os
import re
import shlex
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
ROOMS = ("serial", "api", "runtime")  # what is changed
LIBRARY = "libvorl_srv6.so"
DRIVER = "tests/instructions/instructions_driver"


def source_files():
    """Every C++ file of the rooms, however deep, by its path from the root."""
    return sorted(str(p.relative_to(ROOT)) for room in ROOMS for p in (ROOT / room).rglob("*") if p.suffix in (".h", ".cpp"))


@dataclass
class Program:
    """A test program, and how ctest calls it for each of its tests."""
    path: str
    tests: dict = field(default_factory=dict)  # name: arguments
    environment: dict = field(default_factory=dict)

    @property
    def name(self):
        return Path(self.path).name


class Build:
    def __init__(self, at):
        self.at = at
        self.compile = {}  # object: command without what it is compiled to
        self.links = {}  # what is linked or archived: command
        self.sources = {}  # object: path from the root, of a source of this repository
        self._made_from = {}
        self._read_commands()
        self.includes = self._includes()
        self.library = next(t for t in self.links if t.startswith(LIBRARY))
        self.library_objects = [o for o in self.inputs(self.library) if o in self.compile]
        self.seconds = self._seconds()
        # The packages by what they cost to compile, the cheapest first.
        self.packages = sorted((o for o in self.library_objects if self.sources[o].startswith("idl/")), key=self.cost)
        self.programs = self._programs()

    def _ninja(self, *arguments):
        return subprocess.run(["ninja", "-C", str(self.at), *arguments], capture_output=True, text=True, check=True).stdout

    def _read_commands(self):
        for entry in json.loads((self.at / "compile_commands.json").read_text()):
            command = shlex.split(entry["command"])
            out = command.index("-o")
            self.compile[command[out + 1]] = command[:out] + command[out + 2:]
            source = Path(entry["file"])
            self.sources[command[out + 1]] = str(source.relative_to(ROOT)) if source.is_relative_to(ROOT) else str(source)
        for line in self._ninja("-t", "commands").split("\n"):
            # cmake's own steps stand before and after, between &&.
            for step in line.split(" && "):
                command = shlex.split(step) if re.match(r"\S*/(c\+\+|cc|g\+\+|gcc|ar)\s", step) else []
                if command[1:2] == ["qc"]:
                    self.links[command[2]] = command
                elif "-o" in command and "-c" not in command:
                    self.links[command[command.index("-o") + 1]] = command

    def _includes(self):
        """For each object, the files of the rooms that went into it, as the compiler told ninja."""
        includes, of = {}, None
        for line in self._ninja("-t", "deps").split("\n"):
            if line.startswith(" "):
                path = Path(os.path.normpath(self.at / line.strip()))
                if path.is_relative_to(ROOT) and path.relative_to(ROOT).parts[0] in ROOMS:
                    of.add(str(path.relative_to(ROOT)))
            elif ":" in line:
                of = includes.setdefault(line.split(":")[0], set())
        return includes

    def _seconds(self):
        """What each object took to compile when the base was built; the wall's seconds."""
        took = {}
        for line in (self.at / ".ninja_log").read_text().split("\n"):
            if line and not line.startswith("#"):
                begin, end, _, target, _ = line.split("\t")
                took[target] = (int(end) - int(begin)) / 1000
        return took

    def _programs(self):
        """The programs with GoogleTest that anything of the rooms went into, or into a library that they load."""
        programs = {}
        listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=self.at, capture_output=True, text=True, check=True)
        for test in json.loads(listed.stdout)["tests"]:
            command = test.get("command", [""])
            path = os.path.relpath(command[0], self.at)
            if path not in self.links or not any(a.startswith("--gtest_filter") for a in command):
                continue
            if not any(self.includes.get(o) for o in self.made_from(path)):
                continue
            program = programs.setdefault(path, Program(path))
            program.tests[test["name"]] = command[1:]
            for p in test.get("properties", []):
                if p["name"] == "ENVIRONMENT":
                    program.environment.update(pair.split("=", 1) for pair in p["value"])
        return list(programs.values())

    def cost(self, target):
        return self.seconds.get(target, 0.0)

    def inputs(self, target):
        """What a target is linked from, of what this build makes: objects, archives, shared libraries."""
        command = self.links[target]
        paths = [os.path.relpath(a, self.at) if a.startswith("/") else a for a in command[1:]]
        return list(dict.fromkeys(p for p in paths if (p in self.compile or p in self.links) and p != target))

    def made_from(self, target):
        """All objects that a target is made from, by whatever way, shared libraries' included."""
        if target not in self._made_from:
            self._made_from[target] = set().union(
                *({i} if i in self.compile else self.made_from(i) for i in self.inputs(target)))
        return self._made_from[target]

    def including(self, path):
        """The objects that a file of the rooms went into."""
        return {o for o, files in self.includes.items() if path in files}

    def digests(self):
        """Of the library and how it is made; of that and the tests and how they are made."""
        compilers = sorted({command[0] for command in self.compile.values()})
        versions = [subprocess.run([c, "--version"], capture_output=True, check=True).stdout for c in compilers]
        whole, digests = hashlib.sha1(repr(versions).encode()), []
        for folders, made in ((ROOMS + ("idl",), [self.compile[o] for o in self.library_objects] + [self.links[self.library]]),
                              (("catalogue", "tests", "bench", "platform"), sorted(self.links.items()))):
            whole.update(repr(made).encode())
            for p in sorted(p for f in folders for p in (ROOT / f).rglob("*")):
                if p.suffix in (".h", ".cpp", ".c", ".idl", ".txt", ".inc", ".sh") and \
                        not p.is_relative_to(ROOT / "tests/mutants"):
                    whole.update(str(p).encode() + b"\0" + p.read_bytes())
            digests.append(whole.hexdigest())
        return digests
