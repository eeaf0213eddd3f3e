#!/usr/bin/env python3
"""Writes Debian's changelog from CHANGELOG.md: changelog.py CHANGELOG.md CONTROL VERSION, with SOURCE_DATE_EPOCH in the environment.

The topmost section must be of VERSION. A section that is "(unreleased)" has the time of SOURCE_DATE_EPOCH, any other noon of
its day.
"""
import datetime
import email.utils
import os
import re
import sys
import textwrap


def date_line(date):
    if date == "unreleased":
        time = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    else:
        time = datetime.datetime.fromisoformat(date + "T12:00:00+00:00")
    return email.utils.format_datetime(time)


def main():
    path, control, version = sys.argv[1:]
    maintainer = re.search(r"^Maintainer: (.+)$", open(control).read(), re.MULTILINE)[1]
    sections = re.split(r"^## (\S+) \((unreleased|\d{4}-\d\d-\d\d)\)\n", open(path).read(), flags=re.MULTILINE)[1:]
    if not sections or sections[0] != version:
        sys.exit(f"{path}: the topmost section is not '## {version} (unreleased)', or of a day; add one for this version")
    for number, date, text in zip(sections[0::3], sections[1::3], sections[2::3]):
        changes = [" ".join(change.split()) for change in re.split(r"^- ", text, flags=re.MULTILINE)[1:]]
        if not changes:
            sys.exit(f"{path}: {number} lists no change; write lines that begin with '- '")
        print(f"vorl-srv6 ({number}) unstable; urgency=medium\n")
        for change in changes:
            print(textwrap.fill(change, 76, initial_indent="  * ", subsequent_indent="    ", break_on_hyphens=False))
        print(f"\n -- {maintainer}  {date_line(date)}\n")


main()
