#!/usr/bin/env bash
# Defines the toolbox in a folder of its own and runs its program.
# Usage: run.sh FOLDER_OF_THE_TOOL JAVA_PROGRAM JAR_OF_THE_FRONT_END JAR_OF_THE_TOOLBOX NATIVE_LIBRARY
set -euo pipefail
tool=$1/vksettings java=$2 classpath=$3:$4 library=$5
document=$(cd "$(dirname "$0")" && pwd)/charts.json

place=$(mktemp -d "${TMPDIR:-/tmp}/vksettings-java.XXXXXX")
trap 'rm -rf "$place"' EXIT
export SETTINGS_FACTORYDIR="$place/factory" SETTINGS_USERDIR="$place/user"
mkdir "$SETTINGS_FACTORYDIR" "$SETTINGS_USERDIR"
"$tool" factory build "$document" "$place/charts.vksettings"
"$tool" factory install "$place/charts.vksettings"
"$java" "-Dvksettings.library=$library" -Dcharts.font=Serif -cp "$classpath" org.example.charts.ChartProgram
