#!/usr/bin/env bash
# Personal files over three releases, each start a process of its own: what upgrades do, show and undo.
# Usage: tool_upgrade_test.sh TOOL FOLDER_OF_THE_DEFINITIONS
source "$(dirname "$0")/checks.sh"

release() { # GROUP SETTINGS UPGRADERS: installs the definitions of a release
    printf '{"groupName": "%s", "settings": [%s], "upgraders": [%s]}' "$1" "$2" "$3" >"$1.json"
    "$tool" factory build "$1.json" "$1.vksettings" >/dev/null
    "$tool" factory install "$1.vksettings" >/dev/null
}
setting() { # NAMES...
    local list=''
    for name in "$@"; do list="$list${list:+, }{\"name\": \"$name\", \"value\": 0}"; done
    printf '%s' "$list"
}
folder() { (cd user && sha256sum ./* | sort); }

# The first release.
release editor "$(setting size margin wrap)" ''
release viewer "$(setting zoom)" ''
for value in editor.size=11 editor.margin=12 editor.wrap=13 viewer.zoom=14; do
    code 0 "" set "${value%=*}" "${value#*=}"
done
cp -r user first && cp -r user again
code 3 "editor.vksettings.before-" upgrade --undo editor --to "$place"
out '' upgrade --log

# The second one.
first_changes='{"VersionLabel": "R2024b", "VersionChanges": [
    {"Operation": "move", "Inputs": ["editor.size"], "Outputs": ["editor.fontSize"]},
    {"Operation": "move", "Inputs": ["editor.margin"], "Outputs": ["editor.wrap"]},
    {"Operation": "remove", "Inputs": ["editor.ruler"]},
    {"Operation": "move", "Inputs": ["editor.margin"], "Outputs": ["viewer.margin"]}]}'
release editor "$(setting fontSize wrap)" "$first_changes"
release viewer "$(setting zoom margin)" ''
before=$(folder)
out "$place/user/editor.vksettings: through 0 of 1 upgrader
R2024b
  move editor.size -> editor.fontSize: Succeeded
  move editor.margin -> editor.wrap: Failed: A group or setting named \"editor.wrap\" already exists there. (VARNEK:settings:config:GroupOrSettingNameAlreadyExists)
  remove editor.ruler: Skipped
  move editor.margin -> viewer.margin: Succeeded
4 changes: 2 succeeded, 1 skipped, 1 failed" upgrade editor --dry-run
json=$("$tool" upgrade --dry-run editor --json)
for member in '"group": "editor"' '"isThere": true' '"upgraderCount": 1' '"status": "Skipped"' \
    '"id": "VARNEK:settings:config:GroupOrSettingNameAlreadyExists"' '"release": "R2024b"'; do
    verdict "dry run has $member" "$(grep -c -F "$member" <<<"$json" | sed 's/[1-9][0-9]*/some/')" some
done
verdict "a dry run writes nothing" "$(folder)" "$before"
out 11 get editor.fontSize
out 13 get editor.wrap
out 12 get viewer.margin
out 14 get viewer.zoom
code 0 "nothing to do" upgrade --dry-run editor
verdict "logged" "$("$tool" upgrade --log | head -2)" "editor: UserSettingsUpgrade to R2024b
R2024b"
verdict "logged of one group" "$("$tool" upgrade --log viewer)" ""
verdict "log as JSON" "$("$tool" upgrade --log editor --json | grep -c '"type": "UserSettingsUpgrade"')" 1

# The third one; the user skips nothing, and somebody else comes from the first.
second_changes='{"VersionLabel": "R2025a", "VersionChanges": [
    {"Operation": "move", "Inputs": ["editor.fontSize"], "Outputs": ["editor.points"]}]}'
release editor "$(setting points wrap)" "$first_changes, $second_changes"
out 11 get editor.points
SETTINGS_USERDIR="$place/first" out 11 get editor.points
SETTINGS_USERDIR="$place/first" out 12 get viewer.margin
verdict "kept once each" "$(cd user && echo *.before-*)" \
    "editor.vksettings.before-R2024b editor.vksettings.before-R2025a viewer.vksettings.before-R2024b"

# Back to the second release.
mkdir older
out "wrote $place/older/editor.vksettings" upgrade --undo editor --to older
code 3 "is there already" upgrade --undo editor --to older
release editor "$(setting fontSize wrap)" "$first_changes"
SETTINGS_USERDIR="$place/older" out 11 get editor.fontSize
# A file of the newer release is used as far as it is known, and nothing is lost in it.
code 0 "" set editor.wrap 20
code 1 "InvalidPersonalSettingsVersion" upgrade --dry-run editor
release editor "$(setting points wrap)" "$first_changes, $second_changes"
out 11 get editor.points
out 20 get editor.wrap

# An upgrade that was interrupted goes on where it was.
mkdir half
cp older/editor.vksettings half/
release editor "$(setting points title)" "$first_changes, {\"VersionLabel\": \"R2025a\", \"VersionChanges\": [
    {\"Operation\": \"move\", \"Inputs\": [\"editor.fontSize\"], \"Outputs\": [\"editor.points\"]},
    {\"Operation\": \"move\", \"Inputs\": [\"editor.wrap\"], \"Outputs\": [\"viewer.wrap\"]},
    {\"Operation\": \"move\", \"Inputs\": [\"editor.points\"], \"Outputs\": [\"editor.title\"]}]}"
release viewer "$(setting zoom margin wrap)" ''
printf 'no package' >half/viewer.vksettings
SETTINGS_USERDIR="$place/half" code 1 "Failed to open" upgrade --dry-run editor
verdict "as far as it went" "$(SETTINGS_USERDIR="$place/half" "$tool" get editor.points 2>/dev/null)" 11
rm half/viewer.vksettings
SETTINGS_USERDIR="$place/half" out 13 get viewer.wrap
SETTINGS_USERDIR="$place/half" out 11 get editor.title
mkdir wrong
cp half/viewer.vksettings wrong/editor.vksettings
SETTINGS_USERDIR="$place/wrong" code 3 'holds the group "viewer"' upgrade --dry-run editor

# Names that changed.
renames=$SETTINGS_FACTORYDIR/varnek/settings/factoryFiles/settingsRenames.json
printf '[{"OldName": "editor.fontSize", "NewName": "editor.title"}]' >"$renames"
SETTINGS_USERDIR="$place/again" code 0 "" list editor
verdict "told" "$(SETTINGS_USERDIR="$place/again" "$tool" upgrade --log editor | grep -A 2 "editor: Name")" \
    "editor: NameDependencyModelResults to R2025a
R2025a
  rename editor.fontSize -> editor.title: Succeeded"
printf '{}' >"$renames"
code 0 "settingsRenames.json" list editor
rm "$renames"

# Wrong usage.
code 2 "" upgrade editor
code 2 "" upgrade --dry-run --log editor
code 2 "" upgrade --undo editor
code 1 "is needed" upgrade --dry-run
code 1 "nowhere" upgrade --dry-run nowhere

finish
