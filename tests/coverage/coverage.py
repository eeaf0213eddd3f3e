#!/usr/bin/env python3
"""Holds the tests to every line and every branch of serial/, api/ and runtime/, in both byte orders.

  coverage.py

Reads what the tests of build/coverage have counted (./dev coverage runs them first) by gcovr, which writes
build/coverage/report.json, and build/coverage/report/index.html to look at.

Most of the library is templates, and the compiler makes each anew for each of the messages and both byte orders. What
counts is the branch in the source: gcovr takes the n-th branch of a line as taken when any instance has taken it. What is
made for one byte order is held to the same once more, order by order, with what gcov says of each instance: functions and
lambdas have to be entered, and the functions' lines and branches taken.

gcovr counts, merges the instances and writes the report. Judging is done here, for its own means (version 5.2) are weaker:
--fail-under-branch passes a branch that one byte order never takes, because another instance did; a marker in the source
(GCOVR_EXCL_BR_LINE) exempts all branches of its line where one may be meant, and stays when it is needed no more.
--fail-under-line would do for lines, but says nothing of branches; here one run names all that is missing.

unreachable.txt lists what no test can take, a paragraph each:

  file
  the line
  branch 2 of 4          no input takes this one, or
  one condition          the instances' branches are listed one after another, two each: any may take either
  never run              no input runs the line
  why

An entry that no line needs is an error as an uncovered line is. Exit 1: either was found.
"""
import json
import re
import subprocess
import sys
from collections import defaultdict
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build/coverage"
LIST = Path(__file__).resolve().parent / "unreachable.txt"
ROOMS = ("serial", "api", "runtime")
ORDERS = ("native", "swapped")  # enum class byte_order


NEVER = "never run"


@dataclass
class Entry:
    at: int  # line of the list
    file: str
    text: str
    branch: int | str | None  # counted from 0; None: one condition; NEVER: the whole line
    of: int
    needed: bool = False  # some line would fail without it


def entries():
    found = []
    at = 1
    for paragraph in LIST.read_text().split("\n\n"):
        rows = [row for row in paragraph.splitlines() if not row.startswith("#")]
        if rows:
            place = f"{LIST.relative_to(ROOT)}:{at}"
            if len(rows) < 4:
                sys.exit(f"{place}: an entry is a file, a line, which branch, and why")
            branch = re.fullmatch(r"one condition|never run|branch (\d+) of (\d+)", rows[2])
            if not branch:
                sys.exit(f"{place}: neither 'one condition' nor 'never run' nor 'branch N of M': {rows[2]}")
            number, of = branch.groups()
            which = NEVER if rows[2] == NEVER else int(number) - 1 if number else None
            found.append(Entry(at, rows[0], rows[1], which, int(of or 0)))
        at += paragraph.count("\n") + 2
    return found


def measure():
    report = BUILD / "report.json"
    (BUILD / "report").mkdir(exist_ok=True)
    command = ["gcovr", "--root", ROOT, "--json", report, "--html-details", BUILD / "report/index.html"]
    for room in ROOMS:
        command += ["--filter", f"{room}/"]
    subprocess.run([*command, BUILD], check=True)
    files = json.loads(report.read_text())["files"]
    for room in ROOMS:
        if not any(f["file"].startswith(f"{room}/") for f in files):
            sys.exit(f"coverage: nothing of {room}/ was counted")
    return files


def by_order():
    """What gcov says of instances that are made for one byte order, over all of that order: how often functions are entered,
    lines run, and branches taken; keyed by order, file and line, branches also by how many the line has in the instance."""
    functions, lines, branches = defaultdict(int), defaultdict(int), {}
    for data in sorted(BUILD.rglob("*.gcda")):
        told = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", data], check=True, cwd=BUILD,
                              capture_output=True)
        for f in json.loads(told.stdout)["files"]:
            path = Path(f["file"])
            if ROOT not in path.parents or path.relative_to(ROOT).parts[0] not in ROOMS:
                continue
            file = str(path.relative_to(ROOT))
            for function in f["functions"]:
                order = re.search(r"\(vorl::byte_order\)([01])", function["demangled_name"])
                if order:
                    functions[ORDERS[int(order[1])], file, function["start_line"]] += function["execution_count"]
            for line in f["lines"]:
                order = re.search(r"10byte_orderE([01])", line.get("function_name") or "")
                if order:
                    key = ORDERS[int(order[1])], file, line["line_number"]
                    lines[key] += line["count"]
                    counts = [b["count"] for b in line["branches"]]
                    key += (len(counts),)
                    branches[key] = [a + b for a, b in zip(branches.get(key, [0] * len(counts)), counts)]
    if not functions or not lines:
        sys.exit("coverage: gcov names no instance that is made for one byte order")
    return functions, lines, branches


class Judge:
    """Collects what is missing."""

    def __init__(self):
        self.listed = entries()
        self.problems = set()
        self.sources = {}

    def text(self, file, number):
        if file not in self.sources:
            self.sources[file] = (ROOT / file).read_text().splitlines()
        return self.sources[file][number - 1].strip()

    def miss(self, file, number, what, order=None):
        where = f" in the {order} byte order" if order else ""
        self.problems.add(f"{file}:{number}: {what}{where}: {self.text(file, number)}")

    def unrun(self, file, number, order=None):
        """A line that no test runs."""
        for e in self.listed:
            if e.branch == NEVER and (e.file, e.text) == (file, self.text(file, number)):
                e.needed = True
                return
        self.miss(file, number, "no test runs this line", order)

    def branches(self, file, number, counts, order=None):
        """The line's branches that count, and those that no test can take."""
        taken = [count > 0 for count in counts]
        if all(taken):
            return len(taken), 0
        for e in self.listed:
            if e.branch == NEVER or (e.file, e.text) != (file, self.text(file, number)):
                continue
            if e.branch is None:
                e.needed = True
                if not (any(taken[0::2]) and any(taken[1::2])):
                    self.miss(file, number, "no test takes one side of the condition", order)
                return 2, 0
            if e.of == len(taken) and not taken[e.branch]:
                e.needed = True
                taken[e.branch] = True
        unlisted = [str(i + 1) for i, t in enumerate(taken) if not t]
        if unlisted:
            which = ", ".join(unlisted[:8]) + (" and others" if len(unlisted) > 8 else "")
            self.miss(file, number, f"no test takes branch {which} of {len(taken)}", order)
        return len(taken), sum(count == 0 for count in counts) - taken.count(False)


def main():
    judge = Judge()
    lines = branches = impossible = 0
    for f in measure():
        for line in f["lines"]:
            if line.get("gcovr/noncode"):
                continue
            lines += 1
            if line["count"] == 0:
                judge.unrun(f["file"], line["line_number"])
            else:
                all_of_it, never = judge.branches(f["file"], line["line_number"], [b["count"] for b in line["branches"]])
                branches += all_of_it
                impossible += never

    ordered = by_order()
    for (order, file, number), count in ordered[0].items():
        if count == 0:
            judge.miss(file, number, "no test enters this function", order)
    for (order, file, number), count in ordered[1].items():
        if count == 0:
            judge.unrun(file, number, order)
    for (order, file, number, _), counts in ordered[2].items():
        if ordered[1][order, file, number] != 0:
            judge.branches(file, number, counts, order)
    for e in judge.listed:
        if not e.needed:
            judge.problems.add(f"{LIST.relative_to(ROOT)}:{e.at}: no longer needed, take it out: {e.file}: {e.text}")

    print(f"serial/, api/, runtime/: {lines} lines; {branches} branches, {impossible} of which no test can take")
    for order in ORDERS:
        print(f"for the {order} byte order alone: " + ", ".join(
            f"{sum(key[0] == order for key in counted)} {what}"
            for counted, what in zip(ordered, ("functions and lambdas", "lines"))))
    if not judge.problems:
        print("all of them covered")
        return 0
    print("\n".join(sorted(judge.problems)))
    print(f"{len(judge.problems)} to settle; see build/coverage/report/index.html. Write the test that is missing; where there"
          " can be none,\nsimplify the code, or say why in tests/coverage/unreachable.txt.")
    return 1


if __name__ == "__main__":
    sys.exit(main())
