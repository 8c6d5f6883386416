#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The demo uses what the terminal can display. Run in tools/sandbox.
# usage: terminal_test.sh BUILD

set -u
build=$1
cd "$(dirname "$0")/../.." || exit 1
command -v script >/dev/null || { echo 'not run: there is no script, which makes a terminal'; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset LC_ALL LC_CTYPE NO_COLOR
escape=$(printf '\033')
failures=0

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

show() # COLUMNS LINES VARIABLE=VALUE...
{
	size="cols $1 rows $2"
	shift 2
	env TERM=xterm LANG=C.UTF-8 "$@" script -qec \
		"stty $size && tools/demo '$build' ti-08 1" "$scratch/typescript" >/dev/null </dev/null ||
		fail "the demo with $* ends with $?"
	sed '1d;$d' "$scratch/typescript" >"$scratch/shown" # without the lines of script itself
}

has()
{
	LC_ALL=C grep -q "$1" "$scratch/shown"
}

show 100 30 NOTHING=
has "$escape\[32m" || fail 'a terminal gets no colours'
has '█\|▓\|▒\|░' || fail 'a terminal gets no blocks'
show 100 30 NO_COLOR=1
has "$escape\[3[0-9]m" && fail 'NO_COLOR gets colours'
has "$escape\[H" || fail 'NO_COLOR gets no moving picture'
show 100 30 TERM=dumb
has "$escape" && fail 'TERM=dumb gets escapes'
has 'major 3 minor 303' || fail 'TERM=dumb gets no beacons'
show 100 30 LANG=C
has "$(printf '[\200-\377]')" && fail 'a terminal without UTF-8 gets other letters'
# How dense they are is chance.
has "m *[.:+#][ .:+#]*$escape\[0m" || fail 'a terminal without UTF-8 gets no blocks'
show 20 5 NOTHING=
for number in 101 202 303; do
	has "minor $number" || fail "20x5 does not show $number"
done
exit $((failures > 0))
