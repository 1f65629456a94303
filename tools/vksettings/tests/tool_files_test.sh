#!/usr/bin/env bash
# Files that the tool installs, exports, imports and leaves behind.
# Usage: tool_files_test.sh TOOL FOLDER_OF_THE_DEFINITIONS
source "$(dirname "$0")/checks.sh"

define() { # GROUP FILE VALUE: builds a factory file
    printf '{"groupName": "%s", "settings": [{"name": "x", "value": %s}, {"name": "y"}]}' "$1" "$3" >"$1.json"
    mkdir -p "$(dirname "$2")"
    "$tool" factory build "$1.json" "$2" >/dev/null
}

# Installing: each group has a file of its own, whatever the input is called.
define alpha factory.vksettings 1
define beta other/factory.vksettings 2
code 0 "factoryFiles/alpha.vksettings" factory install factory.vksettings
code 0 "factoryFiles/beta.vksettings" factory install other/factory.vksettings
out 1 get alpha.x
out 2 get beta.x
define alpha again.vksettings 3
code 0 "installed" factory install again.vksettings
out 3 get alpha.x
out 'alpha.
beta.' list
code 0 "installed" factory install --hidden again.vksettings
out 'beta.' list
code 0 "alpha." list --all
code 0 "installed" factory install again.vksettings
define Alpha case.vksettings 4
code 1 "by case only" factory install case.vksettings
code 0 "" set alpha.x 5
code 0 "exported 1 value to" export alpha mine.vksettings
code 3 "is no factory file" factory install mine.vksettings
for i in 1 2 3 4; do define "g$i" "g$i.vksettings" "$i"; done
for i in 1 2 3 4; do "$tool" factory install "g$i.vksettings" >/dev/null & done
wait
verdict "installed at once" "$("$tool" list | wc -l)" 6
SETTINGS_FACTORYDIR='' code 1 "SETTINGS_FACTORYDIR" factory install g1.vksettings

# Exporting.
code 0 "exported" export alpha f.vksettings --level factory
code 0 'nothing is set on level "user"' export beta empty.vksettings
code 3 'holds the settings of "alpha"' export beta mine.vksettings
code 3 'no settings file' export alpha ./alpha.json
code 2 '"alpha" is no name of a settings file' export alpha.x alpha
code 2 'write "./alpha.json"' export alpha alpha.json
verdict "a forgotten FILE is not written" "$([[ -e alpha ]] && echo there)" ""
code 2 "must not be empty" export alpha ''
code 2 "must not be empty" dump ''
mkdir .varnek-replace-AbCdEf
code 0 "exported" export alpha mine.vksettings
verdict "what an interrupted command left is swept" "$(find . -maxdepth 1 -name '.varnek*')" ""

# Importing.
code 0 "" set alpha.y 6
code 0 "exported 2 values" export alpha mine.vksettings
code 0 "alpha.y = 6" import mine.vksettings
define alpha less.vksettings 1
sed -i 's/, {"name": "y"}//' alpha.json
"$tool" factory build alpha.json less.vksettings >/dev/null
"$tool" factory install less.vksettings >/dev/null
rm user/alpha.vksettings
out 'merged 1 value into "alpha" on level "user"
skipped alpha.y: there is no such setting' import mine.vksettings --merge
out 5 get alpha.x
out '' import empty.vksettings
code 1 "is a factory file: it holds definitions, not values" import less.vksettings
code 1 "is a factory file" import less.vksettings --merge
mkdir installation
export SETTINGS_INSTALLATIONDIR="$place/installation"
out 'merged 1 value into "alpha" on level "installation"
skipped alpha.y: there is no such setting' import mine.vksettings --merge --level installation
out 5 get alpha.x --level installation
rm -r "$SETTINGS_FACTORYDIR/varnek"
code 1 '"alpha"' import mine.vksettings --merge
"$tool" factory install again.vksettings >/dev/null
verdict "a file is named once" "$("$tool" import /tmp 2>&1 | grep -o '/tmp' | wc -l)" 1

# Why a level cannot be changed.
SETTINGS_INSTALLATIONDIR="$place/missing" code 1 "missing does not exist" set alpha.x 1 --level installation
SETTINGS_INSTALLATIONDIR="$place/mine.vksettings" code 1 "is no folder" set alpha.x 1 --level installation
unset SETTINGS_INSTALLATIONDIR
code 1 "SETTINGS_INSTALLATIONDIR names one" set alpha.x 1 --level installation

# Dumping.
dumped=$("$tool" dump mine.vksettings)
for member in '"file": "mine.vksettings"' '"encrypted": false' '"title": "Settings Data"' '"version": ' \
    '"/schema.json": "' '"/settingstree/settings.json": {' '"qfdata": 6'; do
    verdict "dump has $member" "$(grep -c -F "$member" <<<"$dumped")" 1
done

# An encrypted file (its password is "sesame"): dumped with its password, never replaced.
cp "$tests/encrypted.vksettings" secret.vksettings
code 3 "encrypted" dump secret.vksettings
code 3 "assword" dump secret.vksettings --password wrong
verdict "dump --password" "$("$tool" dump secret.vksettings --password sesame | grep -c -e '"encrypted": true' -e '"qfdata": 42')" 2
code 3 "never replaced" export alpha secret.vksettings
mv user/alpha.vksettings kept
cp secret.vksettings user/alpha.vksettings
code 3 "never replaced" set alpha.x 7
verdict "the encrypted file is as it was" "$(cmp secret.vksettings user/alpha.vksettings && echo same)" same
mv kept user/alpha.vksettings

# A damaged file: the user is told where it went.
head -c 200 user/alpha.vksettings >cut && cp cut user/alpha.vksettings
code 0 "is kept as $place/user/alpha.vksettings.damaged" set alpha.x 8
cp cut user/alpha.vksettings
code 0 "is kept as $place/user/alpha.vksettings.damaged-2" set alpha.x 9
verdict "told once" "$("$tool" set alpha.x 10 2>&1)" ""

# A folder that cannot be written, said in words.
if [[ $EUID -ne 0 ]]; then
    chmod a-w user
    code 3 "its folder cannot be written" set alpha.x 11
    chmod u+w user
fi

# A wrong location file, and control characters in it.
printf '[{"ToolboxGroupName": "\\u001b[2J", "FactoryFileName": "none.vksettings"}]' \
    >"$SETTINGS_FACTORYDIR/varnek/settings/factoryFiles/factoryFileLocation.json"
code 0 "none.vksettings" list --recursive
printf '{}' >"$SETTINGS_FACTORYDIR/varnek/settings/factoryFiles/factoryFileLocation.json"
code 3 "factoryFileLocation.json is not properly formatted" list

# Schemas of others.
cat >x.gschema.xml <<'END'
<schemalist><schema id="org.x" path="/org/x/">
  <key name="size" type="i"><default>7</default></key>
  <key name="pair" type="(ii)"><default>(1, 2)</default></key>
</schema></schemalist>
END
code 0 "mapped 1 key of 1 file, not mapped 1" factory from-gschema x.gschema.xml --output .
code 0 "wrote" factory build org.json org.vksettings
rm -r "$SETTINGS_FACTORYDIR/varnek"
code 0 "installed" factory install org.vksettings
out 7 get org.x.size

finish
