#!/usr/bin/env bash
# The tool as its users run it: every command in a process of its own, results, messages and exit codes.
# Usage: tool_test.sh TOOL FOLDER_OF_THE_DEFINITIONS
source "$(dirname "$0")/checks.sh"

SETTINGS_FACTORYDIR='' code 0 "SETTINGS_FACTORYDIR names the folder" list
SETTINGS_USERDIR='' VARNEK_PREFDIR=relative code 1 "Relative path for preferences directory ('relative')" list
for name in editor numerics plotting; do
    code 0 "wrote" factory build "$definitions/$name.json" "$name.vksettings"
    code 0 "installed" factory install "$name.vksettings"
done

# The factory files in this folder are not taken for those of an installation that is not set up.
out 'editor.font.size = 12' list editor.font.size
out 12 get editor.font.size
code 0 "" set editor.font.size 14
out 14 get editor.font.size
out 12 get editor.font.size --level factory
out '{"dimensions":[1,1],"level":"user","name":"editor.font.size","type":"int32","value":{"qfdata":14,"qftype":"int32"}}' \
    get editor.font.size --json
verdict "personal files are private" "$(stat -c %a user/editor.vksettings)" 600
code 0 "" set editor.rulers '[72, 100]'
out '[72,100]' get editor.rulers
code 0 "" set numerics.random.seed 18446744073709551615
out 18446744073709551615 get numerics.random.seed
code 0 "" set editor.font.family 'größe 🙂'
out 'größe 🙂' get editor.font.family
code 0 "" set editor.font.ligatures true
out true get editor.font.ligatures

# Refused: the old value stays.
code 1 "editor.font.nothing" set editor.font.nothing 1
code 1 "is no value of type int32" set editor.font.size fourteen
code 1 "is no value of type int32" set editor.font.size 1.5
code 1 '"editor.theme" cannot be' set editor.theme $'\xff'
code 1 "is no value of type uint64" set numerics.random.seed 18446744073709551616
code 1 '"factory"' set editor.font.size 1 --level factory
code 1 '"installation"' set editor.font.size 1 --level installation
code 1 "levels are: session, user, installation, factory" set editor.font.size 1 --level nowhere
code 1 "is a group" get editor.font
code 1 "no value on level" unset editor.font.size --level session
out 14 get editor.font.size
code 2 "" set editor.font.size
code 2 'vksettings: there is no command "lst"' lst editor
code 2 'vksettings: there is no command "factory instal"' factory instal x
code 2 ""
code 2 "" factory
code 0 "Usage" get --help
code 0 "Usage" factory build --help

# Files.
code 0 "exported" export editor my.vksettings
code 1 "one product" export editor numerics both.vksettings
verdict "nothing is written for a refused export" "$(ls both.vksettings 2>&1 | wc -l)" 1
code 0 "" unset editor.font.size
code 0 "editor.font.size = 14" import my.vksettings
out 12 get editor.font.size
code 0 "merged 4 values" import my.vksettings --merge --level user
out 14 get editor.font.size
code 0 '"Settings Data"' dump my.vksettings
unzip -tqq my.vksettings >/dev/null && verdict "a stock zip tool opens the file" yes yes
code 3 "no such file" import nothing.vksettings
printf 'no package' >bad.vksettings
code 3 "bad.vksettings" dump bad.vksettings
code 3 "bad.vksettings" factory install bad.vksettings
printf '{"groupName": "x", "settings": [{"name": ""}, {"value": 1}]}' >bad.json
code 1 '$.settings[0].name' factory build bad.json x.vksettings
code 1 '$.settings[1].name' factory build bad.json x.vksettings
verdict "nothing is written for a wrong document" "$(find . -name x.vksettings)" ""

# A damaged personal file is set aside before the next save; the other groups still work.
head -c 200 user/editor.vksettings >cut && cp cut user/editor.vksettings
code 0 "editor.vksettings" get editor.font.size
code 0 "" set editor.font.size 20
verdict "the damaged file is kept" "$(cmp cut user/editor.vksettings.damaged && echo same)" same
out 20 get editor.font.size

# A folder that cannot be written (root can write everywhere, so it lets go of that first).
if [[ $EUID -eq 0 ]]; then
    chmod -R a+rX "$place" && chmod -R a+r user factory
    read_only=(setpriv --reuid=65534 --regid=65534 --clear-groups env HOME="$place" "$tool")
    if setpriv --reuid=65534 --regid=65534 --clear-groups test -x "$tool" 2>/dev/null; then
        got=0
        message=$("${read_only[@]}" set numerics.random.seed 5 2>&1) || got=$?
        verdict "exit code in a read-only folder" "$got" 3
        [[ $message == *numerics* ]] || verdict "message in a read-only folder" "$message" "...numerics..."
        out 18446744073709551615 get numerics.random.seed
    else
        echo "SKIPPED: another user cannot run $tool"
    fi
else
    chmod a-w user
    code 3 "numerics" set numerics.random.seed 5
    chmod u+w user
fi

# A reader that has seen enough is no failure of the system.
"$tool" list --recursive --all | head -n 1 >/dev/null

finish
