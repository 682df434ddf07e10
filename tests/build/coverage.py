#!/usr/bin/env python3
"""Coverage of src/: "reset BUILD" makes the counters ready for a run, "report BUILD" judges what the run reached.

The report fails below the thresholds, and when a line that no test reaches is not listed, with its reason, in
not_covered.txt beside this file.
"""

import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
LISTED = pathlib.Path(__file__).with_name("not_covered.txt")
LINES, BRANCHES = 97.0, 90.0


def reset(build):
    """Empty counter files that every user may write: a child goes on counting after it has switched its identity."""
    for notes in build.rglob("*.gcno"):
        counters = notes.with_suffix(".gcda")
        counters.write_bytes(b"")
        os.chmod(counters, 0o666)
    return 0


def measure(build):
    target = build / "coverage.json"
    subprocess.run(
        ["gcovr", "--root", ROOT, "--filter", f"{ROOT}/src/", "--object-directory", build, "--exclude-throw-branches",
         "--exclude-unreachable-branches", "-j", str(os.cpu_count()), "--json", target, build],
        check=True, stdout=subprocess.DEVNULL)
    return json.loads(target.read_text())["files"]


def listed():
    """The lines of not_covered.txt, "FILE: SOURCE LINE # REASON", as {(file, source line): reason}."""
    entries = {}
    for number, line in enumerate(LISTED.read_text().splitlines(), 1):
        if line.strip() and not line.startswith("#"):
            place, mark, reason = line.rpartition(" # ")
            file, colon, source = place.partition(": ")
            if not (mark and colon and reason.strip()):
                sys.exit(f"{LISTED.name}:{number}: not of the form FILE: SOURCE LINE # REASON")
            entries[file, source.strip()] = reason
    return entries


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def report(build):
    lines = reached = branches = taken = 0
    missed, entries = [], listed()
    print(f"{'lines':>8} {'branches':>9}  file")
    for file in sorted(measure(build), key=lambda item: item["file"]):
        source = (ROOT / file["file"]).read_text().splitlines()
        counted = [line for line in file["lines"] if not line.get("gcovr/noncode")]
        ways = [way["count"] for line in counted for way in line["branches"]]
        hit = sum(line["count"] > 0 for line in counted)
        went = sum(count > 0 for count in ways)
        print(f"{percent(hit, len(counted)):7.1f}% {percent(went, len(ways)):8.1f}%  {file['file']}")
        lines, reached = lines + len(counted), reached + hit
        branches, taken = branches + len(ways), taken + went
        for line in counted:
            if line["count"] == 0:
                text = source[line["line_number"] - 1].strip()
                missed.append((file["file"], line["line_number"], text))
    for file, number, text in missed:
        print(f"not reached: {file}:{number}: {text}   # {entries.get((file, text), 'NOT LISTED')}")

    unlisted = [place for place in missed if (place[0], place[2]) not in entries]
    stale = set(entries) - {(file, text) for file, _, text in missed}
    for file, text in sorted(stale):
        print(f"reached, so no longer to be listed: {file}: {text}")
    lines_rate, branches_rate = percent(reached, lines), percent(taken, branches)
    print(f"lines {lines_rate:.1f} % of {lines} (at least {LINES:.0f} %), "
          f"branches {branches_rate:.1f} % of {branches} (at least {BRANCHES:.0f} %), {len(unlisted)} lines not listed")
    good = lines and lines_rate >= LINES and branches_rate >= BRANCHES and not unlisted and not stale
    return 0 if good else 1


COMMANDS = {"reset": reset, "report": report}
if len(sys.argv) != 3 or sys.argv[1] not in COMMANDS:
    sys.exit(f"usage: {sys.argv[0]} reset|report BUILD_DIRECTORY")
sys.exit(COMMANDS[sys.argv[1]](pathlib.Path(sys.argv[2]).resolve()))
