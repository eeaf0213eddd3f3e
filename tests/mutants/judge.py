"""What becomes of one change: it is compiled as what ships, linked into the test programs, run, and counted.

A Worker has a copy of the rooms to change, beside links to the rest of the tree, and compiles by the commands of the base
build with the copy in the place of the original. What is judged:

  alone       The cheapest package, then the next, is compiled with the change, together with the codec's own sources, and
              made one object that shows nothing but what the library exports. That takes the package's place; the other
              packages and the tests keep the library as it was. A test that fails here fails by what an exported function
              does, and most changes go no further. Not for changes that the runtime's state has a part in: there is one.
  whole       Every object that includes the changed file is compiled anew, the tests' as well, and everything is linked as
              the base is. First the quick programs, whole, then each test of each program in a process of its own, as ctest
              runs it, with more random inputs.
  instructions  What no test minds is linked as the shared library, and the paths of tests/instructions are counted.
"""
import hashlib
import os
import re
import resource
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from collections import Counter
from pathlib import Path

from build import DRIVER, ROOMS, ROOT

LINK_SECONDS = 0.3  # of a program, about
QUICK_SECONDS = 3  # what the programs of a first look take together
QUICK_TEST_SECONDS = 0.25  # a test that takes longer is left to the second
QUICK_RUNS, FULL_RUNS = "20000", "300000"  # random inputs of each differential test
LEAST_LIMIT = 10  # seconds of processor time
LIMIT = 10  # times what the control took
IDLE_SECONDS = 30  # of a program all of whose threads wait, and for nothing that comes
MEMORY = 8 << 30  # bytes of addresses that a test may take
SLOWER = 1.01  # times the instructions that the unchanged library takes

# What ships, without what is not judged, debug information and warnings, and without symbols that cannot be made an object's own.
MORE_OPTIONS = ["-g0", "-w", "-fno-gnu-unique"]
TEST_OPTIONS = ["-O1"]  # in tests, which do not ship
SETTINGS = (MORE_OPTIONS, TEST_OPTIONS, QUICK_SECONDS, QUICK_TEST_SECONDS, QUICK_RUNS, FULL_RUNS)


class NotBuilt(Exception):
    """A compiler or a linker refuses: target."""


def digest_of(path):
    return hashlib.sha1(path.read_bytes()).hexdigest()


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
    ended = run_once(command, limit, **more)
    from_outside = ended[0] in (-signal.SIGKILL, -signal.SIGTERM)
    return run_once(command, limit, **more) if from_outside else ended


def run_once(command, limit, **more):
    with tempfile.TemporaryFile() as said:
        process = subprocess.Popen(command, stdout=said, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                   start_new_session=True, **more)
        try:
            resource.prlimit(process.pid, resource.RLIMIT_AS, (MEMORY, MEMORY))
        except ProcessLookupError:
            pass
        used, worked, code, pause = 0.0, time.monotonic(), 0, 0.001
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
            time.sleep(pause)
            pause = min(2 * pause, 0.05)
        said.seek(max(0, said.seek(0, os.SEEK_END) - 200000))
        return code, said.read().decode(errors="replace"), used


def make(command, **more):
    """Whether a compiler or a linker does it. These are not what is tested, and end."""
    for _ in range(2):
        made = subprocess.run(command, capture_output=True, stdin=subprocess.DEVNULL, text=True, errors="replace",
                              check=False, **more)
        if made.returncode == 0:
            return True
        # Ended from outside, without a word on what is wrong with its input: once more.
        if re.search(r"\berror: (?!.*\b(Killed|Terminated)\b)|undefined|multiple definition", made.stderr):
            break
    return False


def end_of(program, code, said):
    """How a test ended that did not pass: the verdict, and where."""
    tests = re.findall(r"\[ RUN      \] ([\w./]+)", said)
    place = re.findall(r"(\w+\.\w+:\d+): Failure", said)
    verdict = "timeout" if code is None else "test" if place or code > 0 else "crash"
    return verdict, f"{program.name} {tests[-1] if tests else '?'} {place[-1] if place else f'ended by {code}'}"


class Order:
    """Of programs: first those that kill most in their time, by what they have killed so far."""

    def __init__(self, took, results):
        self.seconds = took
        self.kills = Counter()
        for r in results:
            self.learn(r)

    def took(self, test):
        return self.seconds.get(test, 0)

    def learn(self, result):
        if result["verdict"] in ("test", "crash", "timeout"):
            program = result["detail"].split(" ")[0]
            self.kills[program] += 1
            # Changes of one folder are minded by the same tests.
            self.kills[os.path.dirname(result["file"]), program] += 4

    def sorted(self, programs, folder, seconds):
        def worth(program):
            kills = 1 + self.kills[program.name] + self.kills[folder, program.name]
            return kills / (seconds(program) + LINK_SECONDS)

        return sorted(programs, key=worth, reverse=True)


class Linked:
    """What the base links, with some of its objects replaced. What none of them concerns is the base's own."""

    def __init__(self, worker, name, objects):
        """objects: those that are replaced, by what; None: by what the change makes of them, compiled when it is asked for."""
        self.worker, self.build, self.objects = worker, worker.build, objects
        self.at = worker.at / name
        self.made = {}
        shutil.rmtree(self.at, ignore_errors=True)
        (self.at / "lib").mkdir(parents=True)

    def still_to_compile(self, target):
        """Seconds, about, that go before the target is linked."""
        return sum(self.build.cost(o) for o in self.build.made_from(target)
                   if o in self.objects and self.objects[o] is None and o not in self.worker.compiled)

    def path_of(self, target):
        """Where the target is with the replacements, or None: they do not concern it."""
        if target in self.build.compile:
            if target not in self.objects:
                return None
            return str(self.objects[target] or self.worker.compiled_object(target))
        if target not in self.made:
            self.made[target] = self.link(target)
        return self.made[target]

    def link(self, target):
        inputs = {i: self.path_of(i) for i in self.build.inputs(target)}
        changed = [i for i, path in inputs.items() if path is not None]
        is_library = re.search(r"\.(a|so[.\d]*)$", target)
        if not is_library and all(".so" in i for i in changed):
            return str(self.build.at / target) if changed else None  # the program as it is, which finds the other library
        if not changed:
            return None
        out = self.at / ("lib" if is_library else "bin") / Path(target).name
        out.parent.mkdir(exist_ok=True)
        command = []
        for a in self.build.links[target]:
            i = os.path.relpath(a, self.build.at) if a.startswith("/") else a
            command.append(str(out) if i == target else inputs.get(i) or a)
        # Of several that one object stands for, the first.
        command = [a for n, a in enumerate(command) if a not in self.objects.values() or a not in command[:n]]
        if not is_library:
            command[1:1] = ["-fuse-ld=lld", "-Wl,-S"]
        if not make(command, cwd=self.build.at):
            raise NotBuilt(target)
        for a in command:
            if a.startswith("-Wl,-soname,"):
                shutil.copy(out, out.with_name(a.removeprefix("-Wl,-soname,")))
        return str(out)


class Worker:
    def __init__(self, build, name, control, order):
        self.build, self.control, self.order = build, control, order
        self.at = build.at.parent / f"worker{os.getpid()}.{name:>02}"
        self.source = self.at / "source"
        self.took, self.times = {}, {}  # what a control is made from: processor time, and what programs said of their tests
        shutil.rmtree(self.at, ignore_errors=True)
        self.source.mkdir(parents=True)
        for p in ROOT.iterdir():
            if p.name in ROOMS:
                shutil.copytree(p, self.source / p.name)
            elif p.name != "build":
                (self.source / p.name).symlink_to(p)
        self.compiled = {}

    def close(self):
        shutil.rmtree(self.at, ignore_errors=True)

    def compiled_object(self, target):
        """An object of the copy."""
        if target not in self.compiled:
            out = self.at / "objects" / target
            out.parent.mkdir(parents=True, exist_ok=True)
            in_tree = re.compile(re.escape(str(ROOT)) + r"(?=/|$)(?!/build/)")
            command = [in_tree.sub(str(self.source), a) for a in self.build.compile[target]]
            command += TEST_OPTIONS if self.build.sources[target].startswith("tests/") else []
            command += MORE_OPTIONS + [f"-ffile-prefix-map={self.source}={ROOT}", "-MMD", "-MF", f"{out}.d", "-o", str(out)]
            self.compiled[target] = str(out) if make(command, cwd=self.build.at) else None
        if self.compiled[target] is None:
            raise NotBuilt(target)
        return self.compiled[target]

    def alone(self, packages, others):
        """These packages replaced by one object that holds them and the others, and shows what the library exports only."""
        name = f"alone{len(packages)}"
        exported, out = self.at / "exported", self.at / f"{name}.o"
        exported.write_text(subprocess.run(["nm", "-D", "--defined-only", "--format=just-symbols", self.build.library],
                                           cwd=self.build.at, capture_output=True, text=True, check=True).stdout)
        objects = [self.compiled_object(o) for o in packages + others]
        if not make(["ld", "-r", "--force-group-allocation", "-o", str(out), *objects]) or \
                not make(["objcopy", f"--keep-global-symbols={exported}", str(out)]):
            raise NotBuilt(out.name)
        return Linked(self, name, {o: str(out) for o in packages})

    def try_out(self, linked, program, test, command, runs):
        """How a program, or a test of it, fails: (verdict, detail), or None. And what it said."""
        command = [linked.path_of(program.path), "--gtest_break_on_failure", *command]
        environment = dict(os.environ, **program.environment, VORL_DIFFERENTIAL_RUNS=runs,
                           LD_LIBRARY_PATH=f"{linked.at / 'lib'}:{self.build.at}") # where the bus is
        limit = max(LEAST_LIMIT, LIMIT * self.control["took"][test]) if self.control else 600
        code, said, used = run(command, limit, env=environment, cwd=self.at)
        self.took[test] = max(used, self.took.get(test, 0))
        return (end_of(program, code, said) if code != 0 else None), said

    def first_look(self, linked, folder):
        """How one of the quick programs fails, or None. Each runs whole, but for the tests that take long."""
        def seconds(program):
            return self.order.took(f"quick {program.name}") + linked.still_to_compile(program.path)

        slow = self.control["slow"] if self.control else {}
        left = QUICK_SECONDS
        for program in self.order.sorted(self.build.programs, folder, seconds):
            cost = seconds(program) + LINK_SECONDS
            if self.control and cost > left or linked.path_of(program.path) is None:
                continue
            if len(slow.get(program.name, ())) == len(program.tests):
                continue
            left -= cost
            filters = ["--gtest_filter=-" + ":".join(slow[program.name])] if program.name in slow else []
            failed, said = self.try_out(linked, program, f"first {program.name}", filters, QUICK_RUNS)
            if failed:
                return failed
            self.times[program.name] = said
        return None

    def second_look(self, linked, folder):
        """How one of all tests fails, or None. Each runs in a process of its own."""
        def seconds(program):
            return sum(self.order.took(f"second {t}") for t in program.tests) + linked.still_to_compile(program.path)

        for program in self.order.sorted(self.build.programs, folder, seconds):
            if linked.path_of(program.path) is None:
                continue
            for test in sorted(program.tests, key=lambda t: self.order.took(f"second {t}")):
                failed, _ = self.try_out(linked, program, f"second {test}", program.tests[test], FULL_RUNS)
                if failed:
                    return failed
        return None

    def judge(self, mutant):
        """(verdict, detail): compile, same, test, crash, timeout, slower, survived."""
        copy = self.source / mutant.path
        copy.write_text(mutant.text)
        self.compiled = {}
        try:
            return self.verdict_of(mutant)
        finally:
            shutil.copy(ROOT / mutant.path, copy)

    def verdict_of(self, mutant):
        build, folder = self.build, os.path.dirname(mutant.path)
        including = build.including(mutant.path)
        try:
            changed = self.library_looked_at(including, folder)
        except NotBuilt as refused:
            return "compile", str(refused)
        if isinstance(changed, tuple):
            return changed  # failed alone
        if not changed:
            return "same", ""
        whole = Linked(self, "whole", dict.fromkeys(including))
        try:
            whole.path_of(build.library)
        except NotBuilt:
            return "compile", "the library does not link"
        try:
            failed = self.first_look(whole, folder) or self.second_look(whole, folder)
        except NotBuilt as refused:
            # The library is there: it is a test that the change leaves without something, or that asserts otherwise.
            return "test", f"{refused} ? does not compile or link"
        if failed:
            return failed
        slower = self.more_instructions(whole)
        return ("slower", slower) if slower else ("survived", "")

    def library_looked_at(self, including, folder):
        """Compiles the library, the cheapest package first, with a look at what there is between one and the next. Returns how
        that failed, or the objects that the change makes others of. What does not link here, where all else is as it was,
        does not link at all."""
        others = [o for o in self.build.library_objects if o in including and o not in self.build.packages]
        packages = [o for o in self.build.packages if o in including]
        changed = [o for o in others if not self.is_unchanged(o)]
        # The runtime's state is one: packages of their own cannot have another.
        can_be_alone = not any(self.build.sources[o].startswith("runtime/") for o in others)
        for n, package in enumerate(packages, 1):
            if self.is_unchanged(package):
                continue
            changed.append(package)
            if can_be_alone and n < len(packages):
                failed = self.first_look(self.alone(packages[:n], others), folder)
                if failed:
                    return failed
        return changed

    def is_unchanged(self, target):
        return self.control["objects"][target] == digest_of(Path(self.compiled_object(target)))

    # Instructions.

    def instructions(self, library):
        """For each path of the driver, instructions a call with this library; None: it fails."""
        # Paths of one length in every worker: the driver's memory, and so the copies of libc, would be aligned otherwise.
        counted = self.at / "counted"
        shutil.rmtree(counted, ignore_errors=True)
        counted.mkdir()
        soname = next(a for a in self.build.links[self.build.library] if a.startswith("-Wl,-soname,")).split(",")[-1]
        shutil.copy(self.build.at / library, counted / soname)
        made = subprocess.run([ROOT / "tests/instructions/count_callgrind.sh", self.build.at / DRIVER],
                              env=dict(os.environ, LD_LIBRARY_PATH=f"{counted}:{self.build.at}"), stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False)
        return {path: float(n) for path, n in map(str.split, made.stdout.splitlines())} if made.returncode == 0 else None

    def more_instructions(self, linked):
        """What the counted paths say against the change, or None."""
        counts = self.instructions(linked.path_of(self.build.library))
        if counts is None:
            return "instructions_driver ? does not run"
        grown = {p: n / self.control["instructions"][p] for p, n in counts.items()}
        path = max(grown, key=grown.get)
        if grown[path] <= SLOWER:
            return None
        return f"instructions_driver {path} {self.control['instructions'][path]} to {counts[path]} ({grown[path] - 1:+.1%})"


class ControlFailed(Exception):
    """What failed."""


def slow_tests(said, used):
    """Of a program that took so much processor time, the tests that a first look leaves out, and the time of the others."""
    took = {t: int(ms) for t, ms in re.findall(r"\[       OK \] (\S+?)(?:,.*)? \((\d+) ms\)", said)}
    # Times of the wall, which a busy machine makes longer: a share of them is a share of the processor time.
    total = max(1, sum(took.values()))
    slow = [t for t, ms in took.items() if ms * used > QUICK_TEST_SECONDS * total]
    return slow, used * (1 - sum(took[t] for t in slow) / total)


def in_threads(work, jobs):
    threads = [threading.Thread(target=work, args=(n,)) for n in range(jobs)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()


def take_control(build):
    """The library as it is, through all that a change goes through: what its objects are, and the processor time of each
    program and test. Raises ControlFailed when one of them fails."""
    order = Order({}, [])
    workers = [Worker(build, f"c{n}", None, order) for n in range(2)]
    failed = []

    def check(worker, step, work):
        try:
            result = work()
        except NotBuilt as refused:
            result = ("compile", str(refused))
        except Exception as error:  # of a thread: told below
            result = ("error", repr(error))
        if result:
            failed.append(f"{step}: {' '.join(result)}")

    def whole(worker):
        # What is made from the rooms; what tests make of their headers is the base's own.
        product = [o for o, files in build.includes.items()
                   if files and not build.sources[o].startswith(("tests/", "bench/", "platform/", "catalogue/"))]
        linked = Linked(worker, "whole", dict.fromkeys(product))
        check(worker, "whole, first look", lambda: worker.first_look(linked, ""))
        check(worker, "whole, second look", lambda: worker.second_look(linked, ""))

        def same_instructions():
            base = worker.instructions(build.library)
            again = worker.instructions(linked.path_of(build.library))
            if base is None or base != again:
                differing = [p for p in base or {} if base[p] != again[p]] if again else ["the driver does not run"]
                return "instructions", f"the library compiled anew takes others than the base's: {' '.join(differing)}"
            return None

        def only_the_copy():
            for d in (worker.at / "objects").rglob("*.d"):
                for name in d.read_text().replace("\\\n", " ").split()[1:]:
                    path = (build.at / name).resolve()
                    if path.is_relative_to(ROOT) and path.relative_to(ROOT).parts[0] in ROOMS:
                        return "copy", f"{d} includes {path}, which is not the copy"
            return None

        check(worker, "whole", same_instructions)
        check(worker, "whole", only_the_copy)

    def apart(worker):
        others = [o for o in build.library_objects if o not in build.packages and
                  not build.sources[o].startswith("runtime/")]
        for n in range(1, len(build.packages)):
            check(worker, f"alone, {n}", lambda: worker.first_look(worker.alone(build.packages[:n], others), ""))

    in_threads(lambda n: (whole, apart)[n](workers[n]), 2)
    try:
        if failed:
            raise ControlFailed("\n  ".join(failed))
        took = Counter()
        for worker in workers:
            for test, seconds in worker.took.items():
                took[test] = max(took[test], seconds)
        slow = {}
        for name, said in workers[0].times.items():
            tests, took[f"quick {name}"] = slow_tests(said, took[f"first {name}"])
            if tests:
                slow[name] = tests
        return {"took": took, "slow": slow,
                "objects": {o: digest_of(Path(workers[0].compiled_object(o))) for o in build.library_objects}}
    finally:
        for worker in workers:
            worker.close()
