#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# However ./run ends, what it started ends with it, and its temporary files are removed.
# usage: leash_test.sh

set -u
cd "$(dirname "$0")/../.." || exit 1
scratch=$(mktemp -d)
leash=''
failures=0

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

# shellcheck disable=SC2317 # trap calls it
clean_up()
{
	[ -z "$leash" ] || kill -KILL "$leash" 2>/dev/null
	rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 1' INT TERM HUP

# A command with temporary files and children; one of them ignores all signals but SIGKILL.
cat >"$scratch/command" <<'END'
: >"$TMPDIR/scratch"
echo "$TMPDIR" >"$1/tmpdir"
sleep 86400 &
echo $! >"$1/child"
(trap '' TERM INT HUP; exec sleep 86401) &
echo $! >"$1/deaf"
case $2 in
end) exit 7 ;;
*) wait ;;
esac
END

# Zombies do not count.
lives()
{
	state=$(cut -d ' ' -f 3 "/proc/$1/stat" 2>/dev/null)
	[ -n "$state" ] && [ "$state" != Z ]
}

expect_nothing()
{
	[ ! -e "$(cat "$scratch/tmpdir")" ] || fail "$1: the scratch is left"
	for who in child deaf; do
		tries=0
		while lives "$(cat "$scratch/$who")" && [ $tries -lt 600 ]; do
			tries=$((tries + 1))
			sleep 0.1
		done
		[ $tries -lt 600 ] || fail "$1: the $who lives"
	done
}

tools/leash sh "$scratch/command" "$scratch" end
status=$?
[ $status = 7 ] || fail "the status of the command becomes $status"
expect_nothing end

# shellcheck disable=SC2016 # the other shell's words
tools/leash sh -c 'stat -c %a "$TMPDIR"' >"$scratch/mode"
[ "$(cat "$scratch/mode")" = 711 ] || fail 'another user cannot have temporary files behind it'

tools/leash true <&- || fail 'without a standard input it does not run the command'

for signal in INT TERM HUP; do
	rm -f "$scratch/deaf"
	env --default-signal=INT tools/leash sh "$scratch/command" "$scratch" wait &
	leash=$!
	tries=0
	until [ -s "$scratch/deaf" ] || [ $tries = 600 ]; do
		tries=$((tries + 1))
		sleep 0.1
	done
	kill -s "$signal" "$leash"
	wait "$leash"
	status=$?
	[ $status -gt 128 ] || fail "$signal: the status is $status"
	expect_nothing "$signal"
done
exit $((failures > 0))
