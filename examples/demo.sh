#!/usr/bin/env bash
# A short guided session with the tool: the definitions of an imaginary application become factory files, are
# installed, read, changed, and read again by new processes; then the same with GSettings schemas of this system.
# Usage: examples/demo.sh FOLDER_OF_THE_TOOL
set -euo pipefail

tool_folder=$(cd "${1:?usage: examples/demo.sh FOLDER_OF_THE_TOOL}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
export PATH="$tool_folder:$PATH"

place=$(mktemp -d "${TMPDIR:-/tmp}/vksettings-demo.XXXXXX")
trap 'rm -rf "$place"' EXIT
export SETTINGS_FACTORYDIR="$place/factory" SETTINGS_USERDIR="$place/user" SETTINGS_INSTALLATIONDIR="$place/installation"
mkdir -p "$SETTINGS_FACTORYDIR" "$SETTINGS_USERDIR" "$SETTINGS_INSTALLATIONDIR"

if [ -t 1 ]; then bold=$'\e[1m' plain=$'\e[0m'; else bold='' plain=''; fi
say() { printf '\n%s# %s%s\n' "$bold" "$*" "$plain"; }
run() { printf '$ %s\n' "$*"; "$@"; }
# Runs a command that has to be refused.
refused() {
    printf '$ %s\n' "$*"
    local code=0
    "$@" || code=$?
    [ "$code" -ne 0 ] || { echo "demo: this should have been refused" >&2; exit 1; }
    echo "(exit code $code)"
}
# Compares what a new process reads with what was written.
expect() {
    local read
    read=$("${@:2}")
    printf '$ %s\n%s\n' "${*:2}" "$read"
    [ "$read" = "$1" ] || { echo "demo: expected $1" >&2; exit 1; }
}

cd "$place"
say "A toolbox author turns definition documents into factory files and installs them"
for document in "$here"/definitions/*.json; do
    name=$(basename "$document" .json)
    run vksettings factory build "$document" "$name.vksettings"
    run vksettings factory install "$name.vksettings"
done

say "What there is"
run vksettings list
run vksettings list editor --recursive

say "Reading and changing a value; every command is a new process"
expect 12 vksettings get editor.font.size
run vksettings set editor.font.size 14
expect 14 vksettings get editor.font.size
run vksettings get editor.font.size --json
run vksettings explain editor.font.size

say "What is refused, and why"
refused vksettings set editor.font.nothing 1
refused vksettings set editor.font.size 14 --level factory
refused vksettings set editor.font.size fourteen

say "The personal file is an ordinary zip package of JSON parts"
run ls -l "$SETTINGS_USERDIR"
run vksettings dump "$SETTINGS_USERDIR/editor.vksettings"

say "Taking settings to another machine"
run vksettings export editor "$place/my.vksettings"
run vksettings unset editor.font.size
expect 12 vksettings get editor.font.size
run vksettings import "$place/my.vksettings" --merge --level user
expect 14 vksettings get editor.font.size

schemas=/usr/share/glib-2.0/schemas
if compgen -G "$schemas/*.gschema.xml" >/dev/null; then
    say "Definitions that nobody here wrote: the GSettings schemas of this system"
    mkdir "$place/gsettings"
    run vksettings factory from-gschema "$schemas"/*.gschema.xml --output "$place/gsettings"
    for document in "$place"/gsettings/*.json; do
        vksettings factory build "$document" "${document%.json}.vksettings" >/dev/null
        vksettings factory install "${document%.json}.vksettings" >/dev/null
    done
    echo "built and installed: $(ls "$place"/gsettings/*.vksettings | wc -l) factory files"
    run vksettings list
    name=org.gnome.desktop.interface.cursor-size
    run vksettings explain "$name"
    run vksettings set "$name" 48
    expect 48 vksettings get "$name"
else
    say "No GSettings schemas on this system (package gsettings-desktop-schemas): that part is left out"
fi

say "Done. Everything above happened in $place, which is removed now"
