#!/usr/bin/env python3
"""Changes the library in small ways, one at a time, and runs the tests against each: what no test minds is a survivor.

  mutants.py [--count N] [--seed S] [--jobs N] [--seconds N] [--again] [--list] [--only FILE[:LINE]]

Changes are drawn from serial/, api/ and runtime/ in proportion to the files' sizes; the same seed draws the same ones as
long as the files are the same. Each goes through two stages:

  quick   one package alone is compiled, and linked before the objects of the others; the tests take few random inputs
  full    what survived that: all three packages are compiled, and the tests take as many inputs as ever

Killed: it does not compile, a test fails, the process ends by a signal, or takes over a minute. Survivors are printed
with their place and change, unless equivalent.txt argues that nobody can tell. Results are kept in
build/mutants/results.jsonl and are not made anew; --again makes those of survivors anew. Exit 1: an unargued survivor.

The test programs are those of a build directory of their own, build/mutants/base: ./dev mutants builds it.
"""
import argparse
import difflib
import hashlib
import json
import os
import random
import re
import shlex
import shutil
import signal
import subprocess
import sys
import threading
import time
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from changes import all_changes  # noqa: E402

ROOT = Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build/mutants"
BASE = BUILD / "base"
RESULTS = BUILD / "results.jsonl"
EQUIVALENT = Path(__file__).parent / "equivalent.txt"
ROOMS = ("serial", "api", "runtime")
PACKAGES = ("srv6_cfg", "srv6", "srv6_sync")
# What the quick stage compiles: the smallest package, or for a file of which that has too little, the next.
QUICK_PACKAGE = {"serial/sparse.h": "srv6_sync"}
QUICK_RUNS = "5000"
SECONDS_A_PROGRAM = 60

# The quick stage's programs, then the others of the full stage; those that kill most come first. All are linked with the
# library's objects but SHARED, which load the shared library.
RUNTIME = ["runtime_binding", "runtime_binding_use", "runtime_log_call", "runtime_services_matrix"]
FAULTS = ["faults_memory", "faults_log", "faults_misaligned", "faults_bus", "faults_registration"]
SHARED = ["api_send_all", "api_send_fixed", "api_send_variable", "api_pack_arguments", "api_release", "api_registration",
          "api_every_export", "api_no_services", "api_no_services_at_all", "api_send_overflow", "codec_shared_test"]
PROGRAMS = {
    "serial": (["codec_test"], FAULTS + ["api_unpack_arguments"] + SHARED + RUNTIME),
    "api": (["api_unpack_arguments", "faults_memory", "api_send_all", "api_pack_arguments", "codec_test"],
            FAULTS[1:] + SHARED + RUNTIME),
    # Threads that wait for one another take long on a busy machine, so those come last.
    "runtime": (RUNTIME, FAULTS + ["api_unpack_arguments"] + SHARED + ["codec_test", "runtime_first_calls"]),
}

COMPILE = ["g++", "-std=c++20", "-fPIC", "-O0", "-w", "-DNDEBUG", "-fno-exceptions", "-fno-rtti",
           "-fno-threadsafe-statics", "-fvisibility=hidden"] + (["-march=x86-64-v2"] if os.uname().machine == "x86_64" else [])


class Mutant:
    def __init__(self, path, text, change):
        self.path, self.change = path, change
        self.text = text[:change.at] + change.text + text[change.end:]
        self.line = text.count("\n", 0, change.at) + 1
        was, now = text.split("\n"), self.text.split("\n")
        diff = [d for d in difflib.unified_diff(was, now, n=0, lineterm="")][3:]
        self.was = " ".join(d[1:].strip() for d in diff if d[0] == "-")
        self.now = " ".join(d[1:].strip() for d in diff if d[0] == "+")
        # A line may stand in a file more than once.
        nth = text[:text.rfind("\n", 0, change.at) + 1].count(was[self.line - 1])
        self.id = hashlib.sha1(f"{path}\n{self.was}\n{self.now}\n{nth}".encode()).hexdigest()[:12]

    def show(self):
        return f"{self.path}:{self.line}: {self.change.rule}\n  - {self.was}\n  + {self.now}"


def draw(count, seed, only):
    """The mutants of a seed, in an order that is as mixed as they are."""
    files = sorted(str(p.relative_to(ROOT)) for room in ROOMS for p in (ROOT / room).iterdir())
    texts = {f: (ROOT / f).read_text() for f in files}
    total = sum(map(len, texts.values()))
    drawn = []
    for f in files:
        rng = random.Random(f"{seed} {f}")
        by_rule = {}
        for change in all_changes(texts[f]):
            by_rule.setdefault(change.rule, []).append(change)
        for changes in by_rule.values():
            rng.shuffle(changes)
        rules = sorted(by_rule)
        rng.shuffle(rules)
        quota = max(3, round(count * len(texts[f]) / total))
        taken, seen = [], set()
        while len(taken) < quota and any(by_rule.values()):
            for rule in rules:
                if by_rule[rule] and len(taken) < quota:
                    m = Mutant(f, texts[f], by_rule[rule].pop())
                    if m.was != m.now and m.id not in seen:
                        seen.add(m.id)
                        taken.append(m)
        drawn += taken
    random.Random(seed).shuffle(drawn)
    return [m for m in drawn if only in (None, m.path, f"{m.path}:{m.line}")]


class Equivalent:
    """equivalent.txt: paragraphs of `file`, `- line`, `+ line`, and the reason."""

    def __init__(self):
        self.reasons = {}
        text = re.sub(r"(?m)^#.*\n?", "", EQUIVALENT.read_text()) if EQUIVALENT.exists() else ""
        for paragraph in filter(None, (p.strip() for p in re.split(r"\n\s*\n", text))):
            lines = [line.strip() for line in paragraph.split("\n")]
            if len(lines) < 4 or not lines[1].startswith("- ") or not lines[2].startswith("+"):
                sys.exit(f"equivalent.txt: not file, - line, + line, reason:\n{paragraph}")
            self.reasons[(lines[0], lines[1][2:], lines[2][1:].strip())] = " ".join(lines[3:])

    def reason(self, r):
        return self.reasons.get((r["file"], r["was"], r["now"]))

    def stale(self):
        """Entries whose line is not in its file any more."""
        for f, was, now in self.reasons:
            path = ROOT / f
            flat = " ".join(path.read_text().split()) if path.exists() else ""
            if " ".join(was.split()) not in flat:
                yield f, was, now


def run(command, seconds, **more):
    """0, a failure's code, or None: it took too long. And what it said last."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                               start_new_session=True, text=True, errors="replace", **more)
    # On a busy machine it is the work that counts: a program that gets no processor does no work.
    timer_said = []

    def watch():
        began = time.monotonic()
        while process.poll() is None:
            time.sleep(0.5)
            if used_seconds(process.pid) > seconds or time.monotonic() - began > 20 * seconds:
                timer_said.append(True)
                os.killpg(process.pid, signal.SIGKILL)
                return
    watcher = threading.Thread(target=watch, daemon=True)
    watcher.start()
    said, _ = process.communicate()
    watcher.join()
    return (None if timer_said else process.returncode), said


def used_seconds(pid):
    try:
        fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    except OSError:
        return 0
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def link_command(target, cache={}):
    """How the base links a program, without what cmake does after."""
    if target not in cache:
        last = subprocess.run(["ninja", "-C", str(BASE), "-t", "commands", target], capture_output=True, text=True,
                              check=True).stdout.strip().split("\n")[-1]
        cache[target] = shlex.split(re.sub(r"^: && | && .*$", "", last))
    return cache[target]


class Worker:
    def __init__(self, number):
        self.at = BUILD / f"worker{os.getpid()}.{number}"
        shutil.rmtree(self.at, ignore_errors=True)
        self.at.mkdir(parents=True)
        for room in ROOMS:
            shutil.copytree(ROOT / room, self.at / room)

    def judge(self, mutant, stage):
        """(verdict, detail). Verdicts: compile, quick, full, timeout; of the quick stage waiting, of the full, survived."""
        source = self.at / mutant.path
        source.write_text(mutant.text)
        try:
            return self.stage(mutant, stage) or ("waiting" if stage == "quick" else "survived", "")
        finally:
            shutil.copy(ROOT / mutant.path, source)

    def stage(self, mutant, stage):
        objects = {}  # of the base: its stand-in

        def compile_to(name, source, *more):
            out = self.at / f"{name}.o"
            code, said = run(COMPILE + [f"-I{self.at}", f"-I{ROOT}", *more, "-c", str(source), "-o", str(out)], 120)
            return out if code == 0 else None

        if not mutant.path.endswith(".cpp"):
            quick = QUICK_PACKAGE.get(mutant.path, PACKAGES[0])
            for package in PACKAGES if stage == "full" else [quick]:
                out = compile_to(package, ROOT / f"idl/{package}/{package}.cpp", f"-I{ROOT}/idl/{package}")
                if out is None:
                    return "compile", ""
                objects[f"CMakeFiles/vorl_objects.dir/idl/{package}/{package}.cpp.o"] = out
        if mutant.path.startswith("runtime/") and not mutant.path.endswith("bus.h"):
            for name, base, more in (
                    ("runtime", "CMakeFiles/vorl_runtime.dir/runtime/serial_ctx.cpp.o", []),
                    ("test_runtime", "tests/CMakeFiles/test_runtime.dir/__/runtime/serial_ctx.cpp.o",
                     ["-Ddlsym=vorl_test_dlsym"])):
                out = compile_to(name, self.at / "runtime/serial_ctx.cpp", *more)
                if out is None:
                    return "compile", ""
                objects[base] = out

        environment = dict(os.environ, LD_LIBRARY_PATH=str(self.at), VORL_DIFFERENTIAL_RUNS=QUICK_RUNS)
        if stage == "full" and mutant.path.startswith("serial/"):
            del environment["VORL_DIFFERENTIAL_RUNS"]

        def test(name, program, seconds):
            code, said = run([str(program), "--gtest_fail_fast", "--gtest_brief=1"], seconds, env=environment, cwd=self.at)
            if code is None:
                return "timeout", name
            if code != 0:
                failed = re.findall(r"\[  FAILED  \] ([\w./]+)", said)
                return stage, f"{name}.{failed[0] if failed else f'ended by {code}'}"
            return None

        seconds = SECONDS_A_PROGRAM if stage == "quick" else 5 * SECONDS_A_PROGRAM
        quick, rest = PROGRAMS[mutant.path.split("/")[0]]
        library = None
        for name in quick if stage == "quick" else quick + rest:
            if name in SHARED:
                library = library or self.link("libvorl_srv6.so.1.0.0", objects)
                program = library and next(BASE.glob(f"tests/*/{name}"))
                if library:
                    shutil.copy(library, self.at / "libvorl_srv6.so.1")
            else:
                program = self.link(name, objects)
            verdict = test(name, program, seconds) if program else ("compile", "does not link")
            if verdict:
                return verdict
        return None

    def link(self, target, objects):
        """Stand-ins go first: of an inline function in several objects the first is taken."""
        command = [a for a in link_command(target) if a not in objects]
        out = self.at / "linked" / target
        out.parent.mkdir(exist_ok=True)
        at = command.index("-o")
        command[at + 1] = str(out)
        command[1:1] = ["-fuse-ld=lld", "-Wl,-S"] + [str(o) for base, o in objects.items() if base in link_command(target)]
        code, said = run(command, 120, cwd=BASE)
        return out if code == 0 else None


def main():
    options = argparse.ArgumentParser(description="mutation tests of serial/, api/ and runtime/")
    options.add_argument("--count", type=int, default=330)
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--jobs", type=int, default=os.cpu_count())
    options.add_argument("--seconds", type=int, help="stop after so long; the next call goes on")
    options.add_argument("--again", action="store_true", help="survivors, and what did not end in time, once more")
    options.add_argument("--list", action="store_true", help="say what would be done")
    options.add_argument("--only", help="of this file, or FILE:LINE")
    asked = options.parse_args()

    equivalent = Equivalent()
    mutants = draw(asked.count, asked.seed, asked.only)
    if asked.list:
        print("\n".join(m.show() for m in mutants))
        print(len(mutants), "mutants", dict(Counter(m.change.rule for m in mutants)))
        return 0
    BUILD.mkdir(parents=True, exist_ok=True)
    results = {}
    if RESULTS.exists():
        results = {r["id"]: r for r in map(json.loads, RESULTS.read_text().splitlines())}
    if asked.again:
        results = {k: r for k, r in results.items() if r["verdict"] not in ("survived", "timeout")
                   or equivalent.reason(r)}
    # All go through the quick stage before any goes through the full one.
    todo = [(m, "quick") for m in mutants if m.id not in results]
    waiting = [m for m in mutants if m.id in results and results[m.id]["verdict"] == "waiting"]
    began, guard = time.monotonic(), threading.Lock()

    def work(number):
        worker = Worker(number)
        while True:
            with guard:
                if asked.seconds and time.monotonic() - began > asked.seconds or not todo and not waiting:
                    shutil.rmtree(worker.at, ignore_errors=True)
                    return
                mutant, stage = todo.pop(0) if todo else (waiting.pop(0), "full")
            start = time.monotonic()
            verdict, detail = worker.judge(mutant, stage)
            r = {"id": mutant.id, "file": mutant.path, "line": mutant.line, "rule": mutant.change.rule,
                 "was": mutant.was, "now": mutant.now, "verdict": verdict, "detail": detail,
                 "seconds": round(time.monotonic() - start, 1)}
            with guard:
                results[mutant.id] = r
                with open(RESULTS, "a") as out:
                    out.write(json.dumps(r) + "\n")
                if verdict == "waiting":
                    waiting.append(mutant)
                print(f"{len(results)}/{len(mutants)} {verdict:8} {r['seconds']:6} s "
                      f"{mutant.path}:{mutant.line} {detail}", flush=True)

    workers = [threading.Thread(target=work, args=(n,)) for n in range(asked.jobs)]
    for w in workers:
        w.start()
    for w in workers:
        w.join()

    done = [results[m.id] for m in mutants if m.id in results]
    for m in mutants:
        if m.id in results and results[m.id]["verdict"] == "survived" and not equivalent.reason(results[m.id]):
            print("SURVIVED", m.show())
    for f, was, now in equivalent.stale():
        print(f"equivalent.txt: no such line in {f} any more: {was}")
    verdicts = Counter("argued" if r["verdict"] == "survived" and equivalent.reason(r) else r["verdict"] for r in done)
    print(f"{len(done)} of {len(mutants)} mutants: killed by the compiler {verdicts['compile']}, "
          f"by the quick tests {verdicts['quick']}, by all tests {verdicts['full']}, by time {verdicts['timeout']}; "
          f"argued equivalent {verdicts['argued']}, survived {verdicts['survived']}, "
          f"of the quick tests only {verdicts['waiting']}")
    return 1 if verdicts["survived"] or verdicts["waiting"] or len(done) < len(mutants) else 0


if __name__ == "__main__":
    sys.exit(main())
