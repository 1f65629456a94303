#!/usr/bin/env python3
"""Checks the dynamic symbols of a shared library: it exports names of our namespaces only.

Weak symbols of std and boost are let through: instantiations of templates whose namespace asks for visibility.
Usage: check_exports.py LIBRARY...
"""
import re
import subprocess
import sys

PREFIX = r"_Z(T[VIST]|T[hv][n_0-9]+_|GV|GR)?N?[KVRO]*"
OURS = re.compile(PREFIX + r"(8settings|12settingscore|6varnek|6VARNEK|3opc|16cppmicroservices)")
SHARED_TEMPLATES = re.compile(PREFIX + r"(S[tasiod]|5boost|9__gnu_cxx|10__cxxabiv1)|_ZZNK?(St|5boost)|_Z(TI|TS)[A-Z]")


def main(libraries):
    faults, count = [], 0
    for library in libraries:
        listed = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True)
        for line in listed.stdout.splitlines():
            kind, symbol = line.split()[-2:]
            count += 1
            if not OURS.match(symbol) and not (kind in "WVu" and SHARED_TEMPLATES.match(symbol)):
                name = subprocess.run(["c++filt", symbol], capture_output=True, text=True).stdout.strip()
                faults.append(f"{library}: {kind} {name} ({symbol})")
    print("\n".join(faults + [f"{count} exported symbols, {len(faults)} faults"]))
    return 1 if faults or not count else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
