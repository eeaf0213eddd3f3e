#!/usr/bin/env python3
"""Holds tests/README.md to the tests that there are, and to the promises that it says are held.

  check.py tests_exist         every test that the page or SECURITY.md names is in the sources, in the file that stands before it
  check.py promises_are_whole  the page quotes the headers' contract, SECURITY.md and README.md from the first word to the last
  check.py lists_all           the page lists every directory, every test source and every test of the CMakeLists
  check.py names               suites, cases, test sources and tests of CMake are in snake_case

Prints what is wrong, with what to do, and exits with 1. A test is written `suite.case`, or `suite.*` for all of a suite, behind
the file that has it, `room/file`.
"""
import os
import re
import sys
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
ROOT = TESTS.parent
PAGE = TESTS / "README.md"
SNAKE_CASE = re.compile(r"[a-z][a-z0-9_]*")
problems = []


def problem(where, what):
    problems.append(f"{where}: {what}")


def gtest_names(path):
    """(suite, case) of each test in a C++ source, in order."""
    return re.findall(r"^\s*TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", path.read_text(), re.MULTILINE)


def cmake_names(path):
    """Tests that a CMakeLists.txt adds by name, `${...}` as it stands there."""
    return re.findall(r"add_test\(\s*NAME\s+(\S+)", path.read_text())


def cmake_has(path, name):
    """Whether the CMakeLists.txt adds the test `name`, also as prefix.${x} with the rest a word of the file."""
    suite, _, case = name.partition(".")
    for added in cmake_names(path):
        if added == name or (case == "*" and added.startswith(suite + ".")):
            return True
        prefix, variable, _ = added.partition("${")
        if variable and name.startswith(prefix) and re.search(rf"\b{re.escape(name[len(prefix):])}\b", path.read_text()):
            return True
    return False


def has_test(path, name):
    if path.name == "CMakeLists.txt":
        return cmake_has(path, name)
    suite, case = name.split(".")
    return any(s == suite and case in ("*", c) for s, c in gtest_names(path))


def file_of(token):
    """The file that the page calls `token`: room/file, or fuzz/CMakeLists.txt, which is in no room."""
    return TESTS / token if (TESTS / token).exists() else ROOT / token


def rows(section):
    """(line number, cells) of the table rows in a section of the page, without the heading's two."""
    found = []
    inside = False
    for number, line in enumerate(PAGE.read_text().splitlines(), 1):
        if line.startswith("## "):
            inside = line == "## " + section
        elif inside and line.startswith("|"):
            found.append((number, [cell.strip() for cell in line.strip().strip("|").split("|")]))
    if len(found) < 3:
        sys.exit(f"tests/README.md: no table in a section '{section}'; put it back, or change tests/page/check.py")
    return found[2:]


PROMISES = ["The headers' contract", "SECURITY.md", "Five things to know"]


def tests_exist():
    for section in PROMISES:
        for number, cells in rows(section):
            here = f"tests/README.md:{number}"
            if len(cells) != 2 or not cells[1]:
                problem(here, "a row has two cells, a promise and what holds it")
                continue
            path = None
            for token in re.findall(r"`([^`]+)`", cells[1]):
                if "/" in token and " " not in token:
                    path = file_of(token)
                    if not path.is_file():
                        problem(here, f"there is no {token}; name a file of tests/")
                        path = None
                elif re.fullmatch(r"\w+\.(\w+|\*)", token):
                    if path is None:
                        problem(here, f"no file stands before {token}; write `room/file` there")
                    elif not has_test(path, token):
                        problem(here, f"{path.relative_to(ROOT)} has no test {token}; name one that it has")
    sources = list(TESTS.glob("*/**/*_test.cpp"))
    lists = [*TESTS.glob("*/CMakeLists.txt"), ROOT / "fuzz/CMakeLists.txt"]
    for token in re.findall(r"`(\w+\.(?:\w+|\*))`", (ROOT / "SECURITY.md").read_text()):
        if not any(has_test(path, token) for path in sources + lists):
            problem("SECURITY.md", f"there is no test {token}; name one that there is")


def words(text):
    return " ".join(text.split())


def contract():
    header = (ROOT / "idl/srv6/srv6.h").read_text()
    comment = header[header.index("/*") + 2:header.index("*/")]
    return words(re.sub(r"^ \*", "", comment, flags=re.MULTILINE))


def security():
    text = (ROOT / "SECURITY.md").read_text()
    promised = text[text.index("\n## What a receiver is promised\n"):text.index("\n## What is not promised\n")]
    table = [line.strip("|").split("|")[0] for line in promised.splitlines() if line.startswith("|")][2:]
    rest = promised[promised.rindex("\n|"):].split("\n", 2)[2]
    # The tests that it names are those of the page, by suite.
    return words(" ".join(table) + " " + re.sub(r"\s\((?:`[\w.*]+`(?:,\s)?)+\)", "", rest))


def five_things():
    text = (ROOT / "README.md").read_text()
    listed = re.search(r"^Five things to know:\n\n((?:(?:- |  ).*\n)+)", text, re.MULTILINE)
    if listed is None:
        sys.exit("README.md: no list below a line 'Five things to know:'; put it back, or change tests/page/check.py")
    bullets = listed[1].split("\n- ")
    if len(bullets) != 5:
        problem("README.md", f"lists {len(bullets)} of 'Five things to know'; change the list or the number")
    return words(" ".join(bullets).removeprefix("- "))


def promises_are_whole():
    for section, where, promised in zip(PROMISES, ("idl/srv6/srv6.h", "SECURITY.md", "README.md"),
                                        (contract(), security(), five_things())):
        at = 0
        for number, cells in rows(section):
            quoted = words(cells[0])
            if not promised.startswith(quoted, at):
                same = len(os.path.commonprefix([quoted, promised[at:]]))
                start = max(0, same - 30)
                problem(f"tests/README.md:{number}", f"quotes \"{quoted[start:same + 30]}\" where {where} has "
                        f"\"{promised[at + start:at + same + 30]}\"; quote that, and name the test that holds it")
                break
            at += len(quoted) + 1
        else:
            if at <= len(promised):
                problem("tests/README.md", f"does not quote the end of {where}, \"{promised[at:at + 60]}\"; add a row")


def lists_all():
    listed = set()
    for number, cells in rows("Rooms"):
        here = f"tests/README.md:{number}"
        tokens = [re.findall(r"`([^`]+)`", cell) for cell in cells]
        if len(cells) != 3 or not tokens[0] or not cells[2]:
            problem(here, "a row has three cells, where, what, and what it holds the library to")
            continue
        for token in tokens[0]:
            if not (TESTS / token).exists():
                problem(here, f"there is no tests/{token}; take it out")
        room = tokens[0][0].split("/")[0]
        lists = [path for path in (TESTS / room / "CMakeLists.txt", ROOT / room / "CMakeLists.txt") if path.exists()]
        for token in tokens[1]:
            text = "".join(path.read_text() for path in lists)
            # Programs of a function that puts a prefix before its argument are there by the rest.
            parts = [token] + [token[len(prefix):] for prefix in re.findall(r"(\w+_)\$\{name\}", text)
                               if token.startswith(prefix)]
            if not any(re.search(rf"\b{re.escape(part)}\b", text) for part in parts) and \
                    not any(cmake_has(path, token) for path in lists):
                problem(here, f"tests/{room}/CMakeLists.txt makes no {token}; take it out")
        listed.update(tokens[0] + tokens[1])
    for path in sorted(TESTS.iterdir()):
        if path.is_dir() and path.name != "__pycache__" and path.name + "/" not in listed:
            problem("tests/README.md", f"does not list {path.name}/; add a row that says what it is for")
    for path in sorted(TESTS.glob("*/**/*_test.cpp")):
        if str(path.relative_to(TESTS)) not in listed:
            problem("tests/README.md", f"does not list {path.relative_to(TESTS)}; add a row that says what it holds")
    for path in sorted([*TESTS.glob("*/CMakeLists.txt"), ROOT / "fuzz/CMakeLists.txt"]):
        for name in cmake_names(path):
            name = re.sub(r"\$\{.*", "*", name)
            if name not in listed and name.split(".")[0] + ".*" not in listed:
                problem("tests/README.md", f"does not list {name} of {path.relative_to(ROOT)}; add a row that says what it holds")


def names():
    for path in sorted(TESTS.glob("*/**/*_test.cpp")):
        where = path.relative_to(ROOT)
        for name in [path.stem, *(part for test in gtest_names(path) for part in test)]:
            if not SNAKE_CASE.fullmatch(name):
                problem(where, f"{name} is not in snake_case; rename it")
    for path in sorted([*TESTS.glob("*/CMakeLists.txt"), ROOT / "fuzz/CMakeLists.txt"]):
        for name in cmake_names(path):
            for part in re.sub(r"\$\{\w+\}", "x", name).split("."):
                if not SNAKE_CASE.fullmatch(part):
                    problem(path.relative_to(ROOT), f"{name} is not in snake_case; rename it")


CHECKS = {check.__name__: check for check in (tests_exist, promises_are_whole, lists_all, names)}
if len(sys.argv) != 2 or sys.argv[1] not in CHECKS:
    sys.exit(f"usage: check.py {'|'.join(CHECKS)}")
CHECKS[sys.argv[1]]()
sys.exit("\n".join(problems) or 0)
