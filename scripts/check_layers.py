#!/usr/bin/env python3
"""Checks the order of the layers: a file includes lower rows and its own room, nothing else.

Rooms of one row do not include each other. The tables below are the whole rule; there is no list of exceptions.
Usage: check_layers.py SOURCE_FOLDER
"""
import pathlib
import re
import sys

INC, SRC = "settings/include/settingscore/", "settings/src/settingscore/"
CORE = SRC + "settings/"

OUTSIDE = ["settings/plugins", "tools", "bindings", "examples", "benchmarks"]  # exported headers only

# (row, room, path prefixes); the longest prefix that fits a file names its room.
ROOMS = [
    (0, "platform headers", ["platform/include/"]),
    (0, "export", [INC + "Export.hpp", SRC + "settingscore_pch.hpp"]),
    (1, "boostany", [INC + "boostany/", SRC + "boostany/"]),
    (1, "level", [INC + "level/", CORE + "level/"]),
    (2, "exception", [INC + "exception/", SRC + "exception/"]),
    (2, "events", [INC + "events/", SRC + "events/"]),
    (2.5, "plugin", [INC + "plugin/", SRC + "plugin/"]),
    (3, "validation", [INC + "validation/", SRC + "validation/"]),
    (4, "node", [INC + "Settings.hpp", INC + "node/", CORE + "node/", CORE + "settingsImpl", CORE + "Settings.",
                 CORE + "listenerTypes", CORE + "typedAccess"]),
    (4, "prefdir", [INC + "prefdir/", CORE + "prefdir/", CORE + "settingsPathUtil"]),
    (4, "security", [INC + "security/", SRC + "security/"]),
    (5, "file", [*(INC + f"{name}.hpp" for name in ("SaveReport", "SettingExplanation", "SettingsSaving",
                                                    "ValueCheck")), INC + "file/", CORE + "file/", CORE + "settingsFile"]),
    (5, "definition", [INC + "MSettings.hpp", INC + "validation/definition/", SRC + "validation/definition/"]),
    (6, "upgrade", [INC + "upgrade/", CORE + "upgrade/"]),
    (6, "factoryfile", [INC + "factoryfile/", SRC + "factoryfile/"]),
    (6, "file manager", [INC + "SettingsFileManager", SRC + "SettingsFileManager"]),
    (7, "root", [*(INC + f"{name}.hpp" for name in ("FactoryFileLocation", "PersonalFileWatch", "SettingsRoot")),
                 INC + "root/", CORE + "root/"]),
    (8, "spf", [INC + "spf/", SRC + "spf/"]),
    (9, "startup", [INC + "startup/", CORE + "startup/"]),
] + [(10, folder, [folder + "/"]) for folder in OUTSIDE]
ROOTS = ["platform/include/", "platform/include/microservices/", "settings/include/", "settings/src/", "platform/src/"]

# Libraries and the folders that may see them; a file of its own (".cpp") where only one may.
LIBRARIES = {
    r"zip\.h": ["platform/src/opc/"],
    r"pugixml\.hpp": ["platform/src/opc/", "platform/src/xml/"],
    r"boost/json": ["platform/src/json/"],
    r"boost/locale(?!/encoding_utf\.hpp)|fmt/": ["platform/src/catalogue/"],
    r"boost/log/": ["platform/src/log/"],
    r"boost/dll": ["platform/src/modules/"],
    r"capnp/|kj/|.*\.capnp\.h": ["platform/src/spf/", "benchmarks/"],
    r"sodium": ["settings/plugins/keymanager/"],
    r"tbb/|oneapi/": ["settings/src/*.cpp"],
    r"CLI/": ["tools/*.cpp"],
    r"histedit\.h": ["tools/*.cpp"],
    r"boost/thread\.hpp": [],
}
STANDARD = re.compile(r"[a-z_0-9]+|boost/.*")
SYSTEM = re.compile(r"((sys|linux|netinet|arpa)/)?[a-z_0-9]+\.h|cxxabi\.h")
PEERS_ALLOWED = ("benchmarks/", "bindings/")
# Who may see the service-provider framework.
REMOTE_CALLERS = ("platform/include/spf/", "platform/src/spf/", SRC + "spf/", "benchmarks/")


def room_of(path):
    found = [(len(p), row, room) for row, room, prefixes in ROOMS for p in prefixes if path.startswith(p)]
    if not found and path.startswith("platform/src/"):
        parts = path.split("/")
        return 0.5, "platform " + parts[2] if len(parts) > 3 else "platform"
    return max(found)[1:] if found else None


def resolve(name, folder, top):
    return next((c for c in [root + name for root in ROOTS] + [folder + "/" + name] if (top / c).is_file()), None)


def fault_of_own(path, name, room, top):
    target = resolve(name, path.rsplit("/", 1)[0], top)
    if target is None:
        return "is not found"
    theirs = room_of(target)
    if theirs is None:
        return f"leads to {target}, which has no row in {pathlib.Path(__file__).name}"
    if room[1] in OUTSIDE and theirs != room and "/src/" in target:
        return f"is hidden ({target}): only exported headers may be used here"
    if target.startswith("platform/include/spf/") and not path.startswith(REMOTE_CALLERS):
        return "may be included below " + " ".join(REMOTE_CALLERS) + " only"
    if theirs[0] < room[0] or theirs == room:
        return None
    return f"leads to room '{theirs[1]}' (row {theirs[0]:g}), not below room '{room[1]}' (row {room[0]:g})"


def fault_of_library(path, name, users):
    for pattern, owners in LIBRARIES.items():
        if not re.match(pattern, name):
            continue
        for owner in owners:
            folder, _, ending = owner.partition("*")
            if path.startswith(folder) and path.endswith(ending):
                users.setdefault(pattern, set()).add(path)
                if ending and len(users[pattern]) > 1:
                    return "belongs into one file, it is used in " + ", ".join(sorted(users[pattern]))
                return None
        return "may be included below " + " ".join(owners) + " only" if owners else "is too heavy to include"
    public = "/include/" in path
    if STANDARD.fullmatch(name) or not public and SYSTEM.fullmatch(name) or path.startswith(PEERS_ALLOWED):
        return None
    return "is neither the standard library nor Boost" + (" (public header)" if public else "")


def main(top):
    faults, users, count = [], {}, 0
    folders = ["platform/include", "platform/src", "settings/include", "settings/src", *OUTSIDE]
    files = [f for folder in folders for f in sorted((top / folder).rglob("*")) if f.suffix in (".hpp", ".cpp", ".h")]
    for file in files:
        path = file.relative_to(top).as_posix()
        room = room_of(path)
        count += 1
        if room is None:
            faults.append(f"{path}: has no row in {pathlib.Path(__file__).name}")
            continue
        for number, line in enumerate(file.read_text().splitlines(), 1):
            match = re.match(r'\s*#\s*include\s*([<"])([^>"]+)', line)
            if match:
                own = match[1] == '"'
                fault = fault_of_own(path, match[2], room, top) if own else fault_of_library(path, match[2], users)
                if fault:
                    faults.append(f"{path}:{number}: {match[2]} {fault}")
    print("\n".join(faults + [f"{count} files, {len(faults)} faults"]))
    return 1 if faults or not count else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
