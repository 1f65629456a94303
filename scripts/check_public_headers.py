#!/usr/bin/env python3
"""Compiles all public headers together, in both orders, and checks which files they pull in.

Both orders together find nearly every header that leans on an earlier one. Beyond ours, only the compiler's, the C
library's and Boost's headers may be reached, and none of Boost's heavy or hidden parts.
Usage: check_public_headers.py COMPILER SOURCE_FOLDER
"""
import pathlib
import re
import subprocess
import sys
import tempfile

INCLUDE_FOLDERS = ["settings/include", "platform/include", "platform/include/microservices"]
FLAGS = ["-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Werror", "-fsyntax-only"]
FOREIGN = re.compile(r"/boost/(thread\.hpp|json|log|locale|dll)|/(fmt|tbb|oneapi|CLI|glib|gtest|rapidcheck|capnp|kj)/"
                     r"|/(zip|zipconf|pugixml|pugiconfig|sodium)\.h")


def compile_headers(compiler, top, headers, scratch):
    source, dependencies = scratch / "all.cpp", scratch / "all.d"
    source.write_text("".join(f'#include "{header}"\n' for header in headers))
    command = [compiler, *FLAGS, *(f"-I{top / f}" for f in INCLUDE_FOLDERS), "-MD", "-MF", dependencies, source]
    return (dependencies.read_text().split() if subprocess.run(command).returncode == 0 else None)


def main(compiler, top):
    headers = sorted(str(f) for folder in INCLUDE_FOLDERS[:2] for f in (top / folder).rglob("*.h*"))
    if not headers:
        print("no public headers found")
        return 1
    with tempfile.TemporaryDirectory() as scratch:
        for order in (headers, headers[::-1]):
            reached = compile_headers(compiler, top, order, pathlib.Path(scratch))
            if reached is None:
                return 1
    foreign = [file for file in reached if FOREIGN.search(file)]
    print("\n".join([f"reached: {file}" for file in foreign] + [f"{len(headers)} headers, {len(foreign)} faults"]))
    return 1 if foreign else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], pathlib.Path(sys.argv[2]).resolve()))
