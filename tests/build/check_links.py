#!/usr/bin/env python3
"""Links between documents lead to a file and a heading that exist.

The chapters of the guide for administrators are installed without the other documents, so they link only to each other.
The first chapter lists all others."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
GUIDE = ROOT / "docs" / "admin"
DOCUMENTS = ["*.md", "docs/**/*.md", "tests/*.md"]
LINK = re.compile(r"\]\(([^)#: ]*)(?:#([^)]*))?\)")


def anchor(heading):
    """The anchor of a heading, as in the usual renderers of Markdown."""
    return re.sub(r"[^\w -]", "", heading.strip().lower()).replace(" ", "-")


def anchors(document):
    return {anchor(heading) for heading in re.findall(r"^#+ (.*)$", document.read_text(encoding="utf-8"), re.MULTILINE)}


def problem(document, path, heading):
    target = (document.parent / path).resolve() if path else document
    if not target.is_file():
        return "leads to no file"
    if heading and heading not in anchors(target):
        return "leads to no heading"
    if document.parent == GUIDE and target.parent != GUIDE:
        return "leaves the guide"
    return None


def main():
    wrong = []
    links = {}
    for document in sorted({path for pattern in DOCUMENTS for path in ROOT.glob(pattern)}):
        links[document] = LINK.findall(document.read_text(encoding="utf-8"))
        for path, heading in links[document]:
            if why := problem(document, path, heading):
                wrong.append(f"{document.relative_to(ROOT)}: the link {path}#{heading} {why}")
    listed = {path for path, _ in links[GUIDE / "README.md"]}
    for chapter in sorted(GUIDE.glob("*.md")):
        if chapter.name not in {*listed, "README.md"}:
            wrong.append(f"docs/admin/README.md does not list {chapter.name}")
    print("\n".join(wrong))
    sys.exit(1 if wrong else 0)


main()
