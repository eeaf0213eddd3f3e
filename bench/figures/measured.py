"""Reads what vorl_bench wrote (bench/main.cpp has its form) and takes ratios of it.

A time is that of a slice. Contenders of a group ran in turn, slice by slice, so a ratio is taken slice by slice; a run's
ratio is the median of its slices, and what is reported is the median of the runs.
"""
import math
import re
import statistics

PEERS = {"flatbuffers": "FlatBuffers", "capnp": "Cap'n Proto", "protobuf": "protobuf"}
AGAIN = "run the benchmark again and give the whole of what it writes"
MACHINE = ("processor", "architecture", "caches", "core", "compiler", "date", "mode")
MOST_BYTES = 64 << 20
STATES = ("warm", "streaming")


class Refused(Exception):
    """A file that is no measurement: 'FILE:LINE: what; what to do'."""


class Unfit(Exception):
    """A measurement that does not serve: 'what; what to do', to be said behind the name of its file."""


def missing(what):
    return Unfit(f"has no {what}; measure all, with a benchmark of the same sources as this report")


class Group:
    def __init__(self, state):
        self.state = state
        self.facts = {}
        self.times = {}


class Run:
    """The groups of one process."""

    def __init__(self):
        self.groups = {}

    def has(self, group, name):
        return group in self.groups and name in self.groups[group].times

    def all(self, group, name):
        if not self.has(group, name):
            raise missing(f"times of {name} in group {group}")
        return self.groups[group].times[name]

    def median(self, group, name):
        return statistics.median(self.all(group, name))

    def fact(self, group, name):
        if group not in self.groups or name not in self.groups[group].facts:
            raise missing(f"fact {name} of group {group}")
        return self.groups[group].facts[name]

    def fastest(self, group, names):
        """The one of several contenders whose median is the least; of those that were measured."""
        found = [n for n in names if self.has(group, n)]
        if not found:
            raise missing(f"times of {names[0]} in group {group}")
        return min(found, key=lambda n: self.median(group, n))

    def limit(self, group, copy):
        """The times of a copy: of libc's or of the constant one, whichever is faster."""
        return self.all(group, self.fastest(group, [copy + ".libc", copy + ".constant"]))

    def slope(self, group, name):
        """What one record more costs: between one and eight in a step."""
        return [(eight - one) / 7 for one, eight in zip(self.all(group, name), self.all(group, name + ".8"))]

    def limit_slope(self, group, copy):
        """The slope of a copy, by whichever is the faster of eight."""
        return self.slope(group, self.fastest(group, [copy + ".libc.8", copy + ".constant.8"]).removesuffix(".8"))

    def peer(self, group, direction, end=""):
        """The fastest peer's contender."""
        return self.fastest(group, [f"{peer}_{direction}{end}" for peer in PEERS])

    def frame_write(self, group, send="send"):
        """A send less all that is not encoding, with one empty call on top.

        Where other work disturbs the run, the difference can come out at nothing or less, of which there is no ratio: it
        counts as the least time that the tables show."""
        parts = (self.all(group, name) for name in (send, "bus", "empty"))
        return [max(sent - bus + empty, 0.1) for sent, bus, empty in zip(*parts)]

    def frame_write_limit(self, group):
        """A copy to one place; of a long frame to a block of the allocator, as the send writes it."""
        if self.has(group, "send_copied"):
            return self.frame_write(group, "send_copied")
        return self.limit(group, "frame_copy_in_place")

    def without_allocator(self, group):
        """Unpacking and releasing a vector, less an allocation and a release alone."""
        return [max(unpack - allocator, 0.1)
                for unpack, allocator in zip(self.all(group, "unpack"), self.all(group, "allocator"))]


def ratio(above, below):
    """Of two lists of times, slice by slice. A slope can come out at nothing where other work disturbs: such a slice counts
    for neither."""
    pairs = [a / b for a, b in zip(above, below) if a > 0 and b > 0]
    return statistics.median(pairs) if pairs else math.nan


def geometric_mean(values):
    values = list(values)
    if not values:
        raise missing("group of a mean")
    return math.exp(sum(math.log(v) for v in values) / len(values))


class Measured:
    """A whole measurement: the machine, and its runs."""

    def __init__(self, machine, runs):
        self.machine = machine
        self.runs = runs

    def value(self, of_run):
        return statistics.median(of_run(run) for run in self.runs)

    def median(self, group, name):
        return self.value(lambda run: run.median(group, name))

    def has(self, group, name):
        return all(run.has(group, name) for run in self.runs)

    def has_group(self, group):
        return all(group in run.groups for run in self.runs)

    def fact(self, group, name):
        return self.runs[0].fact(group, name)

    def groups(self, prefix):
        return [name for name in sorted(self.runs[0].groups) if name.startswith(prefix)]

    def peer(self, group, direction, end=""):
        """The peer whose median of runs is the least."""
        return min(PEERS, key=lambda peer: self.median(group, f"{peer}_{direction}{end}"))

    @property
    def has_peers(self):
        return self.has("single/srv6_common_fwd", "protobuf_encode.D")


def positive(text):
    value = float(text)
    if not (math.isfinite(value) and value > 0):
        raise ValueError(text)
    return value


def checked_name(path, line, name):
    """A name goes into a page: it must not be able to end a table or a comment of it."""
    if not re.fullmatch(r"[\w .,()@/+'-]{1,100}", name, re.ASCII) or "--" in name:
        raise Refused(f"{path}:{line}: the name '{name[:40]}' has letters that none has; {AGAIN}")
    return name


def parse_line(path, number, words, machine, runs, group):
    """Takes in one line; returns the group that the next ones belong to."""
    key = words[0]
    if key in MACHINE and not runs and len(words) > 1:
        machine[key] = words[1:] if key == "caches" else checked_name(path, number, words[1])
    elif key == "run" and len(words) == 2:
        runs.append(Run())
        return None
    elif key == "group" and len(words) == 3 and runs and words[2] in STATES:
        group = Group(words[2])
        runs[-1].groups[checked_name(path, number, words[1])] = group
    elif key == "fact" and len(words) == 3 and group is not None:
        group.facts[words[1]] = positive(words[2])
    elif key == "times" and len(words) > 2 and group is not None:
        group.times[words[1]] = [positive(word) for word in words[2:]]
    else:
        raise ValueError(key)
    return group


def read(path):
    """The measurement in the file, or Refused."""
    machine, runs, group, ended = {}, [], None, False
    try:
        with open(path, encoding="utf-8") as file:
            text = file.read(MOST_BYTES + 1)
    except (OSError, UnicodeDecodeError) as error:
        raise Refused(f"{path}: cannot be read ({error}); name the file that the benchmark wrote") from error
    if len(text) > MOST_BYTES:
        raise Refused(f"{path}: is larger than any measurement; name the file that the benchmark wrote")
    lines = text.splitlines()
    if not lines or lines[0] != "vorl_bench 1":
        raise Refused(f"{path}:1: does not begin with 'vorl_bench 1'; name the file that the benchmark wrote")
    for number, line in enumerate(lines[1:], 2):
        if ended:
            raise Refused(f"{path}:{number}: goes on behind its end; {AGAIN}")
        ended = line == "end"
        if not ended:
            try:
                group = parse_line(path, number, line.split("\t"), machine, runs, group)
            except ValueError as error:
                raise Refused(f"{path}:{number}: is no line of a measurement; {AGAIN}") from error
    if not ended:
        raise Refused(f"{path}:{len(lines)}: was cut off, for the last line is not 'end'; {AGAIN}")
    missing = [key for key in MACHINE if key not in machine]
    if missing or not runs or any(run.groups.keys() != runs[0].groups.keys() for run in runs):
        raise Refused(f"{path}: has no {missing[0] if missing else 'whole run'}; {AGAIN}")
    return Measured(machine, runs)
