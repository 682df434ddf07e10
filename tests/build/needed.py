#!/usr/bin/env python3
"""Prints what has to be built before some tests can run, a path in the build folder a line.

    needed.py BUILD_FOLDER [--new] [CTEST OPTION...]

With --new, programs of tests that are not built yet, or older than their own tests, are needed, too: they alone can tell
which tests they have.
"""

import json
import os
import subprocess
import sys


INSTALLED = "installed"  # the target for tests that install what was built: they are given the build folder


def read(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def test_sources(build):
    """The sources of each program that is built from files of tests/."""
    found = {}
    with open(f"{build}/compile_commands.json", encoding="utf-8") as commands:
        for entry in json.load(commands):
            output = entry["command"].partition(" -o ")[2].split(" ")[0]
            folder, _, rest = output.partition("/CMakeFiles/")
            if folder.startswith("tests/"):
                found.setdefault(f"{folder}/{rest.split('.dir/')[0]}", []).append(entry["file"])
    return found


def outdated(program, sources):
    if not os.path.exists(program):
        return True
    built = os.path.getmtime(program)
    return any(os.path.exists(source) and os.path.getmtime(source) > built for source in sources)


def main():
    build, options = os.path.realpath(sys.argv[1]), sys.argv[2:]
    outputs = {line.split(": ")[0] for line in read("ninja", "-C", build, "-t", "targets", "all").splitlines()}
    needed = set()
    if options[:1] == ["--new"]:
        del options[0]
        for program, sources in test_sources(build).items():
            if program in outputs and outdated(f"{build}/{program}", sources):
                needed.add(program)
    for test in json.loads(read("ctest", "--test-dir", build, "--show-only=json-v1", *options))["tests"]:
        for word in test.get("command", []):
            output = INSTALLED if word == build else os.path.relpath(word, build)
            if output in outputs:
                needed.add(output)
    print("\n".join(sorted(needed)))


main()
