#!/usr/bin/env python3
"""Checks the Markdown pages: relative links lead somewhere, and the index of decisions lists every page.

Usage: check_docs.py SOURCE_FOLDER
"""
import pathlib
import re
import sys


def main(top):
    pages = [*top.glob("*.md"), *(top / "docs").rglob("*.md")]
    faults = []
    for page in pages:
        prose = re.sub(r"```.*?```", "", page.read_text(), flags=re.S)
        for link in re.findall(r"\]\(([^)\s]+)\)", prose):
            target = link.split("#")[0]
            if target and "://" not in target and not (page.parent / target).exists():
                faults.append(f"{page.relative_to(top)}: the link {link} leads nowhere")
    index = (top / "docs/decisions/README.md").read_text()
    decisions = sorted((top / "docs/decisions").glob("[0-9]*.md"))
    faults += [f"docs/decisions/README.md does not list {d.name}" for d in decisions if f"({d.name})" not in index]
    print("\n".join(faults + [f"{len(pages)} pages, {len(decisions)} decisions, {len(faults)} faults"]))
    return 1 if faults or not pages else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
