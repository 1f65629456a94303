# What the tests of the tool share: a place with level folders of its own, and checks that count. Sourced with
# TOOL FOLDER_OF_THE_DEFINITIONS.
set -euo pipefail

tool=$1
definitions=$2
tests=$(cd "$(dirname "$0")" && pwd)
place=$(mktemp -d "${TMPDIR:-/tmp}/vksettings-tool-XXXXXX")
trap 'chmod -R u+w "$place"; rm -rf "$place"' EXIT
cd "$place"
unset SETTINGS_INSTALLATIONDIR VARNEK_PREFDIR DISABLE_PREFCOPY3RELEASES XDG_CONFIG_HOME XDG_STATE_HOME
export SETTINGS_FACTORYDIR="$place/factory" SETTINGS_USERDIR="$place/user" HOME="$place"
mkdir factory user

passed=0
failed=0
verdict() { # WHAT GOT EXPECTED
    if [[ $2 == "$3" ]]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        printf 'FAILED %s\n  got:      %s\n  expected: %s\n' "$1" "$2" "$3"
    fi
}
out() { # EXPECTED ARGUMENTS...: what the command prints
    local expected=$1
    shift
    verdict "vksettings $*" "$("$tool" "$@" 2>&1 || true)" "$expected"
}
code() { # CODE WORD ARGUMENTS...: how it ends, and a word of its message
    local expected=$1 word=$2 got=0 message
    shift 2
    message=$("$tool" "$@" 2>&1) || got=$?
    verdict "exit code of vksettings $*" "$got" "$expected"
    [[ -z $word || $message == *"$word"* ]] || verdict "message of vksettings $*" "$message" "...$word..."
}
finish() {
    printf '%d passed, %d failed\n' "$passed" "$failed"
    [[ $failed -eq 0 ]]
}

# LIBRARIES as LD_PRELOAD takes them; the run-time of a sanitizer has to come first.
preloaded() {
    { ldd "$tool" | awk '$1 ~ /^lib[a-z]+san\.so/ { print $3 }'
      printf '%s\n' "$@"; } | paste -sd:
}
