#!/usr/bin/env bash
# The Java front end on settings of its own.
# Usage: java_test.sh process|front_end|host CHECKS TOOL DEFINITION LIBRARY CLASSPATH JAVA HOST_TEST
set -euo pipefail
what=$1 checks=$2 definition=$4 library=$5 classpath=$6 java=$7 host_test=$8
source "$checks" "$3" ''

"$tool" factory build "$definition" javatest.vksettings >/dev/null
"$tool" factory install javatest.vksettings >/dev/null

run_java() {
    "$java" -Xcheck:jni -Xms64m -Xmx64m -XX:+AlwaysPreTouch -ea "-Dvksettings.library=$library" "-Dtest.tool=$tool" \
        -cp "$classpath" "$@"
}

case $what in
process) # without Java, and its end
    code 1 'A Java function of a setting was called before the Java virtual machine was ready.' set javatest.even 4
    out 2 get javatest.even
    code 0 'mustBeEven' explain javatest.even
    code 1 '' get javatest.cores
    verdict "nothing is stored" "$(ls user)" ""
    exit=vksettings.test.OpenAtExit
    verdict "ending with a watch and a listener" "$(run_java $exit 2>&1; echo "code $?")" $'1.5\ncode 0'
    verdict "ending from a listener" "$(run_java $exit 2.5 2>&1; echo "code $?")" $'1.5\ncode 7'
    verdict "ending from a listener on the thread that writes" \
        "$(run_java $exit 3.5 writer-exit 2>&1; echo "code $?")" $'2.5\ncode 7'
    verdict "ending while a listener blocks that thread" \
        "$(run_java $exit 4.5 writer-block 2>&1; echo "code $?")" $'3.5\ncode 5'
    finish
    ;;
front_end) run_java vksettings.test.Checks ValuesTest TreeTest EventsTest FunctionsTest ;;
host) VKSETTINGS_LIBRARY="$library" VKSETTINGS_CLASSPATH="$classpath" "$host_test" --gtest_brief=1 ;;
esac
