#!/usr/bin/env python3
"""Checks the dynamic symbols of a shared library: it exports names of our namespaces only.

Weak symbols of std and boost are let through: instantiations of templates whose namespace asks for visibility.
Of libsettingscore also: every failure in the public headers can be caught outside, the internal ones are not exported.
Usage: check_exports.py LIBRARY...
"""
import pathlib
import re
import subprocess
import sys

PREFIX = r"_Z(T[VIST]|T[hv][n_0-9]+_|GV|GR)?N?[KVRO]*"
OURS = re.compile(PREFIX + r"(8settings|12settingscore|6varnek|6VARNEK|3opc|16cppmicroservices)")
SHARED_TEMPLATES = re.compile(PREFIX + r"(S[tasiod]|5boost|9__gnu_cxx|10__cxxabiv1)|_ZZNK?(St|5boost)|_Z(TI|TS)[A-Z]")

SETTINGS = pathlib.Path(__file__).resolve().parent.parent / "settings"
PUBLIC_FAILURES = SETTINGS / "include" / "settingscore" / "exception"
INTERNAL_FAILURES = SETTINGS / "src" / "settingscore" / "exception" / "PublicationFailures.hpp"


def classes(text):
    """Mangled names, those of the namespace detail with it."""
    inner = previous = ""
    for line in text.splitlines():
        if match := re.match(r"namespace [\w:]*?\b(detail)?\s*\{", line):
            inner = "6detail" if match[1] else ""
        elif (match := re.match(r"class (?:SETTINGSCORE_EXPORT )?(\w+)\s*(?::|\{|$)", line)) and ";" not in line:
            if not previous.startswith("template"):
                yield f"{inner}{len(match[1])}{match[1]}"
        previous = line


def failure_faults(symbols):
    public = [name for header in sorted(PUBLIC_FAILURES.glob("*.hpp")) for name in classes(header.read_text())]
    internal = list(classes(INTERNAL_FAILURES.read_text()))
    for name in public:
        if f"_ZTIN8settings4core9exception{name}E" not in symbols:
            yield f"cannot be caught outside: {name}"
    if "_ZTIN8settings4core17SettingsExceptionE" not in symbols:
        yield "cannot be caught outside: the SettingsException of plug-ins"
    for name in internal:
        if any(name in symbol for symbol in symbols):
            yield f"internal, but exported: {name}"
    if len(public) < 77 or len(internal) != 4:
        yield f"{len(public)} public and {len(internal)} internal failures found in the headers"


def main(libraries):
    faults, count = [], 0
    for library in libraries:
        listed = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True)
        symbols = {line.split()[-1] for line in listed.stdout.splitlines()}
        if "settingscore" in pathlib.Path(library).name:
            faults += [f"{library}: {fault}" for fault in failure_faults(symbols)]
        for line in listed.stdout.splitlines():
            kind, symbol = line.split()[-2:]
            if symbol.startswith("__odr_asan."):  # of a build with AddressSanitizer
                continue
            count += 1
            if not OURS.match(symbol) and not (kind in "WVu" and SHARED_TEMPLATES.match(symbol)):
                name = subprocess.run(["c++filt", symbol], capture_output=True, text=True).stdout.strip()
                faults.append(f"{library}: {kind} {name} ({symbol})")
    print("\n".join(faults + [f"{count} exported symbols, {len(faults)} faults"]))
    return 1 if faults or not count else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
