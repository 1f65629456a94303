#!/usr/bin/env bash
# Wrong arguments end `dev` with 2 and one line that tells what is right, before anything is done.
# Usage: dev_arguments_test.sh SOURCE
set -uo pipefail
cd "$1" || exit
failures=0

refused() { # MESSAGE ARGUMENTS...
    local message=$1 told code
    shift
    told=$(DEV_SKIP_PACKAGES=1 ./dev "$@" 2>&1 </dev/null)
    code=$?
    if ((code != 2)) || [[ ${told##*$'\n'} != "dev: $message (./dev help)" ]]; then
        printf './dev %s ended with %d:\n%s\n' "$*" "$code" "$told"
        failures=$((failures + 1))
    fi
}

refused "install needs one PREFIX, the folder to install into" install
refused "install needs one PREFIX, the folder to install into" install ""
refused "install needs one PREFIX, the folder to install into" install one two
refused "check takes --quick or nothing" check all
refused "check takes --quick or nothing" check ""
refused "check takes --quick or nothing" check --quick all
refused "there is no fuzz/targets/nothing.cpp" fuzz nothing
refused "fuzz takes a target and a number of seconds" fuzz json_fuzz many
refused "fuzz takes a target and a number of seconds" fuzz 1 2
refused "there is no command 'tests'" tests
for command in demo bench format clean; do
    refused "$command takes no arguments" "$command" --all
done
exit "$((failures != 0))"
