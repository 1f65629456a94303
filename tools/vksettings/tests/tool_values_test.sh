#!/usr/bin/env bash
# Values on their way through the tool: what is read is what was meant, what is shown goes back in.
# Usage: tool_values_test.sh TOOL FOLDER_OF_THE_DEFINITIONS
source "$(dirname "$0")/checks.sh"

cat >t.json <<'END'
{"groupName": "t", "settings": [
  {"name": "size", "value": {"qfdata": 12, "qftype": "int32"}, "attributes": {"title": "Size"},
   "settingValueValidator": {"MustBeInteger": true, "isVector": false, "MinValue": 6, "MaxValue": 72}},
  {"name": "old", "visible": false, "attributes": {"aliasName": "t.size"}},
  {"name": "older", "attributes": {"aliasName": "t.old"}},
  {"name": "lost", "visible": false, "attributes": {"aliasName": "t.gone"}},
  {"name": "astray", "attributes": {"aliasName": "t.sub"}},
  {"name": "word", "value": {"qfdata": "lf", "qftype": "string"}},
  {"name": "text", "value": "plain"},
  {"name": "real", "value": 1.5},
  {"name": "single", "value": {"qfdata": 1, "qftype": "single"}},
  {"name": "nothing"},
  {"name": "one", "visible": false, "value": ["x"],
   "settingValueValidator": {"MustBeString": true, "isVector": true}},
  {"name": "chars", "visible": false, "value": "lf", "isVector": true},
  {"name": "number", "visible": false, "value": [1]},
  {"name": "yes", "visible": false, "value": [false]},
  {"name": "cell", "visible": false,
   "value": {"qfdata": [{"qfdata": "a", "qftype": "char"}], "qftype": "cell"}},
  {"name": "never", "visible": false},
  {"name": "small", "visible": false, "value": 1, "settingValueValidator": {"MaxValue": 5}},
  {"name": "wrap", "visible": false, "value": "auto", "settingValueValidator": [
    {"MustBeLogical": true, "isVector": false},
    {"MustBeString": true, "isVector": false, "ValidStringValues": ["auto"]}]},
  {"name": "evil\u001b[2J\nt.fake", "value": 1}],
 "groups": [{"groupName": "sub", "settings": [{"name": "list", "value": [1, 2]}]}]}
END
"$tool" factory build t.json t.vksettings >/dev/null
"$tool" factory install t.vksettings >/dev/null

# Numbers are exact or refused.
code 1 "9007199254740992" set t.real 9007199254740993
code 1 "9007199254740992" set t.nothing 9007199254740993
code 1 "9007199254740992" set t.real --json '[1, 9007199254740993]'
code 1 "100000000000000000000" set t.real 99999999999999999999
code 1 "16777217" set t.single 16777217
code 0 "" set t.real 9007199254740992
code 0 "" set t.real --json '{"qfdata": 9007199254740993, "qftype": "int64"}'
out 9007199254740993 get t.real
code 0 "" set t.real 1e20
for number in -5 -1e-3 -Inf; do
    code 0 "" set t.real "$number" --level user
done
out -Inf get t.real
code 0 "" set t.real -- -7
out -7 get t.real

# A value is read by the type of the setting, whatever was stored with --json.
code 0 "" set t.single --json '"abc"'
code 1 "is no value of type single" set t.single abc
code 0 "" set t.single 15
verdict "the type is the setting's" "$("$tool" get t.single --json | grep -c '"type":"single"')" 1
code 0 "" set t.size 15
code 1 'no value of type int99' set t.size --json '{"qfdata":1,"qftype":"int99"}'

# What is shown goes back in.
for name in t.word t.text; do
    for text in lf '"quoted"' '[1,2]' '' '(not set)' $'two\nlines' $'\e[2J'; do
        code 0 "" set $name "$text"
        verdict "$name holds $text" "$("$tool" get $name && echo .)" "$text"$'\n.'
    done
done
code 0 "" set t.sub.list "$("$tool" get t.sub.list)"

# A list is a list, also with one element and where its default has one.
list_() { # NAME VALUE EXPECTED: what is stored, and that it goes back in
    code 0 "" set "$1" "$2"
    out "$3" get "$1"
    code 0 "" set "$1" "$("$tool" get "$1")"
    out "$3" get "$1"
    code 0 "" set "$1" --json "$("$tool" get "$1" --json | python3 -c 'import json, sys
print(json.dumps(json.load(sys.stdin)["value"]))')"
    out "$3" get "$1"
}
list_ t.one '["a"]' '["a"]'
list_ t.one '["a", "ü"]' '["a","ü"]'
list_ t.one '["abc", "d"]' '["abc","d"]'
list_ t.one word '["word"]'
list_ t.one '' '[""]'
list_ t.one '[]' '[]'
list_ t.chars '["lf", "crlf"]' '["lf","crlf"]'
list_ t.number '[5]' '[5]'
list_ t.number 5 '[5]'
list_ t.number '["NaN"]' '["NaN"]'
list_ t.number 'NaN' '["NaN"]'
list_ t.yes '[true]' '[true]'
list_ t.sub.list 7 '[7]'
list_ t.cell '["a"]' '["a"]'
list_ t.never hello hello
list_ t.never '["q"]' '["q"]'
code 0 "" unset t.never
code 0 "" set t.never hello
list_ t.never '["q"]' '["q"]'
list_ t.word '["q"]' '["q"]'
verdict "which is one text" "$("$tool" explain t.word | grep -c 'user .*\[string\] ')" 1
code 0 "" set t.one '["a"]'
out 't.one = ["a"]  (user)' list t.one
verdict "explain" "$("$tool" explain t.one | grep -c -e '> user .*\["a"\]  \[string, vector\]' -e 'factory .*\["x"\]')" 2
verdict "get --json" "$("$tool" get t.one --json | grep -c '"value":\["a"\]')" 1
verdict "get --json of one text" "$("$tool" get t.word --json | grep -c '"value":{"qfdata":"\[\\"q\\"\]","qftype":"string"}')" 1
code 0 "" set t.sub.list --json 5
out 5 get t.sub.list
code 0 "" export t one.vksettings
verdict "import" "$("$tool" import one.vksettings | grep -F 't.one = ["a"]')" 't.one = ["a"]'
code 1 '"t.small" cannot be [9] on level "user"' set t.small '[9]'
mkdir installation
export SETTINGS_INSTALLATIONDIR="$place/installation"
code 0 "" set t.one '["i"]' --level installation
verdict "list of one in the installation" "$("$tool" get t.one --level installation)" '["i"]'
unset SETTINGS_INSTALLATIONDIR
for name in t.one t.chars t.number t.yes t.cell t.never; do
    code 0 "" unset $name
done
code 0 "" set t.word $'\e[2J'
code 0 "" set t.sub.list '[1, 2]'
# Words that no text may be are JSON for what the validators take besides.
for word in 1 true; do
    code 0 "" set t.wrap $word
    out true get t.wrap
    code 0 "" set t.wrap auto
    out auto get t.wrap
done
code 1 'cannot be 5 on level "user"' set t.wrap 5
code 1 'cannot be off on level "user"' set t.wrap off

# Nothing set is no text.
code 1 '"t.nothing" has no value' get t.nothing
code 1 '"t.size" has no value on level "installation"' get t.size --level installation
out '{"dimensions":[],"level":null,"name":"t.nothing","type":null,"value":null}' get t.nothing --json

# An alias goes by its own name, one step.
code 0 "" unset t.size
code 0 "" set t.old 20
out 20 get t.size
out '{"dimensions":[1,1],"level":"user","name":"t.old","type":"int32","value":{"qfdata":20,"qftype":"int32"}}' \
    get t.old --json
out 't.old = 20  (user)' list t.old
code 1 '"t.older" has no value' get t.older
code 0 "alias of: t.size" explain t.old
code 0 "alias of: t.old" explain t.older
code 0 "alias of: t.gone (leads nowhere)" explain t.lost
verdict "explain --json of aliases" "$(for name in t.lost t.old; do "$tool" explain $name --json | grep aliasLeadsNowhere; done)" \
    '  "aliasLeadsNowhere": true,
  "aliasLeadsNowhere": false,'
verdict "explain --json" "$("$tool" explain t.old --json | grep -c -e '"name": "t.old"' -e '"aliasOf": "t.size"')" 2

# explain: levels in order, the winner, files, flags, validators.
verdict "explain" "$("$tool" explain t.size)" "t.size
  Size
  session       (not set)  (memory only)
> user          20  [int32]  ($place/user/t.vksettings)
  installation  (not set)
  factory       12  [int32]  ($place/factory/varnek/settings/factoryFiles/t.vksettings)
  flags: visible, writable, defined on level \"factory\"
  must be: numeric scalar, integer, from 6 to 72"

# list: groups end with a dot, or look like settings without value in JSON.
verdict "names and values cannot forge lines" "$("$tool" list t | tr '\n' '|')" \
    't.astray = (not set)|t.evil\x1B[2J\x0At.fake = 1|t.nothing = (not set)|t.older = (not set)|t.real = -7  (user)|t.single = 15  (user)|t.size = 20  (user)|t.sub.|t.text = \x1B[2J  (user)|t.word = \x1B[2J  (user)|'
verdict "list -r" "$("$tool" list t -r | grep -c 't.sub.list = \[1,2\]')" 1
verdict "list -a" "$("$tool" list t -a | grep -c 't.old = 20')" 1
names() { python3 -c 'import json, sys
for entry in json.load(sys.stdin):
    print(entry["name"], entry["type"], entry["value"], entry["dimensions"], entry["level"])'; }
verdict "list --json" "$("$tool" list t --json | names | grep -e t.sub -e t.size -e t.nothing)" \
    "t.nothing None None [] None
t.size int32 {'qfdata': 20, 'qftype': 'int32'} [1, 1] user
t.sub group None [] None"
verdict "list -r --json" "$("$tool" list t -r --json | names | grep t.sub)" "t.sub.list double [1, 2] [1, 2] user"

# Paths that are no UTF-8.
cp user/t.vksettings $'\xE9.vksettings'
verdict "dump of a file whose name is no UTF-8" "$("$tool" dump $'\xE9.vksettings' | grep -c '"file": "\\udce9.vksettings"')" 1
mkdir $'\xE9'
SETTINGS_USERDIR="$place/"$'\xE9' code 0 '\udce9' explain t.size --json

# The level "session" ends with the process.
code 1 '"session"' set t.size 9 --level session
code 1 '"session"' import user/t.vksettings --merge --level session

# Output that cannot be written; a reader that has seen enough is no failure.
got=0
message=$("$tool" list t 2>&1 >/dev/full) || got=$?
verdict "exit code when the disk is full" "$got" 3
verdict "message when the disk is full" "$message" "vksettings: cannot write the output: No space left on device"
got=0
message=$("$tool" get t.text 2>&1 >/dev/full) || got=$?
verdict "the same for one value" "$got $message" "3 vksettings: cannot write the output: No space left on device"
"$tool" list --recursive --all | head -n 1 >/dev/null

finish
