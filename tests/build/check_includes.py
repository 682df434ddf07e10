#!/usr/bin/env python3
"""Who includes whom: a house takes what is below it, and a room takes the rooms that stand before it."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PUBLIC = {"eorvascheduler.h", "orva_platform.h"}
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')

# Each house, from the bottom up: a private header belongs to its house and to those that name it.
#   public   the public headers that it may include
#   takes    other houses whose private headers it may include
#   rooms    its folders; each may include itself and those before it. A tuple holds rooms that do not know each other.
HOUSES = {
    "include": {"public": set()},
    "src": {
        "public": PUBLIC,
        "rooms": ["support", "store", "config", "catalogue", "output", "engine"],
    },
    "platform": {
        "public": {"orva_platform.h"},
        "rooms": ["support", "settings", "texts", "process", "strings", "users", "shares", "volumes", "mail", "event_log",
                  "notify", "record_store"],
    },
    "hosts/common": {
        "public": PUBLIC,
        "rooms": ["support", "text", "server", "store", "coordination", "config", "events", "runs", "output", "tasks",
                  "reasons", ("executions", "health", "state"), "answers"],
    },
    "hosts/cli": {"public": set(), "takes": ["hosts/common"], "exempt": {"main.cpp": PUBLIC, "flags.cpp": PUBLIC}},
}

# What the user can type: the host's own words, and those that answers/ tells programs.
TYPED = (r'"[^"]*(?:\beorva (?:apply|backup|check|config|event|execute|explain|export|fire|init|log|restore|runs?|share|stop'
         r"|task)\b|(?<![-\w])--[a-z]{2})")
OTHER_PROGRAMS = {"hosts/common/support", "hosts/common/server", "hosts/common/executions/detached_start"}

# Words that only some rooms may use, and what to do instead.
WORDS = [
    ("hosts/common", r"CLI/CLI\.hpp|libsmartcols\.h|fmt::print\((?!stderr)|std::cout|(?<![-\w])stdout\b", set(),
     "a host shows it, the host library does not"),
    ("hosts/common", r"(?<![-\w])stderr\b", {"hosts/common/executions"}, "only an execution writes to the log of its service"),
    ("hosts/cli", r"<sqlite3\.h>", set(), "the store belongs to the host library"),
    ("hosts/cli", r"\b(WriteLock|TaskLock|TaskChange|Standstill|RenameLock|ConfigLock)\b", set(),
     "what needs a lock is an operation of a room"),
    ("hosts/common", r"\bTaskLock\b",
     {"hosts/common/coordination", "hosts/common/runs", "hosts/common/executions", "hosts/common/tasks/task_change_lock"},
     "what starts and changes tasks is kept apart in a few places"),
    ("hosts/common", TYPED, {"hosts/common/answers"} | OTHER_PROGRAMS, "each host tells what to type"),
]

MOST_FILES = 20  # of a room; a source and its header are one
MOST_LINES = 400  # of a file of the hosts


def sources(folder):
    return [path for path in sorted((ROOT / folder).rglob("*")) if path.suffix in (".h", ".cpp")]


def includes(path):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if match:
            yield f"{path.relative_to(ROOT)}:{number}", match.group(1), match.group(2)


def house_of(path):
    name = str(path.relative_to(ROOT))
    return next(house for house in HOUSES if name.startswith(house + "/"))


def include_folder(house):
    """The folder that the names of private headers begin in."""
    return ROOT / house.split("/")[0]


def resolve(name, path, house):
    for folder in (path.parent, include_folder(house)):
        candidate = (folder / name).resolve()
        if candidate.is_file():
            return candidate
    return None


def room_of(path, house):
    parts = path.relative_to(ROOT / house).parts
    return parts[0] if len(parts) > 1 else ""


def ranks(rooms):
    result = {}
    for rank, names in enumerate(rooms):
        for name in (names,) if isinstance(names, str) else names:
            result[name] = rank
    return result


def check_arrow(where, path, header, house):
    rooms = ranks(HOUSES[house].get("rooms", []))
    if not rooms:
        return
    start, end = room_of(path, house), room_of(header, house)
    if start in rooms and end in rooms and start != end and rooms[end] >= rooms[start]:
        yield f"{where}: {start} does not know {end}, which does not stand below it"


def check_include(where, quote, name, path, house):
    rule = HOUSES[house]
    if name in PUBLIC:
        if name not in rule["public"] | rule.get("exempt", {}).get(path.name, set()):
            yield f"{where}: {house}/ does not know {name}"
    elif quote == '"':
        header = resolve(name, path, house)
        if header is None or ROOT not in header.parents:
            yield f'{where}: "{name}" is no header of {house}/'
        elif house_of(header) == house:
            yield from check_arrow(where, path, header, house)
        elif house_of(header) not in rule.get("takes", []):
            yield f"{where}: {house}/ does not know {house_of(header)}/"


def check_places(house):
    rooms = ranks(HOUSES[house].get("rooms", []))
    for path in sources(house) if rooms else []:
        if room_of(path, house) not in rooms:
            yield f"{path.relative_to(ROOT)}: stands in no room of {house}/"


def check_words():
    for folder, pattern, allowed, why in WORDS:
        for path in sources(folder):
            name = str(path.relative_to(ROOT))
            if any(name.startswith(place) for place in allowed):
                continue
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                match = re.search(pattern, line)
                if match and not line.lstrip().startswith("//"):
                    yield f"{name}:{number}: {match.group(0)}: {why}"


def check_sizes():
    for house in ("hosts/common", "hosts/cli"):
        for path in sources(house):
            count = len(path.read_text(encoding="utf-8").splitlines())
            if count > MOST_LINES:
                yield f"{path.relative_to(ROOT)}: {count} lines; the limit is {MOST_LINES}"
    for room in ranks(HOUSES["hosts/common"]["rooms"]):
        count = len({path.stem for path in sources(f"hosts/common/{room}")})
        if count > MOST_FILES:
            yield f"hosts/common/{room}: {count} files; the limit is {MOST_FILES}"


def main():
    problems, files = [], 0
    for house in HOUSES:
        for path in sources(house):
            files += 1
            for where, quote, name in includes(path):
                problems += check_include(where, quote, name, path, house)
        problems += check_places(house)
    problems += check_words()
    problems += check_sizes()
    print("\n".join(problems) if problems else f"{files} files, no forbidden include")
    return 1 if problems or not files else 0


sys.exit(main())
