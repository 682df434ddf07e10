#!/usr/bin/env python3
"""Shows what the tests that failed have said, briefly: a log of a whole run is long, and often only its end is kept.

    failures.py CTEST_REPORT.xml
"""

import sys
import xml.etree.ElementTree

LINES = 30
WIDTH = 400


def telling(output):
    """What is said about failures, or the end of it when nothing looks like that."""
    lines = output.splitlines()
    bad = [number for number, line in enumerate(lines) if line.startswith("not ok")]
    if not bad:
        return lines[-LINES:]
    chosen = []
    for number in bad:
        chosen.append(lines[number])
        for line in lines[number + 1 :]:
            if not line.startswith("#"):
                break
            chosen.append(line)
    return chosen[:LINES]


def main():
    for case in xml.etree.ElementTree.parse(sys.argv[1]).getroot().iter("testcase"):
        if case.get("status") == "fail":
            print(f"== {case.get('name')}")
            for line in telling(case.findtext("system-out", "")):
                print(f"   {line[:WIDTH]}")


main()
