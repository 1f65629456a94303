#!/usr/bin/env bash
# Values that the definitions do not allow: refused by set and import, found by validate.
# Usage: tool_validate_test.sh TOOL FOLDER_OF_THE_DEFINITIONS PLUGIN
source "$(dirname "$0")/checks.sh"

cat >t.json <<'END'
{"groupName": "t", "settings": [
  {"name": "size", "value": {"qfdata": 12, "qftype": "int32"},
   "settingValueValidator": {"MustBeInteger": true, "isVector": false, "MinValue": 6, "MaxValue": 72}},
  {"name": "least", "value": 1, "settingValueValidator": {"MustBeNumeric": true, "MinValue": 0}},
  {"name": "word", "value": "on", "settingValueValidator": {"MustBeString": true, "ValidStringValues": ["on", "off"]}},
  {"name": "short", "value": "ab", "settingValueValidator": {"MustBeString": true, "MaxStringSize": 3}},
  {"name": "pair", "value": [1, 2], "settingValueValidator": {"MustBeNumeric": true, "isVector": true, "MaxVectorSize": 2}},
  {"name": "flag", "value": true, "settingValueValidator": {"MustBeLogical": true}},
  {"name": "either", "value": 1, "settingValueValidator": [
     {"MustBeNumeric": true, "isVector": false, "MinValue": 0, "MaxValue": 9},
     {"MustBeString": true, "ValidStringValues": ["auto"]}]},
  {"name": "fixed", "value": "x", "readonly": true},
  {"name": "old", "attributes": {"aliasName": "t.size"}},
  {"name": "free"}]}
END
cat >f.json <<'END'
{"groupName": "f", "settings": [
  {"name": "called", "value": 1, "language": "C", "packageName": "nowhere", "validationFcn": "check"},
  {"name": "both", "value": 1, "language": "VARNEK", "packageName": "varnek.settings",
   "validationFcn": "mustBeIntegerScalar", "settingValueValidator": {"MustBeNumeric": true, "MaxValue": 9}},
  {"name": "function", "value": 1, "language": "VARNEK", "packageName": "varnek.settings",
   "validationFcn": "mustBeNumericScalar"}]}
END
sed -e 's/"settingValueValidator": {[^}]*}/"visible": true/' -e '/"either"/,/"auto"/d' -e 's/, "readonly": true//' t.json >loose.json
use() { # DOCUMENT: defines the settings anew
    rm -f built.vksettings
    "$tool" factory build "$1" built.vksettings >/dev/null
    "$tool" factory install built.vksettings >/dev/null
}
use t.json

# One message: setting, value, level, rule. Nothing is stored.
refused() { # RULE ARGUMENTS OF set...
    local rule=$1
    shift
    code 1 "vksettings: \"$1\" cannot be ${*: -1} on level \"user\": $rule" set "$@"
}
refused '5 is not in the range from 6 to 72' t.size 5
refused '-1 is not at least 0' t.least -1
refused '"On" is none of on, off' t.word On
code 1 '"t.word" cannot be "" on level "user": "" is none of on, off' set t.word ''
refused '"2" is no value of type logical: ' t.flag 2
refused '"many" is no value of type int32' t.size many
code 0 "" set t.flag 0.0
verdict "a number for a logical" "$("$tool" get t.flag --json | grep -o '"value":false')" '"value":false'
code 0 "" unset t.flag
refused 'its length of 4 is not at most 3' t.short abcd
refused 'its size of 1x3 is refused (numeric vector, at most 2 elements)' t.pair '[1,2,3]'
refused 'it must be logical (logical of any shape)' t.flag --json 2
refused 'it must be numeric scalar, from 0 to 9; or text of any shape, one of "auto"' t.either --json 10
mkdir installation
SETTINGS_INSTALLATIONDIR="$place/installation" \
    code 1 '"t.either" cannot be no on level "installation": it must be numeric' set t.either --json '"no"' --level installation
use f.json
refused 'the validation function "C nowhere.check" could not be called: ' f.called 2
refused '10.5 is not at most 9' f.both 10.5
refused 'the validation function "VARNEK varnek.settings.mustBeIntegerScalar" refuses it: The value must be integer.' f.both 1.5
code 1 '"f.function" cannot be a on level "user": the validation function "VARNEK varnek.settings.mustBeNumericScalar" refuses it: The value must be numeric.' set f.function --json '"a"'
code 1 'f.called = 1  (factory): the validation function "C nowhere.check" could not be called' validate f
code 1 '"t.old" cannot be 5 on level "user": 5 is not in the range' set t.old 5
code 1 '"t.fixed" is read-only' set t.fixed y
verdict "nothing is stored" "$(ls user installation | xargs)" "installation: user:"
rm factory/varnek -r
use t.json
code 0 "" set t.either --json '"auto"'
code 0 "" unset t.either

# Values that are there already, since the definitions were looser when they were set.
out 'checked 8 values, 0 failed' validate
use loose.json
for pair in size=5 least=-1 word=On fixed=y free=3; do
    code 0 "" set "t.${pair%%=*}" "${pair#*=}"
done
"$tool" export t values.vksettings >/dev/null
"$tool" export t.least least.vksettings >/dev/null
use t.json
export SETTINGS_INSTALLATIONDIR="$place/installation"
code 0 "" set t.size 60 --level installation
failures='t.least = -1  (user): -1 is not at least 0
t.size = 5  (user): 5 is not in the range from 6 to 72
t.word = On  (user): "On" is none of on, off'
code 1 "" validate
out "$failures
checked 14 values, 3 failed" validate
out "$failures
checked 14 values, 3 failed" validate t
out 't.size = 5  (user): 5 is not in the range from 6 to 72
checked 3 values, 1 failed' validate t.size
code 0 "checked 2 values, 0 failed" validate t.fixed
code 1 "t.size = 5" validate t.old
verdict "nothing is changed" "$("$tool" get t.size) $(ls user)" "5 t.vksettings"

# A file, which need not be in place, and what the definitions do not know.
sed -i '/"free"/d; s/{"name": "old".*/{"name": "old", "attributes": {"aliasName": "t.size"}}]}/' t.json
use t.json
mkdir t # a folder is no reason not to find the group
code 1 "checked 13 values, 3 failed" validate t
rm -r t
mv user/t.vksettings kept
out 'unknown t.free: there is no such setting
t.least = -1: -1 is not at least 0
t.size = 5: 5 is not in the range from 6 to 72
t.word = On: "On" is none of on, off
checked 4 values, 3 failed, 1 unknown' validate values.vksettings
found() { python3 -c 'import json, sys
for f in json.load(sys.stdin):
    print(f["name"], f["finding"], f["level"], f["value"], f["type"], f["rule"], sep="|")'; }
verdict "validate --json" "$("$tool" validate ./values.vksettings --json | found | grep -e size -e free)" \
    "t.free|unknown|None|3|double|there is no such setting
t.size|failed|None|{'qfdata': 5, 'qftype': 'int32'}|int32|5 is not in the range from 6 to 72"
verdict "validate --json of nothing" "$("$tool" validate --json)" "[]"
code 1 '"t.least" cannot be -1 on level "user": -1 is not at least 0' import least.vksettings --merge
code 0 "" set t.size 7
"$tool" export t good.vksettings >/dev/null
code 0 "checked 1 value, 0 failed" validate good.vksettings

# What cannot be checked.
code 3 "no such file" validate missing.vksettings
code 3 "no such file" validate ./missing
code 1 'no group or setting "missing"' validate missing
printf 'no package' >user/t.vksettings
code 3 "t.vksettings" validate
code 3 "t.vksettings" validate t
printf x >bad.vksettings
code 3 "bad.vksettings" validate bad.vksettings
code 2 "" validate one two
mv kept user/t.vksettings

# A function that throws what nobody knows, in a product with plug-ins.
bin=$place/product/bin/linux64
mkdir -p "$bin/settings_plugins"
ldd "$tool" | awk '$1 ~ /^lib(settingscore|varnekplatform)/ { print $3 }' | xargs cp -Lt "$bin"
install -m 755 "$3" "$bin/settings_plugins/libfaulty.so"
cat >p.json <<'END'
{"groupName": "p", "settings": [
  {"name": "a", "value": 1, "language": "C", "packageName": "faulty", "validationFcn": "throwNumber"},
  {"name": "b", "value": 1, "language": "C", "packageName": "faulty", "validationFcn": "throwStandard"}]}
END
use p.json
LD_PRELOAD=$(preloaded "$bin"/lib*.so.*)
export LD_PRELOAD ASAN_OPTIONS=detect_leaks=0
function='the validation function "C faulty'
out "p.a = 1  (factory): $function.throwNumber\" ends with an unknown failure
p.b = 1  (factory): $function.throwStandard\" refuses it: out of order
checked 2 values, 2 failed" validate p

# The same on other ways to such functions.
code 1 "\"p.a\" cannot be 2 on level \"user\": $function.throwNumber\" ends with an unknown failure" set p.a 2
code 1 "\"p.b\" cannot be 2 on level \"user\": $function.throwStandard\" refuses it: out of order" set p.b 2
cat >p.json <<'END'
{"groupName": "p", "settings": [
  {"name": "ends", "value": 1, "language": "C", "packageName": "faulty", "validationFcn": "endThread"},
  {"name": "fine", "value": 1},
  {"name": "thrown", "language": "C", "packageName": "faulty", "runtimeDefaultFcn": "throwNumberAsDefault"}],
 "groups": [{"groupName": "worst", "settings": [
  {"name": "ended", "language": "C", "packageName": "faulty", "runtimeDefaultFcn": "endThreadAsDefault"}]}]}
END
use p.json
warning='vksettings: warning: the run-time default of "p.thrown" ends with an unknown failure'
out "p.ends = 1
p.fine = 1
$warning
p.thrown = (not set)
p.worst." list p
code 1 '"p.thrown" has no value' get p.thrown
code 0 "$warning" get p.thrown --json
code 0 "" set p.thrown 5
code 0 "5" get p.thrown
for way in "set p.ends 2" "get p.worst.ended" "list -r p" "validate p"; do
    # shellcheck disable=SC2086
    code 3 "a function of a definition has ended its thread" $way
done
code 1 '"p.ends" has no value on level "user"' get p.ends --level user
unset LD_PRELOAD ASAN_OPTIONS

finish
