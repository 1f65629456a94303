#!/usr/bin/env python3
"""Checks the words of the tracked files: they refer to nothing outside this repository.

Usage: check_text.py SOURCE_FOLDER
"""
import pathlib
import re
import subprocess
import sys

RULES = [
    ("names a document outside the repository", re.compile(r"\bspec\.md\b|\bthe spec(ification)?\b", re.I)),
    ("names a numbered part of such a document", re.compile(r"\bparts? [0-9]+\.[0-9]+\b", re.I)),
    ("names a ticket", re.compile(r"\bissue #?[0-9]+\b", re.I)),
    ("holds a path of one machine", re.compile(r"(^|[^A-Za-z0-9_.])/(work|root)/")),
    ("ends with blanks", re.compile(r"[ \t]+$")),
]
ENDINGS = {".hpp", ".cpp", ".h", ".java", ".py", ".sh", ".awk", ".cmake", ".txt", ".md", ".json", ".in", ".po", ".pot", ".apt", ""}


def files_of(top):
    listed = subprocess.run(["git", "-C", top, "ls-files", "-co", "--exclude-standard", "-z"], capture_output=True)
    if listed.returncode == 0:
        return [top / name for name in listed.stdout.decode().split("\0") if name]
    return [f for f in top.rglob("*") if not f.relative_to(top).parts[0].startswith(("build", ".git"))]


def main(top):
    faults, count = [], 0
    for file in files_of(top):
        path = file.relative_to(top)
        if file.suffix not in ENDINGS or not file.is_file() or path.parts[0] == "LICENSE" or "corpus" in path.parts:
            continue
        try:
            lines = file.read_text().splitlines()
        except UnicodeDecodeError:
            continue
        count += 1
        for number, line in enumerate(lines, 1):
            faults += [f"{path}:{number}: {what}: {line.strip()}" for what, rule in RULES if rule.search(line)]
    print("\n".join(faults + [f"{count} files, {len(faults)} faults"]))
    return 1 if faults or not count else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve()))
