#!/usr/bin/env bash
# Toolboxes in bundles, below an installation of their own: good ones, bad ones, and what the tool says about them.
# Usage: tool_toolboxes_test.sh TOOL FOLDER_OF_THE_DEFINITIONS EXAMPLE_BUNDLE TEST_BUNDLES
source "$(dirname "$0")/checks.sh"

example=$3
bundles=$4
bin=$place/product/bin/linux64
session=$bin/factory_settings/session
mkdir -p "$session"
ldd "$tool" | awk '$1 ~ /^lib(settingscore|varnekplatform)/ { print $3 }' | xargs cp -Lt "$bin"
bundle() { # LIBRARY NAME: installs a bundle with its manifest
    install -m 755 "$1" "$session/lib$2.so"
    printf '{"bundle.symbolic_name": "%s", "bundle.activator": true}' "$2" >"$session/lib$2.so.json"
}
bundle "$example" example_telemetry
code 0 "" factory build "$definitions/editor.json" editor.vksettings
code 0 "" factory install editor.vksettings
LD_PRELOAD=$(preloaded "$bin"/lib*.so.*)
export LD_PRELOAD ASAN_OPTIONS=detect_leaks=0

# The example, as its page says.
out 1024 get telemetry.buffer.samples
code 1 "has to be a power of two" set telemetry.buffer.samples 1000
code 0 "" set telemetry.buffer.samples 2048
out 2048 get telemetry.buffer.samples
code 1 "3600" set telemetry.interval 4000
verdict "toolboxes" "$("$tool" toolboxes | awk '{ print $1, $2, $3, $4 }')" "GROUP SOURCE VISIBLE LOADED
editor file yes no
telemetry service yes no"
verdict "toolboxes --load" "$("$tool" toolboxes --load | awk 'NR == 3 { print $1, $4, $6 }')" "telemetry yes ms"
verdict "toolboxes --json" "$("$tool" toolboxes --json | python3 -c '
import json, sys
for group in json.load(sys.stdin):
    print(group["name"], group["source"], len(group["files"]), group["visible"], group["loaded"], group["milliseconds"])')" \
    "editor file 1 True False None
telemetry service 0 True False None"

# Broken ones do not keep the others back, and are named.
bundle "$bundles" throwing
bundle "$bundles" broken
bundle "$bundles" no_such_bundle
bundle "$example" garbage
printf 'no library' >"$session/libgarbage.so"
code 0 "libthrowing.so" get editor.font.size
verdict "the value all the same" "$("$tool" get editor.font.size 2>/dev/null)" 12
verdict "warnings" "$("$tool" get sound.x 2>&1 >/dev/null | grep -c '^vksettings: warning: ')" 7
for library in throwing no_such_bundle garbage; do
    code 0 "lib$library.so" get sound.x
done
code 0 "toolbox unsure: cannot tell whether it is visible" get sound.x
code 1 "cannot define anything" get faulty.x
verdict "told once" "$("$tool" get faulty.x 2>&1 | grep -c 'cannot define anything')" 1
code 1 'no group or setting "unsure' get unsure.x
code 0 "toolbox faulty: cannot define anything" list --recursive
unset LD_PRELOAD ASAN_OPTIONS

finish
