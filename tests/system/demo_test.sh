#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The demo shows three beacons and leaves nothing behind, even if it is interrupted.
# shellcheck disable=SC2317 # trap calls a function
# usage: demo_test.sh BUILD private|plain CONTROLLER [INT|HUP|TERM|PIPE]

set -u
cd "$(dirname "$0")/../.." || exit 1
build=$1
VORLIND_SANDBOX=$2
controller=$3
signal=${4-}
export VORLIND_SANDBOX
scratch=$(mktemp -d)
output=$scratch/output
demo=''
failures=0

clean_up()
{
	[ -z "$demo" ] || kill -s KILL -- "-$demo" 2>/dev/null
	rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 1' INT TERM HUP
mkdir "$scratch/tmp"
: >"$output"
TMPDIR=$scratch/tmp
export TMPDIR

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

expect_line()
{
	grep -qE "$1" "$output" || fail "the demo does not print: $1"
}

# What a vorlind has on the machine; another one may have it there already.
on_the_machine()
{
	find /dev -maxdepth 1 -name ttyMSM1
	ipcs -m -s | grep -iE '^0x0abcd00[12] '
}
before=$(on_the_machine)

left_behind()
{
	exec 8</dev # tools/sandbox locks it: nobody else is on the plain machine now
	flock 8
	pgrep -f "^$build/vorlin" >/dev/null && fail "a process is left: $(pgrep -af "^$build/vorlin")"
	[ -n "$before" ] || [ -z "$(on_the_machine)" ] || fail "left on the machine: $(on_the_machine)"
	[ -z "$(ls "$TMPDIR")" ] || fail "scratch is left: $(ls "$TMPDIR")"
	exec 8<&-
}

# Interrupts it like a terminal (all its processes), like kill (the first one), or by closing its
# output.
interrupt()
{
	case $signal in
	INT | HUP) kill -s "$signal" -- "-$demo" ;;
	TERM) kill -s TERM "$demo" ;;
	PIPE) kill "$reader" ;;
	esac
}

if [ -n "$signal" ]; then
	# In its own process group, as from a terminal. It would run for a day: the time limit of
	# the test ends a demo that is not interrupted.
	mkfifo "$scratch/pipe"
	tee "$output" <"$scratch/pipe" >"$scratch/copy" &
	reader=$!
	setsid sh -c 'exec env --default-signal=INT,PIPE tools/sandbox tools/demo "$@"' demo \
		"$build" "$controller" 86400 >"$scratch/pipe" 2>&1 &
	demo=$!
	tries=0
	until grep -q 'major 3' "$output"; do
		tries=$((tries + 1))
		if [ $tries -gt 1800 ] || ! kill -0 "$demo" 2>/dev/null; then
			break
		fi
		sleep 0.1
	done
	kill -0 "$demo" 2>/dev/null && interrupt
	wait "$demo"
	status=$?
	kill "$reader" 2>/dev/null
	[ $status != 77 ] || { cat "$output"; exit 77; }
	expect_line 'major 3'
	[ $status -gt 128 ] || fail "interrupted, the demo ends with status $status"
	tries=0 # the kernel needs a moment to end a namespace
	while pgrep -s "$demo" -r R,S,D,T >/dev/null && [ $tries -lt 600 ]; do
		tries=$((tries + 1))
		sleep 0.1
	done
	[ $tries -lt 600 ] || fail "a process is left: $(pgrep -a -s "$demo")"
	demo=''
else
	tools/sandbox tools/demo "$build" "$controller" 5 >"$output" 2>&1
	status=$?
	[ $status != 77 ] || { cat "$output"; exit 77; }
	[ $status = 0 ] || fail "the demo ends with status $status"
	expect_line "controller +$controller$"
	expect_line 'uuid E2C56DB5-DFFB-48D2-B060-D0F5A71096E0 major 1 minor 101 power -54 dBm interval 100 ms'
	expect_line 'uuid F7826DA6-4FA2-4E98-8024-BC5B71E0893E major 2 minor 202 power -54 dBm interval 100 ms'
	expect_line 'uuid B9407F30-F5F8-466E-AFF9-25556B57FE6D major 3 minor 303 power -54 dBm interval 100 ms'
	[ "$controller" != qualcomm ] || expect_line 'received the patch file byte for byte'
fi
left_behind

[ $failures = 0 ] || cat "$output"
exit $((failures > 0))
