#!/usr/bin/env python3
"""Changes the library in small ways, one at a time, and runs the tests against each: what no test minds is a survivor.

  mutants.py [--count N] [--seed S] [--jobs N] [--seconds N] [--again] [--list] [--only FILE[:LINE]]

Changes are drawn from serial/, api/ and runtime/ in proportion to the files' sizes, until N of them compile; the same seed
draws the same ones of a file as long as the file is the same. Each goes through two stages:

  quick   the smallest package alone is changed; few test programs run, and take few random inputs
  full    what survived that: all three packages are changed; every program runs; of changes in serial/, with 300,000
          random inputs a byte order

A changed object takes the place of the one it is of, and brings its own inline functions: those of the tests, and of packages
that are not changed, stay as they are. So what fails, fails by the change alone.

Before all that the control: the library as it is, compiled and linked the same way, has to pass every program of both stages,
or nothing is judged. It gives each program its limit as well: ten times the processor time that the control took, and ten
seconds at the least. Busy machines do not make a program slow in that sense; one that waits for ever does no work at all for
half a minute.

Killed: a test fails, the process ends by a signal, or takes past its limit. What does not compile is not counted. A change of
which the compiler makes the same objects, of all packages, is equivalent without a test.
Survivors are printed with their place and change, unless equivalent.txt argues that nobody can tell. Results are kept in
build/mutants/results.jsonl by file content and change, and are not made anew; those of survivors are, when the tests have
changed, or with --again. Exit 1: an unargued survivor, an argument that nothing needs,
or too few mutants. Exit 2: the control failed.

The test programs are those of a build directory of their own, build/mutants/base: ./dev mutants builds it.
"""
import argparse
import hashlib
import json
import os
import random
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
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
CONTROL = BUILD / "control.json"
EQUIVALENT = Path(__file__).parent / "equivalent.txt"
ROOMS = ("serial", "api", "runtime")
PACKAGES = ("srv6_cfg", "srv6", "srv6_sync")
# What the quick stage compiles: the smallest package, or for a file of which that has too little, the next.
QUICK_PACKAGE = {"serial/sparse.h": "srv6_sync"}
QUICK_RUNS = "20000"
FULL_RUNS = "300000"  # of changes in serial/
QUICK_FILTER = "--gtest_filter=-measuring.elements_up_to_32_bits:truncation.packed"  # they take long

# The quick stage's programs, then the others of the full stage; those that kill most come first. All are linked with the
# library's objects but SHARED, which load the shared library.
RUNTIME = ["runtime_binding", "runtime_binding_use", "runtime_log_call", "runtime_services_matrix"]
FAULTS = ["faults_memory", "faults_log", "faults_misaligned", "faults_bus", "faults_registration"]
SHARED = ["api_send_all", "api_send_fixed", "api_send_variable", "api_pack_arguments", "api_release", "api_registration",
          "api_every_export", "api_no_services", "api_no_services_at_all", "api_send_overflow", "codec_shared_test"]
PROGRAMS = {
    "serial": (["codec_test"], ["golden_test"] + FAULTS + ["api_unpack_arguments"] + SHARED + RUNTIME),
    "api": (["api_unpack_arguments", "faults_memory", "api_send_all", "api_pack_arguments", "codec_test"],
            ["golden_test"] + FAULTS[1:] + SHARED + RUNTIME),
    # Threads that wait for one another take long on a busy machine, so those come last.
    "runtime": (RUNTIME, ["golden_test"] + FAULTS + ["api_unpack_arguments"] + SHARED + ["codec_test", "runtime_first_calls"]),
}

LEAST_LIMIT = 10  # seconds of processor time
LIMIT = 10  # times what the control took
IDLE_SECONDS = 30  # of a program all of whose threads wait, and for nothing that comes

COMPILE = ["g++", "-std=c++20", "-fPIC", "-O1", "-w", "-DNDEBUG", "-fno-exceptions", "-fno-rtti",
           "-fno-threadsafe-statics", "-fvisibility=hidden"] + (["-march=x86-64-v2"] if os.uname().machine == "x86_64" else [])
# Inline functions and templates of the object's own, where others have theirs.
PACKAGE = ["-fno-weak"]


def digest(*parts):
    return hashlib.sha1("\0".join(parts).encode()).hexdigest()


class Mutant:
    def __init__(self, path, text, change):
        self.path, self.change = path, change
        self.text = text[:change.at] + change.text + text[change.end:]
        self.line = text.count("\n", 0, change.at) + 1
        # The lines that change, from where on they are like no others of the file.
        was = [line.strip() for line in text.split("\n")]
        first, last = self.line - 1, text.count("\n", 0, change.end)
        flat = " ".join(was)
        while first > 0 and flat.count(" ".join(was[first:last + 1])) > 1:
            first -= 1
        now = [line.strip() for line in self.text.split("\n")]
        self.was = " ".join(was[first:last + 1])
        self.now = " ".join(now[first:last + 1 + len(now) - len(was)])
        self.id = digest(path, text, str(change.at), str(change.end), change.text)[:16]

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

    def report(self, results):
        """How many entries argue for nothing: their line is not in its file any more, or a test kills the change."""
        stale = []
        verdicts = {(r["file"], r["was"], r["now"]): r for r in results}
        for (f, was, now) in self.reasons:
            path = ROOT / f
            flat = " ".join(path.read_text().split()) if path.exists() else ""
            if " ".join(was.split()) not in flat:
                stale.append(f"no such line in {f} any more: {was}")
            r = verdicts.get((f, was, now))
            if r and r["verdict"] in ("quick", "full", "timeout"):
                stale.append(f"killed by {r['detail']}: {f}: {now}")
            if r and r["verdict"] in ("same", "compile"):
                stale.append(f"not needed, {r['verdict']}: {f}: {now}")
        for entry in stale:
            print("tests/mutants/equivalent.txt: take this entry out:", entry)
        return len(stale)


def threads_of(pid):
    """For each thread of a process: whether it waits; and the processor time of all, in seconds."""
    waits, ticks = [], 0
    for stat in Path(f"/proc/{pid}/task").glob("*/stat"):
        try:
            fields = stat.read_text().rsplit(")", 1)[1].split()
        except OSError:
            continue
        waits.append(fields[0] == "S")
        ticks += int(fields[11]) + int(fields[12])
    return waits, ticks / os.sysconf("SC_CLK_TCK")


def run(command, limit, **more):
    """0, a failure's code, or None: it took too long. What it said, and the processor time that it took."""
    def no_core():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    with tempfile.TemporaryFile() as said:
        process = subprocess.Popen(command, stdout=said, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                   start_new_session=True, preexec_fn=no_core, **more)
        used, worked, code = 0.0, time.monotonic(), 0
        while True:
            # Not reaped yet, so that /proc still tells the time.
            if os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT):
                used = max(used, threads_of(process.pid)[1])
                code = process.wait()
                break
            waits, now_used = threads_of(process.pid)
            if now_used > used or not all(waits):
                worked = time.monotonic()
            used = max(used, now_used)
            if used > limit or time.monotonic() - worked > IDLE_SECONDS:
                code = None
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
                break
            time.sleep(0.02)
        said.seek(max(0, said.seek(0, os.SEEK_END) - 200000))
        return code, said.read().decode(errors="replace"), used


def make(command, **more):
    """Whether a compiler or a linker does it. These are not what is tested, and end."""
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                          check=False, **more).returncode == 0


def link_command(target, cache={}):
    """How the base links a program, without what cmake does after."""
    if target not in cache:
        last = subprocess.run(["ninja", "-C", str(BASE), "-t", "commands", target], capture_output=True, text=True,
                              check=True).stdout.strip().split("\n")[-1]
        cache[target] = shlex.split(re.sub(r"^: && | && .*$", "", last))
    return cache[target]


def program_path(name):
    return next(BASE.glob(f"tests/*/{name}"))


class Worker:
    def __init__(self, number, limits, unchanged=None):
        self.unchanged = unchanged  # objects of the library as it is, by name
        self.at = BUILD / f"worker{os.getpid()}.{number}"
        self.limits = limits  # of the control: None while that runs
        self.took = {}
        shutil.rmtree(self.at, ignore_errors=True)
        self.at.mkdir(parents=True)
        for room in ROOMS:
            shutil.copytree(ROOT / room, self.at / room)

    def judge(self, mutant, stage):
        """(verdict, detail). Verdicts: compile, same, quick, full, timeout; of the quick stage waiting, of the full, survived."""
        source = self.at / mutant.path
        source.write_text(mutant.text)
        try:
            return self.stage(mutant.path, stage) or ("waiting" if stage == "quick" else "survived", "")
        finally:
            shutil.copy(ROOT / mutant.path, source)

    def compile_to(self, name, source, *more):
        out = self.at / f"{name}.o"
        return make(COMPILE + [f"-I{self.at}", f"-I{ROOT}", *more, "-c", str(source), "-o", str(out)]) and out

    def objects_of(self, path, stage):
        """The base's objects that a change of the file concerns, with their stand-ins; None: they do not compile."""
        objects = {}
        if not path.endswith(".cpp"):
            quick = QUICK_PACKAGE.get(path, PACKAGES[0])
            for package in PACKAGES if stage == "full" else [quick]:
                objects[f"CMakeFiles/vorl_objects.dir/idl/{package}/{package}.cpp.o"] = self.compile_to(
                    package, ROOT / f"idl/{package}/{package}.cpp", f"-I{ROOT}/idl/{package}", *PACKAGE)
                if not all(objects.values()):
                    return None
            if stage == "full":
                golden = BASE / "tests/idlc/golden"
                objects["tests/idlc/CMakeFiles/golden_objects.dir/golden/srv6.cpp.o"] = self.compile_to(
                    "golden", golden / "srv6.cpp", f"-I{golden}", *PACKAGE)
                if not all(objects.values()):
                    return None
        if path.startswith("runtime/") and not path.endswith("bus.h"):
            for name, base, more in (
                    ("runtime", "CMakeFiles/vorl_runtime.dir/runtime/serial_ctx.cpp.o", []),
                    ("test_runtime", "tests/CMakeFiles/test_runtime.dir/__/runtime/serial_ctx.cpp.o",
                     ["-Ddlsym=vorl_test_dlsym"])):
                objects[base] = self.compile_to(name, self.at / "runtime/serial_ctx.cpp", *more)
                if not all(objects.values()):
                    return None
        return objects

    def stage(self, path, stage):
        objects = self.objects_of(path, stage)
        if objects is None:
            return "compile", ""
        if self.unchanged and all(self.unchanged[o.name] == contents(o) for o in objects.values()):
            return "waiting" if stage == "quick" else "same", ""
        room = path.split("/")[0]
        environment = dict(os.environ, LD_LIBRARY_PATH=str(self.at), VORL_DIFFERENTIAL_RUNS=QUICK_RUNS)
        if stage == "full" and room == "serial":
            environment["VORL_DIFFERENTIAL_RUNS"] = FULL_RUNS

        quick, rest = PROGRAMS[room]
        library = None
        for name in quick if stage == "quick" else quick + rest:
            if name in SHARED:
                library = library or self.link("libvorl_srv6.so.1.0.0", objects)
                program = library and program_path(name)
                if library:
                    shutil.copy(library, self.at / "libvorl_srv6.so.1")
            else:
                program = self.link(name, objects)
            if not program:
                return "compile", "does not link"
            command = [str(program), "--gtest_break_on_failure"] + ([QUICK_FILTER] if stage == "quick" else [])
            key = f"{room} {stage} {name}"
            limit = max(LEAST_LIMIT, LIMIT * self.limits[key]) if self.limits else 600
            code, said, used = run(command, limit, env=environment, cwd=self.at)
            self.took[key] = max(used, self.took.get(key, 0))
            if code != 0:
                tests = re.findall(r"\[ RUN      \] ([\w./]+)", said)
                place = re.findall(r"(\w+\.\w+:\d+): Failure", said)
                detail = f"{name}.{tests[-1] if tests else '?'} {place[-1] if place else f'ended by {code}'}"
                return "timeout" if code is None else stage, detail
        return None

    def link(self, target, objects):
        """As the base is linked, with the stand-ins where the base's objects are."""
        out = self.at / "linked" / target
        out.parent.mkdir(exist_ok=True)
        command = [str(objects.get(a, a)) for a in link_command(target)]
        command[command.index("-o") + 1] = str(out)
        command[1:1] = ["-fuse-ld=lld", "-Wl,-S"]
        return make(command, cwd=BASE) and out


def contents(path):
    return hashlib.sha1(path.read_bytes()).hexdigest()


def unchanged_objects():
    """Those that any change concerns, by name."""
    worker = Worker("unchanged", None)
    found = {o.name: contents(o) for o in worker.objects_of("runtime/serial_ctx.h", "full").values()}
    shutil.rmtree(worker.at)
    return found


def control(tests, jobs):
    """The processor time of every program of every stage, under the library as it is. Exits when one fails."""
    sources = [str(p) + p.read_text() for room in ROOMS for p in sorted((ROOT / room).iterdir())]
    sources += [p.read_text() for package in PACKAGES for p in sorted((ROOT / "idl" / package).glob("*.*"))]
    key = digest(tests, repr((COMPILE, PACKAGE, QUICK_PACKAGE, QUICK_RUNS, FULL_RUNS, QUICK_FILTER, PROGRAMS)), *sources)
    kept = json.loads(CONTROL.read_text()) if CONTROL.exists() else {}
    if kept.get("key") == key:
        return kept["took"]
    print("control: the library as it is", flush=True)
    # A file for each set of objects that stands in.
    todo = [(path, stage) for path in ("serial/wire.h", *QUICK_PACKAGE, "api/send.h", "runtime/serial_ctx.h")
            for stage in ("full", "quick") if stage == "quick" or path not in QUICK_PACKAGE]
    took, failed, guard = {}, [], threading.Lock()

    def work(number):
        worker = Worker(f"control{number}", None)
        while True:
            with guard:
                if not todo:
                    break
                path, stage = todo.pop(0)
            verdict = worker.stage(path, stage)
            with guard:
                if verdict:
                    failed.append(f"{path}, {stage}: {' '.join(verdict)}")
                for k, seconds in worker.took.items():
                    took[k] = max(seconds, took.get(k, 0))
        shutil.rmtree(worker.at, ignore_errors=True)

    in_threads(work, jobs)
    if failed:
        print("control: the library as it is does not pass, so nothing can be said of changes to it:\n  " +
              "\n  ".join(failed), file=sys.stderr)
        sys.exit(2)
    CONTROL.write_text(json.dumps({"key": key, "took": took}))
    return took


def in_threads(work, jobs):
    threads = [threading.Thread(target=work, args=(n,)) for n in range(jobs)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()


def tests_digest():
    """Of the test programs as they are built, without the library."""
    names = {n for quick, rest in PROGRAMS.values() for n in quick + rest}
    files = sorted({a for n in names for a in link_command(str(program_path(n).relative_to(BASE)))
                    if re.fullmatch(r"tests/(?!.*(test_runtime|golden_objects)\.dir).*\.o", a)})
    return digest(*(f"{f} {hashlib.sha1((BASE / f).read_bytes()).hexdigest()}" for f in files))


def main():
    options = argparse.ArgumentParser(description="mutation tests of serial/, api/ and runtime/")
    options.add_argument("--count", type=int, default=300, help="how many have to compile")
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--jobs", type=int, default=os.cpu_count())
    options.add_argument("--seconds", type=int, help="stop after so long; the next call goes on")
    options.add_argument("--again", action="store_true", help="survivors once more, those that are argued for as well")
    options.add_argument("--list", action="store_true", help="say what would be done")
    options.add_argument("--only", help="of this file, or FILE:LINE")
    asked = options.parse_args()

    equivalent = Equivalent()
    drawn = asked.count * 6 // 5
    mutants = draw(drawn, asked.seed, asked.only)
    if asked.list:
        print("\n".join(m.show() for m in mutants))
        print(len(mutants), "mutants", dict(Counter(m.change.rule for m in mutants)))
        return 0
    BUILD.mkdir(parents=True, exist_ok=True)
    tests = tests_digest()
    limits = control(tests, asked.jobs)
    results = {}
    if RESULTS.exists():
        for r in map(json.loads, RESULTS.read_text().splitlines()):
            results[r["id"]] = r
    # What is killed stays killed. What survived other tests has not seen these; where nobody can tell, they cannot.
    for m in draw(10 ** 6, asked.seed, asked.only):
        if m.id in results:
            r = results[m.id]
            r.update(line=m.line, was=m.was, now=m.now)
            if r["verdict"] == "survived" and (asked.again or r["tests"] != tests and not equivalent.reason(r)):
                r["verdict"] = "waiting"
    unchanged = unchanged_objects()
    began, guard = time.monotonic(), threading.Lock()

    def out_of_time():
        return asked.seconds and time.monotonic() - began > asked.seconds

    def count_of(verdict):
        return sum(m.id in results and results[m.id]["verdict"] == verdict for m in mutants)

    def run_stage(stage):
        todo = [m for m in mutants if (results[m.id]["verdict"] == "waiting" if m.id in results else stage == "quick")
                and (stage == "full" or m.id not in results)]
        if stage == "full":
            todo.sort(key=lambda m: m.path)

        def work(number):
            worker = Worker(number, limits, unchanged)
            while True:
                with guard:
                    if out_of_time() or not todo:
                        break
                    mutant = todo.pop(0)
                    left = len(todo)
                start = time.monotonic()
                verdict, detail = worker.judge(mutant, stage)
                r = {"id": mutant.id, "file": mutant.path, "line": mutant.line, "rule": mutant.change.rule,
                     "was": mutant.was, "now": mutant.now, "verdict": verdict, "detail": detail,
                     "seconds": round(time.monotonic() - start, 1), "tests": tests}
                with guard:
                    results[mutant.id] = r
                    with open(RESULTS, "a") as out:
                        out.write(json.dumps(r) + "\n")
                    print(f"{stage}, {left} left: {verdict:8} {r['seconds']:6} s {mutant.path}:{mutant.line} {detail}",
                          flush=True)
            shutil.rmtree(worker.at, ignore_errors=True)

        in_threads(work, asked.jobs)

    def missing():
        """Of the mutants asked for, how many are still to be drawn, for those that do not compile."""
        return 0 if asked.only else asked.count - (len(mutants) - count_of("compile"))

    while True:
        run_stage("quick")
        if missing() <= 0:
            run_stage("full")  # in which more of the library is compiled
        if missing() <= 0 or out_of_time():
            break
        drawn += max(10, missing() * 5 // 4)
        more = draw(drawn, asked.seed, asked.only)
        if len(more) == len(mutants):
            break  # these are all that there are
        mutants = more

    done = [results[m.id] for m in mutants if m.id in results]
    for m in mutants:
        if m.id in results and results[m.id]["verdict"] == "survived" and not equivalent.reason(results[m.id]):
            print("SURVIVED", m.show())
    stale = equivalent.report(done)
    verdicts = Counter("argued" if r["verdict"] == "survived" and equivalent.reason(r) else r["verdict"] for r in done)
    judged = len(done) - verdicts["compile"] - verdicts["waiting"]
    print(f"{len(mutants)} mutants made, {verdicts['compile']} of them do not compile; of the {judged} judged "
          f"killed by the quick tests {verdicts['quick']}, by all tests {verdicts['full']}, by time {verdicts['timeout']}; "
          f"the same to the compiler {verdicts['same']}, argued equivalent {verdicts['argued']}, survived {verdicts['survived']}")
    if len(done) < len(mutants) or verdicts["waiting"]:
        print(f"{len(mutants) - len(done)} not begun; {verdicts['waiting']} passed the quick tests and wait for the full ones. "
              "Call again to go on.")
        return 1
    if verdicts["survived"]:
        print("A survivor: write the test that fails for it. Where there can be none, put its file, its - line, its + line and the "
              "reason into tests/mutants/equivalent.txt, a paragraph as the others. Then call again.")
    if judged < asked.count and not asked.only:
        print(f"There are not {asked.count} changes that compile: ask for fewer by --count.")
        return 1
    return 1 if verdicts["survived"] or stale else 0


if __name__ == "__main__":
    sys.exit(main())
