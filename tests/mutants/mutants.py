#!/usr/bin/env python3
"""Changes the library in small ways, one at a time, and runs the tests against each: what no test minds is a survivor.

  mutants.py [--count N] [--seed S] [--jobs N] [--seconds N] [--most PERCENT] [--again] [--list] [--only FILE[:LINE]] [--argued]

Changes are drawn from the files of serial/, api/ and runtime/, however deep, in proportion to their code, until N of them
compile (changes.py has the rules, judge.py what each goes through). The seed is the time of day in seconds and is printed
first; --seed S goes on with that run, or repeats it: the same seed draws the same changes of the same tree. --only and
--argued take another choice: every change of a file or line, and those that equivalent.txt argues for.

A change is
  killed         by a test that fails, by a crash, or by time: past ten times the processor time that the unchanged library
                 takes, and ten seconds at the least, or half a minute of all threads waiting
  same           the compiler makes the same code of it
  slower         no test minds, but a path of tests/instructions takes over 1% more instructions than with the unchanged
                 library, both counted in the same session. That is a kill, too
  argued         none of these, and equivalent.txt argues that nobody can tell
  a survivor     the rest

A run notes equivalent.txt as it stands when its seed is drawn (its git blob, in the summary). An argument that came later does
not count in that run.

Before all that the control: the library as it is, compiled and linked the same way, has to pass everything, or nothing is
judged. Verdicts are kept in build/mutants/results.jsonl and hold for the same library; those of survivors for the same tests, and
not with --again.

Exit 1: more unargued survivors than --most percent (2) of what compiled, an argument that nothing needs, or a run that is not
finished. Exit 2: the control failed. The programs are those of a build directory of their own, build/mutants/base:
./dev mutants builds it.
"""
import argparse
import hashlib
import json
import os
import random
import re
import resource
import shutil
import subprocess
import sys
import threading
import time
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from build import ROOT, Build, source_files  # noqa: E402
from changes import Names, all_changes, code_of  # noqa: E402
from judge import SETTINGS, ControlFailed, Order, Worker, in_threads, take_control  # noqa: E402

BUILD = ROOT / "build/mutants"
RESULTS = BUILD / "results.jsonl"
CONTROL = BUILD / "control.json"
EQUIVALENT = Path(__file__).parent / "equivalent.txt"


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

    @property
    def key(self):
        return self.path, self.was, self.now

    def show(self):
        return f"{self.path}:{self.line}: {self.change.rule}\n  - {self.was}\n  + {self.now}"


def draw(seed):
    """Every change there is, in the order in which the seed draws them: a file by the size of its code, of that a rule, of that
    a change."""
    texts = {f: (ROOT / f).read_text() for f in source_files()}
    names = Names(texts.values())
    left, weights = {}, {}
    for f, text in texts.items():
        rng = random.Random(f"{seed} {f}")
        by_rule = {}
        for change in all_changes(text, names):
            by_rule.setdefault(change.rule, []).append(change)
        rules = sorted(by_rule)
        rng.shuffle(rules)
        for changes in by_rule.values():
            rng.shuffle(changes)
        # A rule after the other, as long as each has any.
        left[f] = [by_rule[rule][n] for n in range(max(map(len, by_rule.values()), default=0))
                   for rule in rules if n < len(by_rule[rule])]
        left[f].reverse()
        weights[f] = len("".join(code_of(text).split()))
    rng = random.Random(seed)
    seen = set()
    while any(left.values()):
        files = [f for f in left if left[f]]
        f = rng.choices(files, [weights[f] for f in files])[0]
        m = Mutant(f, texts[f], left[f].pop())
        if m.was != m.now and m.id not in seen:
            seen.add(m.id)
            yield m


class Equivalent:
    """equivalent.txt: paragraphs of `file`, `- line`, `+ line`, and the reason."""

    def __init__(self):
        text = EQUIVALENT.read_text()
        self.blob = hashlib.sha1(f"blob {len(text.encode())}\0{text}".encode()).hexdigest()  # as git names it
        self.reasons = {}
        for paragraph in filter(None, (p.strip() for p in re.split(r"\n\s*\n", re.sub(r"(?m)^#.*\n?", "", text)))):
            lines = [line.strip() for line in paragraph.split("\n")]
            if len(lines) < 4 or not lines[1].startswith("- ") or not lines[2].startswith("+"):
                sys.exit(f"equivalent.txt: not file, - line, + line, reason:\n{paragraph}")
            self.reasons[lines[0], lines[1][2:], lines[2][1:].strip()] = " ".join(lines[3:])

    def report(self, results):
        """How many entries argue for nothing: their line is not in its file any more, or the change does not survive."""
        stale = []
        by_key = {(r["file"], r["was"], r["now"]): r for r in results}
        for key in self.reasons:
            f, was, now = key
            path = ROOT / f
            flat = " ".join(path.read_text().split()) if path.exists() else ""
            if " ".join(was.split()) not in flat:
                stale.append(f"no such line in {f} any more: {was}")
            elif key in by_key and by_key[key]["verdict"] != "survived":
                stale.append(f"{by_key[key]['verdict']} {by_key[key]['detail']}: {f}: {now}")
        for entry in stale:
            print("tests/mutants/equivalent.txt: take this entry out:", entry)
        return len(stale)


class Run:
    """A seed, and what was argued for when it was drawn."""

    def __init__(self, seed, equivalent):
        self.seed, self.at = seed, BUILD / f"runs/{seed}.json"
        if not self.at.exists():
            self.at.parent.mkdir(parents=True, exist_ok=True)
            commit = subprocess.run(["git", "-C", str(ROOT), "describe", "--always", "--dirty"], capture_output=True, text=True,
                                    check=False).stdout.strip()
            self.at.write_text(json.dumps({
                "seed": seed, "drawn": time.strftime("%F %T %z"), "commit": commit, "equivalent": equivalent.blob,
                "argued": sorted(equivalent.reasons)}, indent=1))
        kept = json.loads(self.at.read_text())
        self.drawn, self.commit, self.blob = kept["drawn"], kept["commit"], kept["equivalent"]
        self.argued = set(map(tuple, kept["argued"]))

    def show(self):
        return f"seed {self.seed}, drawn {self.drawn}; tree {self.commit}, equivalent.txt {self.blob[:12]}"


class Results:
    """Verdicts by the mutants' id, kept in a file."""

    def __init__(self, library, tests, again):
        self.library, self.tests, self.kept, self.guard = library, tests, {}, threading.Lock()
        if RESULTS.exists():
            for r in map(json.loads, RESULTS.read_text().splitlines()):
                self.kept[r["id"]] = r
        # Of another library nothing holds. What tests have killed, more tests kill as well; what survived has not seen those.
        for r in list(self.kept.values()):
            if r.get("library") != library or r["verdict"] == "survived" and (again or r["tests"] != tests):
                del self.kept[r["id"]]

    def of(self, mutant):
        r = self.kept.get(mutant.id)
        if r:
            r.update(line=mutant.line, was=mutant.was, now=mutant.now)
        return r

    def add(self, mutant, verdict, detail, seconds):
        r = {"id": mutant.id, "file": mutant.path, "line": mutant.line, "rule": mutant.change.rule, "was": mutant.was,
             "now": mutant.now, "verdict": verdict, "detail": detail, "seconds": round(seconds, 1),
             "library": self.library, "tests": self.tests}
        with self.guard:
            self.kept[mutant.id] = r
            with open(RESULTS, "a") as out:
                out.write(json.dumps(r) + "\n")
        return r


def control_of(build, key):
    """What judge.take_control found; kept as long as sources, tests and compilers are the same. The instructions are
    counted anew."""
    kept = json.loads(CONTROL.read_text()) if CONTROL.exists() else {}
    if kept.get("key") != key:
        print("control: the library as it is", flush=True)
        kept = {"key": key, **take_control(build)}
        CONTROL.write_text(json.dumps(kept))
    worker = Worker(build, "c0", None, None)
    kept["instructions"] = worker.instructions(build.library)
    worker.close()
    if not kept["instructions"]:
        raise ControlFailed("the driver of tests/instructions does not run")
    return kept


def judge_all(mutants, count, build, control, results, jobs, deadline):
    """Judges the first `count` of the mutants that compile. Returns those that it came to."""
    drawn, refused, guard = [], set(), threading.Lock()
    order = Order(control["took"], results.kept.values())

    def next_one():
        with guard:
            while len(drawn) - len(refused) < count and not (deadline and time.monotonic() > deadline):
                mutant = next(mutants, None)
                if mutant is None:
                    return None
                drawn.append(mutant)
                kept = results.of(mutant)
                if kept is None:
                    return mutant
                if kept["verdict"] == "compile":
                    refused.add(mutant.id)
            return None

    def work(number):
        worker = Worker(build, number, control, order)
        while (mutant := next_one()) is not None:
            began = time.monotonic()
            r = results.add(mutant, *worker.judge(mutant), time.monotonic() - began)
            with guard:
                if r["verdict"] == "compile":
                    refused.add(mutant.id)
                order.learn(r)
                print(f"{len(drawn) - len(refused)} of {count}: {r['verdict']:8} {r['seconds']:6} s "
                      f"{mutant.path}:{mutant.line} {r['detail']}", flush=True)
        worker.close()

    # A worker that finds nothing left may have others' changes refused behind its back: hence again.
    while len(drawn) - len(refused) < count:
        before = len(drawn)
        in_threads(work, jobs)
        if len(drawn) == before:
            break
    return drawn


def summary(run, mutants, results, equivalent):
    """Prints what became of them; returns the unargued survivors and how many compiled."""
    verdicts, survivors, late = Counter(), [], 0
    for m in mutants:
        r = results.of(m)
        verdict = r["verdict"] if r else "open"
        if verdict == "survived":
            if m.key in equivalent.reasons and m.key in run.argued:
                verdict = "argued"
            else:
                late += m.key in equivalent.reasons
                survivors.append(m)
        verdicts[verdict] += 1
    for m in survivors:
        print("SURVIVED", m.show())
    compiled = len(mutants) - verdicts["compile"] - verdicts["open"]
    lines = [("drawn", len(mutants)), ("do not compile, not counted", verdicts["compile"]), ("compiled", compiled),
             ("killed by a test", verdicts["test"]), ("killed by a crash", verdicts["crash"]),
             ("killed by the time limit", verdicts["timeout"]), ("the same code", verdicts["same"]),
             ("slower: over 1% more instructions on a path", verdicts["slower"]),
             ("argued equivalent before the seed was drawn", verdicts["argued"]),
             ("unargued survivors", len(survivors))]
    print(run.show())
    for what, n in lines:
        print(f"  {what:48} {n:5}")
    print(f"  {'of what compiled':48} {100 * len(survivors) / max(1, compiled):5.1f}%")
    if late:
        print(f"{late} of the survivors are argued for since the seed was drawn, which does not count in this run.")
    return survivors, compiled


def main():
    options = argparse.ArgumentParser(description="mutation tests of serial/, api/ and runtime/")
    options.add_argument("--count", type=int, default=300, help="how many have to compile")
    options.add_argument("--seed", type=int, help="of an earlier run; without it, from the clock")
    options.add_argument("--jobs", type=int, default=os.cpu_count())
    options.add_argument("--seconds", type=int, help="stop after so long; a call with the same seed goes on")
    options.add_argument("--most", type=float, default=2, help="percent of what compiled that may survive unargued")
    options.add_argument("--again", action="store_true", help="survivors once more")
    options.add_argument("--list", action="store_true", help="say what is drawn first")
    options.add_argument("--only", help="of this file, or FILE:LINE")
    options.add_argument("--argued", action="store_true", help="of those that equivalent.txt argues for")
    asked = options.parse_args()

    seed = int(time.time()) if asked.seed is None else asked.seed
    equivalent = Equivalent()
    mutants = (m for m in draw(seed) if (not asked.only or asked.only in (m.path, f"{m.path}:{m.line}")) and
               (not asked.argued or m.key in equivalent.reasons))
    if asked.list:
        for _, m in zip(range(asked.count), mutants):
            print(m.show())
        print("seed", seed)
        return 0
    run = Run(seed, equivalent)
    print(run.show(), flush=True)

    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    for left in BUILD.glob("worker*"):  # by a run that was stopped
        if not Path("/proc", left.name.removeprefix("worker").split(".")[0]).exists():
            shutil.rmtree(left)
    began = time.monotonic()
    build = Build(BUILD / "base")
    library, tests = build.digests()
    try:
        control = control_of(build, digest(tests, repr(SETTINGS)))
    except ControlFailed as failed:
        print(f"control: the library as it is does not pass, so nothing can be said of changes to it:\n  {failed}",
              file=sys.stderr)
        return 2
    results = Results(library, tests, asked.again)
    drawn = judge_all(mutants, asked.count, build, control, results, asked.jobs, asked.seconds and began + asked.seconds)

    survivors, compiled = summary(run, drawn, results, equivalent)
    stale = equivalent.report([r for m in drawn if (r := results.of(m))])
    took = time.monotonic() - began
    used = sum(resource.getrusage(resource.RUSAGE_CHILDREN)[:2])
    print(f"{took:.0f} seconds, {used:.0f} of processor time")
    if any(results.of(m) is None for m in drawn) or compiled < asked.count and not (asked.only or asked.argued):
        print(f"Not finished: ./dev mutants --count {asked.count} --seed {run.seed} goes on.")
        return 1
    if survivors:
        print("A survivor: write the test that fails for it, or take out what nothing needs. Where neither can be, put its file, "
              "its - line, its + line and the reason into tests/mutants/equivalent.txt, a paragraph as the others; that counts "
              "from the next seed on.")
    return 1 if stale or 100 * len(survivors) > asked.most * compiled else 0


if __name__ == "__main__":
    sys.exit(main())
