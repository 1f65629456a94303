#!/usr/bin/env bash
# Factory files for their authors: inspect, check, compare; and the installation's values.
# Usage: tool_factory_test.sh TOOL FOLDER_OF_THE_DEFINITIONS
source "$(dirname "$0")/checks.sh"

build() { # FILE SETTINGS [UPGRADERS]: a factory file of "t"
    printf '{"groupName": "t", "settings": [%s], "groups": [{"groupName": "sub", "settings": [{"name": "x", "value": 1}]}],
        "upgraders": [%s]}' "$2" "${3-}" >"$1.json"
    rm -f "$1"
    "$tool" factory build "$1.json" "$1" >/dev/null
}
repack() { # FILE SETTINGS: a settings file of "t" with nothing else
    python3 - "$1" "$2" <<'END_OF_SCRIPT'
import sys, zipfile
with zipfile.ZipFile(sys.argv[1]) as package:
    parts = {name: package.read(name) for name in package.namelist() if "/sub/" not in name}
parts["settingstree/settings.json"] = '{"groupName": "t", "settings": [%s]}' % sys.argv[2]
with zipfile.ZipFile(sys.argv[1], "w") as package:
    for name, content in parts.items():
        package.writestr(name, content)
END_OF_SCRIPT
}
size='{"name": "size", "value": 12, "settingValueValidator": {"MustBeNumeric": true, "isVector": false, "MinValue": 6, "MaxValue": 72}}'
removal='{"VersionLabel": "R2024b", "VersionChanges": [{"Operation": "remove", "Inputs": ["t.gone"]}]}'
move='{"VersionLabel": "R2025a", "VersionChanges": [{"Operation": "move", "Inputs": ["t.size"], "Outputs": ["t.points"]}]}'
build old "$size, {\"name\": \"fixed\", \"value\": 1, \"readonly\": true}, {\"name\": \"alias\", \"attributes\": {\"aliasName\": \"t.size\"}}" "$removal"

# inspect.
inspected=$("$tool" factory inspect old)
verdict "inspect" "${inspected%%parts*}" "group:     t
settings:  4 in 2 groups
  t.  3
  t.sub.  1
upgraders: 1
  R2024b
    remove t.gone
release:   R2025a
schema:    com.quillfern.varnek/settings/jsonschema/1-1-0
revision:  1
"
verdict "inspect lists the parts" "$(grep -c -e /schema.json -e /settingstree/sub/settings.json <<<"$inspected")" 2
verdict "inspect --json" "$("$tool" factory inspect old --json | python3 -c 'import json, sys
f = json.load(sys.stdin)
print(f["groupName"], f["settings"], f["groups"], f["upgraders"], f["release"], f["revision"], len(f["parts"]))')" \
    "t 4 [{'name': 't', 'settings': 3}, {'name': 't.sub', 'settings': 1}] [{'changes': [{'inputs': ['t.gone'], 'operation': 'remove', 'outputs': []}], 'label': 'R2024b'}] R2025a 1 4"
code 3 "no such file" factory inspect missing
printf x >bad
code 3 "bad" factory inspect bad
code 2 "" factory inspect

# What people get wrong.
for command in inspect check install; do
    code 3 'old.json is no factory file; "factory build" makes one' factory $command old.json
done
code 1 "is a settings file, no definition document" factory build old new
code 3 "the folder $place/none: No such file or directory" factory build old.json none/old
code 3 "not a regular file" factory build old.json .
code 2 "one of these commands is required: build, install, inspect, check, from-gschema" factory
code 2 "inspect, check" factory inspct old

# check: one file.
out '0 failures, 0 notes' factory check old
build faulty '{"name": "two words"}, {"name": "a", "attributes": {"aliasName": "t.none"}}' \
    '{"VersionLabel": "soon", "VersionChanges": [{"Operation": "remove", "Inputs": ["other.x"]}]}'
faults='failed: t.a: stands for "t.none", which is not defined
failed: upgrader soon: its label is none of a release, such as "R2025a"
failed: upgrader soon, change 1: "other.x" is not the full name of something below "t"
note: t.two words: "two words" is no name in the application'\''s language: a letter, then letters, digits and "_"
3 failures, 1 note'
out "$faults" factory check faulty
code 1 "" factory check faulty
verdict "check --json" "$("$tool" factory check faulty --json | python3 -c 'import json, sys
for f in json.load(sys.stdin):
    print(f["finding"], f["kind"], f["name"], sep="|")')" "failed|alias|t.a
note|name|t.two words
failed|upgrader|upgrader soon
failed|upgrader|upgrader soon, change 1"
code 3 "no such file" factory check missing
code 3 "bad" factory check bad
for definition in "$definitions"/*.json; do
    name=$(basename "$definition" .json)
    "$tool" factory build "$definition" "$name.vksettings" >/dev/null
    code 0 "0 failures" factory check "$name.vksettings"
done

# check: two releases.
build next "${size//72/80}, {\"name\": \"fixed\", \"value\": 2, \"readonly\": true}, {\"name\": \"alias\", \"attributes\": {\"aliasName\": \"t.size\"}}" "$removal"
out 'note: t.fixed: the default was 1, it is 2 now
note: t.size: accepted numeric scalar, from 6 to 72, accepts numeric scalar, from 6 to 80 now
0 breaks, 2 notes' factory check old next
code 0 "" factory check old next
build next "${size//72/70}" "$removal"
out 'break: t.alias: is gone, and no upgrader moves or removes its personal values
break: t.fixed: is gone, and no upgrader moves or removes its personal values
break: t.size: accepted numeric scalar, from 6 to 72, accepts numeric scalar, from 6 to 70 now
3 breaks, 0 notes' factory check old next
code 1 "" factory check old next
verdict "check OLD NEW --json" "$("$tool" factory check old next --json | grep -c -e '"finding": "break"' -e '"kind": "range"')" 4
build next "{\"name\": \"points\", \"value\": 12}, {\"name\": \"fixed\", \"value\": 1, \"readonly\": true}, {\"name\": \"alias\", \"attributes\": {\"aliasName\": \"t.points\"}}" "$removal, $move"
code 0 't.size: comes to "t.points"' factory check old next
build next "$size, {\"name\": \"fixed\", \"value\": 1, \"readonly\": true}, {\"name\": \"alias\", \"attributes\": {\"aliasName\": \"t.size\"}}" \
    "${removal/\]\}\]\}/]\}, {\"Operation\": \"remove\", \"Inputs\": [\"t.more\"]\}]\}}"
code 1 "was released with 1 change and has 2 now" factory check old next
code 3 "no such file" factory check old missing
code 2 "" factory check
code 2 "" factory check old next old

# What is exported of the definitions is the factory file.
"$tool" factory install old >/dev/null
"$tool" export t exported.vksettings --level factory >/dev/null
out '0 breaks, 0 notes' factory check old exported.vksettings
out '0 breaks, 0 notes' factory check exported.vksettings old
verdict "upgraders are exported" "$("$tool" factory inspect exported.vksettings | grep -c 'remove t.gone')" 1

# The installation's values, by the rules of the definitions.
"$tool" factory install old >/dev/null
mkdir installation
export SETTINGS_INSTALLATIONDIR="$place/installation"
code 0 "" set t.size 20 --level installation
out 20 get t.size
out 20 get t.size --level installation
verdict "everybody may read it" "$(stat -c %a installation/t.vksettings)" 644
verdict "nothing of it is personal" "$(ls user)" ""
code 0 "" set t.alias 21 --level installation
out 21 get t.size
code 0 "" set t.sub.x --json 3 --level installation
code 1 '"t.size" cannot be 5 on level "installation": 5 is not in the range from 6 to 72' set t.size 5 --level installation
code 1 '"t.fixed" is read-only' set t.fixed 5 --level installation
code 1 '"t.none"' set t.none 5 --level installation
code 1 "is no value of type double" set t.size x --level installation
out 21 get t.size
code 0 "" set t.size 30
out 30 get t.size
code 0 "" unset t.size
code 0 "" unset t.size --level installation
code 1 'has no value on level "installation"' unset t.size --level installation
out 12 get t.size
out 3 get t.sub.x
verdict "nothing is marked as added" "$(python3 - installation/t.vksettings <<'END_OF_SCRIPT'
import sys, zipfile
with zipfile.ZipFile(sys.argv[1]) as package:
    print(sum(b'"isUserDefined":true' in package.read(name) for name in package.namelist()))
END_OF_SCRIPT
)" 0

# Several at the same time lose nothing, whatever way they save.
many=$(for i in 1 2 3 4 5 6; do printf '{"name": "m%s", "value": 0},' "$i"; done)
build many "${many%,}"
"$tool" factory install many >/dev/null
for i in 1 2 3 4; do "$tool" set t.m$i $i --level installation & done
"$tool" export t empty.vksettings >/dev/null
for i in 5 6; do
    "$tool" set t.m$i $i >/dev/null
    "$tool" export t.m$i "m$i.vksettings" >/dev/null
    "$tool" import "m$i.vksettings" --merge --level installation >/dev/null &
done
wait
verdict "values of all processes" "$(for i in 1 2 3 4 5 6; do "$tool" get t.m$i --level installation; done | xargs)" "1 2 3 4 5 6"
out 3 get t.sub.x

# A merge changes the installation'''s file itself too, all or nothing; a list of one stays one.
build lists '{"name": "list", "value": [1, 2]}, {"name": "size", "value": 12, "settingValueValidator": {"MustBeNumeric": true, "MaxValue": 72}}, {"name": "other", "attributes": {"aliasName": "t.sub.x"}}'
"$tool" factory install lists >/dev/null
"$tool" set t.list '[7,8]' >/dev/null && "$tool" set t.size 50 >/dev/null
"$tool" export t some.vksettings >/dev/null
code 0 "" unset t.list && code 0 "" unset t.size
chmod 664 installation/t.vksettings
out 'merged 2 values into "t" on level "installation"' import some.vksettings --merge --level installation
verdict "permissions stay" "$(stat -c %a installation/t.vksettings)" 664
out '[7,8]' get t.list
out 50 get t.size
repack some.vksettings '{"name": "list", "hasValue": true, "value": {"qfdata": [9, 9], "qftype": "double"}},
    {"name": "size", "hasValue": true, "value": {"qfdata": 80, "qftype": "double"}}'
code 1 '"t.size" cannot be 80 on level "installation"' import some.vksettings --merge --level installation
out '[7,8]' get t.list
repack some.vksettings '{"name": "list", "hasValue": true, "isVector": true, "value": {"qfdata": 7, "qftype": "double"}},
    {"name": "other", "hasValue": true, "value": {"qfdata": 9, "qftype": "double"}}'
code 0 "merged 2 values" import some.vksettings --merge --level installation
out 9 get t.sub.x --level installation
verdict "a list of one" "$("$tool" dump installation/t.vksettings | grep -c '"isVector": true')" 1

# Protected files are refused; nobody is asked twice.
cp installation/t.vksettings kept && chmod 444 installation/t.vksettings
code 1 'the level "installation" cannot be changed: '"$place"'/installation/t.vksettings is write-protected' set t.size 30 --level installation
code 1 "is write-protected" import some.vksettings --merge --level installation
verdict "the protected file is as it was" "$(cmp kept installation/t.vksettings && stat -c %a installation/t.vksettings)" 444
chmod 644 installation/t.vksettings
chmod 444 lists
code 1 "lists is write-protected; --force writes it all the same" factory build many.json lists
code 0 "wrote lists" factory build lists.json lists --force
verdict "it has none afterwards" "$(stat -c %a lists)" 444
"$tool" factory install many >/dev/null

# A damaged file is left for the administrator; an encrypted one as well.
head -c 200 installation/t.vksettings >cut && cp installation/t.vksettings kept && cp cut installation/t.vksettings
code 3 "t.vksettings" set t.m1 9 --level installation
verdict "the damaged file is as it was" "$(cmp cut installation/t.vksettings && ls installation)" t.vksettings
cp "$tests/encrypted.vksettings" installation/t.vksettings
code 3 "encrypted" set t.m1 9 --level installation
mv kept installation/t.vksettings

# Without permission: refused, with the reason.
if [[ $EUID -eq 0 ]]; then
    chmod -R a+rX "$place" && chmod -R a+rwX user
    if setpriv --reuid=65534 --regid=65534 --clear-groups test -x "$tool" 2>/dev/null; then
        got=0
        message=$(setpriv --reuid=65534 --regid=65534 --clear-groups env HOME="$place" "$tool" set t.m1 9 --level installation 2>&1) || got=$?
        verdict "exit code without permission" "$got" 1
        verdict "message without permission" "$message" \
            "vksettings: the level \"installation\" cannot be changed: its folder $place/installation cannot be written"
    else
        echo "SKIPPED: another user cannot run $tool"
    fi
else
    chmod a-w installation
    code 1 "its folder $place/installation cannot be written" set t.m1 9 --level installation
    code 1 "its folder $place/installation cannot be written" unset t.m1 --level installation
    chmod u+w installation
fi
out 1 get t.m1 --level installation
SETTINGS_INSTALLATIONDIR="$place/missing" code 1 "missing does not exist" set t.m1 1 --level installation
SETTINGS_INSTALLATIONDIR= code 1 "SETTINGS_INSTALLATIONDIR names one" unset t.m1 --level installation

finish
