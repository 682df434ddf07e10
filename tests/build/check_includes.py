#!/usr/bin/env python3
"""Who includes whom: every arrow points down to include/, and the rooms of src/ form no circle."""

import pathlib
import re
import sys
from graphlib import CycleError, TopologicalSorter

ROOT = pathlib.Path(__file__).resolve().parents[2]
PUBLIC = {"eorvascheduler.h", "orva_platform.h"}
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')

# What each house may take from include/; its private headers are its own alone.
HOUSES = {"src": PUBLIC, "platform": {"orva_platform.h"}, "hosts": PUBLIC, "include": set()}


def included_files(path):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if match:
            yield number, match.group(1), match.group(2)


def resolve(name, path, house):
    """The private header of the house that a file includes, or None."""
    for folder in (path.parent, ROOT / house):
        candidate = (folder / name).resolve()
        if candidate.is_file():
            return candidate
    return None


def check_file(path, house, arrows):
    for number, quote, name in included_files(path):
        where = f"{path.relative_to(ROOT)}:{number}"
        if name in PUBLIC:
            if name not in HOUSES[house]:
                yield f"{where}: {house}/ does not know {name}"
            continue
        if quote == "<":
            continue
        header = resolve(name, path, house)
        if header is None or (ROOT / house) not in header.parents:
            yield f"{where}: \"{name}\" is no header of {house}/"
        elif house == "src":
            arrows.setdefault(room(path), set()).add(room(header))


def room(path):
    return path.relative_to(ROOT / "src").parts[0]


def check_rooms(arrows):
    for start, targets in arrows.items():
        targets.discard(start)
        if start == "support" and targets:
            yield f"src/support includes {', '.join(sorted(targets))}, which stand above it"
        if "engine" in targets:
            yield f"src/{start} includes engine, which stands above it"
    try:
        list(TopologicalSorter(arrows).static_order())
    except CycleError as error:
        yield "the rooms of src/ include each other in a circle: " + " -> ".join(reversed(error.args[1]))


def main():
    arrows, problems, files = {}, [], 0
    for house in HOUSES:
        for path in sorted((ROOT / house).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                files += 1
                problems += check_file(path, house, arrows)
    problems += check_rooms(arrows)
    print("\n".join(problems) if problems else f"{files} files, no forbidden include")
    return 1 if problems or not files else 0


sys.exit(main())
