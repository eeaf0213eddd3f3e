"""Measurements that tests write out."""
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "bench"))

from figures.measured import Measured, Run, read  # noqa: E402

MACHINE = {"processor": "A Core (part 1)", "architecture": "AArch64", "caches": ["32768", "1048576", "0"], "core": "3",
           "compiler": "gcc 12.2.0", "date": "2026-11-22", "mode": "full"}
HEAD = """vorl_bench 1
processor\tA Core (part 1)
architecture\tAArch64
caches\t32768\t1048576\t0
core\t3
compiler\tgcc 12.2.0
date\t2026-11-22
mode\tfull
"""


class Everything(Run):
    """A run in which every contender takes 10 ns, as eight calls 80, where nothing else is written out for it."""

    def __init__(self, times=(), without=()):
        super().__init__()
        self.written = dict(times)
        self.without = without
        self.groups = dict.fromkeys([
            "all/srv6_common_fwd", "vectors/srv6_common_fwd_update", "vectors/srv6_common_fwd_delete"])

    def has(self, group, name):
        return not any(word in name for word in self.without)

    def all(self, group, name):
        return self.written.get((group, name), [80.0] if name.endswith(".8") else [10.0])

    def fact(self, group, name):
        return 50.0


def everything(times=(), without=("send_copied",)):
    return Measured(MACHINE, [Everything(times, without)])


def read_text(text):
    """What read() makes of a file with the text, whose name is then in its messages as FILE."""
    with tempfile.NamedTemporaryFile("w", encoding="utf-8", suffix=".txt") as file:
        file.write(text)
        file.flush()
        try:
            return read(file.name)
        except Exception as error:
            error.args = (str(error).replace(file.name, "FILE"),)
            raise
