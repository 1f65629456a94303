#!/usr/bin/env bash
# Where the tool keeps personal settings when nobody says where, and what `prefdir` tells about it.
# Usage: tool_prefdir_test.sh TOOL FOLDER_OF_THE_DEFINITIONS
source "$(dirname "$0")/checks.sh"

code 0 "" factory build "$definitions/editor.json" editor.vksettings
code 0 "" factory install editor.vksettings

# A folder that was named is told, and nothing is made elsewhere.
out "$place/user
  from:        SETTINGS_USERDIR
  readable:    yes
  writable:    yes" prefdir
SETTINGS_USERDIR=$place/nowhere out '{
  "created": null,
  "createdBy": null,
  "filledFrom": null,
  "findings": [],
  "marked": false,
  "origin": "SETTINGS_USERDIR",
  "path": "'"$place"'/nowhere",
  "readable": false,
  "temporary": null,
  "writable": false
}' prefdir --json
verdict "the home folder is untouched" "$(find "$place" -name .config)" ""

# The first start makes the standard directory.
unset SETTINGS_USERDIR
releases=$place/.config/Quillfern/VARNEK
code 0 "" set editor.font.size 14
verdict "the value is in the preferences directory" "$(find "$releases" -name '*.vksettings')" "$releases/R2025a/editor.vksettings"
verdict "it is private" "$(stat -c %a "$releases/R2025a" "$releases/R2025a"/* | sort -u | paste -sd ' ')" "600 700"
code 0 "filled from: no earlier release" prefdir
mv "$releases/R2025a" "$releases/R2024b"
rm "$releases/R2024b"/{creation.timestamp,prefdir.json,migratePref.txt}

# A later release takes the values over.
out 14 get editor.font.size
code 0 "filled from: R2024b, 1 file of $releases/R2024b" prefdir
code 0 '"origin": "standard"' prefdir --json
verdict "the record is JSON" "$("$tool" prefdir --json | python3 -c '
import json, sys
report = json.load(sys.stdin)
print(report["marked"], report["createdBy"], report["filledFrom"]["release"], *report["filledFrom"]["files"])')" \
    "True R2025a R2024b editor.vksettings"
code 0 "" set editor.font.size 20
rm -rf "$releases/R2025a"
out 14 get editor.font.size

VARNEK_PREFDIR=$place/mine code 0 "from:        VARNEK_PREFDIR" prefdir
verdict "it is made" "$(ls mine)" "creation.timestamp
migratePref.txt
prefdir.json"

# Without a folder for personal settings no program starts.
for command in "prefdir" "list" "get editor.font.size"; do
    # shellcheck disable=SC2086
    VARNEK_PREFDIR=some/folder code 1 \
        "Unable to start VARNEK. Relative path for preferences directory ('some/folder') is not supported" $command
done

# Nor where an earlier release cannot be looked at; the last line names its folder. A path drives no terminal.
ln -s R2024b R2024b
for command in "prefdir" "get editor.font.size"; do
    # shellcheck disable=SC2086
    VARNEK_PREFDIR=$place/R2025a code 1 "cannot look at \"$place/R2024b\": Too many levels of symbolic links" $command
    # shellcheck disable=SC2086
    VARNEK_PREFDIR=$'some\e[2J' code 1 "('some\\x1B[2J') is not supported" $command
done
rm R2024b

# Where it cannot be made, a temporary folder serves, and the user is told.
printf '' >file
mkdir temporary
VARNEK_PREFDIR=$place/file/below TMPDIR=$place/temporary code 0 "vksettings: warning: The preferences folder" get editor.font.size
VARNEK_PREFDIR=$place/file/below TMPDIR=$place/temporary code 0 "from:        a temporary folder" prefdir
VARNEK_PREFDIR=$place/file/below TMPDIR=$place/temporary code 0 "finding:     $place/file/below cannot be made or written" prefdir
verdict "the finding is JSON" "$(VARNEK_PREFDIR=$place/file/below TMPDIR=$place/temporary "$tool" prefdir --json | python3 -c '
import json, sys
print(*(str(finding["kind"]) + finding["path"] for finding in json.load(sys.stdin)["findings"]))')" "0$place/file/below"
VARNEK_PREFDIR=$place/file/below TMPDIR=$place/temporary code 0 '"identifier": "VARNEK:settings:prefdir:SystemError"' prefdir --json
verdict "one that is empty is removed by the next" "$(ls temporary | wc -l)" 2

finish
