#!/usr/bin/env python3
"""Runs the fuzz targets side by side for a time, with a line of progress, and says how far each came.

usage: run.py --build DIRECTORY --seconds N [--target NAME]...

Findings are kept in fuzz/crashes/<target>, new inputs in <build>/found/<target>. Exit status 1 when something was found.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
IDLC_TESTS = os.path.join(ROOT, "tests", "idlc")


class Target:
    def __init__(self, name, seeds, options=()):
        self.name = name
        self.seeds = seeds
        self.options = list(options)
        self.runs = {}  # by process
        self.seconds = 0.0
        self.coverage = 0
        self.findings = 0

    def executions(self):
        return sum(self.runs.values())

    def __str__(self):
        return f"{self.name} {self.executions():,} (cov {self.coverage})"


def corpus(name):
    return os.path.join(HERE, "corpus", name)


TARGETS = [
    Target("unpack", [corpus("messages")], ["-max_len=20000"]),
    Target("differential", [corpus("messages")], ["-max_len=20000"]),
    Target("idlc", [os.path.join(ROOT, "idl"), os.path.join(IDLC_TESTS, "errors"), os.path.join(IDLC_TESTS, "refused"),
                    os.path.join(IDLC_TESTS, "golden")], ["-max_len=20000", "-dict=" + os.path.join(HERE, "idlc.dict")]),
    Target("vorl_inputs", [corpus("vorl_inputs")], ["-max_len=8192", "-dict=" + os.path.join(HERE, "vorl_inputs.dict")]),
    # Standard error is where the bus reports every stream that it does not like.
    Target("bus_stream", [corpus("bus_stream")], ["-max_len=12000", "-close_fd_mask=2"]),
]


def shares(targets, cores, seconds):
    """For every core the pieces (target, seconds) that it runs, one behind the other. Each target has the same time in
    all, and all cores are through at the same moment."""
    each = cores * seconds / len(targets)
    lanes, rest, pending = [], 0.0, list(targets)
    present = None
    for _ in range(cores):
        lane, free = [], float(seconds)
        while free > 0.01 and (pending or rest > 0.01):
            if rest <= 0.01:
                present, rest = pending.pop(0), each
            piece = min(free, rest)
            lane.append((present, piece))
            free -= piece
            rest -= piece
        lanes.append(lane)
    return lanes


class Runner:
    def __init__(self, build):
        self.build = build
        self.lock = threading.Lock()
        self.bus = tempfile.mkdtemp(prefix="vorl-fuzz-")

    def run_piece(self, target, seconds):
        found = os.path.join(self.build, "found", target.name)
        crashes = os.path.join(HERE, "crashes", target.name)
        os.makedirs(found, exist_ok=True)
        os.makedirs(crashes, exist_ok=True)
        seconds = max(1, round(seconds))
        program = next(p for p in (os.path.join(self.build, d, "fuzz_" + target.name)
                                   for d in ("tests/fuzz/targets", ".")) if os.path.exists(p))
        command = [program, f"-max_total_time={seconds}", "-timeout=60", "-report_slow_units=60", "-rss_limit_mb=3000",
                   "-print_final_stats=1", f"-artifact_prefix={crashes}/", *target.options, found, crashes, *target.seeds]
        environment = dict(os.environ, VORL_BUS_DIR=self.bus)
        began = time.monotonic()
        with open(os.path.join(self.build, f"{target.name}.{threading.get_ident()}.log"), "a+", errors="replace") as log:
            process = subprocess.Popen(command, stdout=log, stderr=subprocess.PIPE, text=True, errors="replace",
                                       env=environment)
            tail = []
            for line in process.stderr:
                log.write(line)
                tail = tail[-60:] + [line]
                self.note(target, process.pid, line)
            status = process.wait()
        with self.lock:
            target.seconds += time.monotonic() - began
            if status != 0:
                target.findings += 1
                print("", f"== {target.name} ended with status {status}:", "".join(tail), sep="\n", file=sys.stderr)

    def note(self, target, pid, line):
        progress = re.match(r"#(\d+)\t.*? cov: (\d+)", line)
        final = re.match(r"stat::number_of_executed_units:\s*(\d+)", line)
        with self.lock:
            if progress:
                target.runs[pid] = int(progress[1])
                target.coverage = max(target.coverage, int(progress[2]))
            elif final:
                target.runs[pid] = int(final[1])

    def run_lane(self, lane):
        for target, seconds in lane:
            self.run_piece(target, seconds)

    def run(self, targets, seconds):
        cores = os.cpu_count() or 1
        lanes = [threading.Thread(target=self.run_lane, args=(lane,)) for lane in shares(targets, cores, seconds)]
        began = time.monotonic()
        for lane in lanes:
            lane.start()
        on_terminal = sys.stderr.isatty()
        last = None
        while any(lane.is_alive() for lane in lanes):
            time.sleep(0.5)
            passed = int(time.monotonic() - began)
            if passed == last or (not on_terminal and passed % 10 != 0):
                continue
            last = passed
            with self.lock:
                text = f"{passed} of {seconds} s: " + ", ".join(str(t) for t in targets if t.runs)
            print("\r\033[K" + text if on_terminal else text, end="" if on_terminal else "\n", file=sys.stderr, flush=True)
        if on_terminal:
            print(file=sys.stderr)
        for t in targets:
            rate = t.executions() / t.seconds if t.seconds else 0
            print(f"{t.name}: {t.executions():,} executions in {t.seconds:.0f} s ({rate:,.0f} a second), "
                  f"coverage {t.coverage}, {t.findings} findings")

    def clean(self):
        shutil.rmtree(self.bus, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(prog="./dev fuzz")
    parser.add_argument("--build", required=True)
    parser.add_argument("--seconds", type=int, default=60, help="in all, spread over the targets and the cores")
    parser.add_argument("--target", action="append", choices=[t.name for t in TARGETS])
    arguments = parser.parse_args()
    targets = [t for t in TARGETS if not arguments.target or t.name in arguments.target]
    runner = Runner(arguments.build)
    try:
        runner.run(targets, arguments.seconds)
    finally:
        runner.clean()
    return 1 if any(t.findings for t in targets) else 0


if __name__ == "__main__":
    sys.exit(main())
