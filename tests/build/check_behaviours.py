#!/usr/bin/env python3
"""Every test that the tables of behaviours name exists, and every table row names one."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
DEFINITION = re.compile(r"\b(?:TEST|TEST_F|TEST_P|TYPED_TEST)\(\s*(\w+)\s*,\s*(\w+)\s*\)")
NAME = re.compile(r"`(?:\w+/)?(\w+\.\w+)(?:/\S*)?`")


def tests():
    for path in (ROOT / "tests").rglob("*.cpp"):
        for suite, name in DEFINITION.findall(path.read_text()):
            yield f"{suite}.{name}"


def rows(path):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        is_rule = set(line) <= set("|-: ")
        if line.startswith("|") and not is_rule and not line.lower().startswith("| behaviour"):
            yield number, line


def main():
    known = set(tests())
    tables = sorted((ROOT / "docs" / "behaviours").glob("*.md"))
    wrong = []
    named = set()
    for path in tables:
        for number, line in rows(path):
            names = NAME.findall(line.rsplit("|", 2)[1])
            place = f"{path.relative_to(ROOT)}:{number}"
            if not names:
                wrong.append(f"{place}: names no test")
            wrong += [f"{place}: there is no test {name}" for name in names if name not in known]
            named.update(names)
    if not named:
        wrong.append("docs/behaviours names no test at all")
    print("\n".join(wrong) or f"{len(named)} tests named in {len(tables)} tables")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
