#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs the clients that docs/protocol.md prints with the daemon; builds them from the installed
# files, as firmware would.
# usage: tools/sandbox tests/docs/protocol_test.sh BUILD

set -eu
cd "$(dirname "$0")/../.."
build=$1
made=$(mktemp -d)
trap 'kill $daemon $simulator 2>/dev/null || :; rm -rf "$made"' EXIT
daemon=''
simulator=''

fail()
{
	echo "FAILED: $1"
	exit 1
}

# Print the fenced block of a language.
block()
{
	sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{ /^\`\`\`/d; p }" docs/protocol.md
}

DESTDIR=$made/root cmake --install "$build" --component dev --prefix /usr >/dev/null
flags=$(PKG_CONFIG_PATH=$made/root/usr/share/pkgconfig pkg-config --cflags vorlind) ||
	fail 'pkg-config does not know vorlind'
block c >"$made/careful.c"
eval gcc -std=c11 -O1 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror "$flags" \
	-o "'$made/careful'" "'$made/careful.c'" || fail 'the client in C does not compile as C11'

"$made/careful" show version 2>"$made/none" && fail 'it is done without a daemon'
grep -q 'no daemon takes commands' "$made/none" || fail 'it does not say that there is no daemon'

"$build/vorlin-sim" --controller ti-08 --link /dev/ttyMSM1 >/dev/null 2>&1 &
simulator=$!
while ! [ -e /dev/ttyMSM1 ]; do kill -0 $simulator && sleep 0.01; done
"$build/vorlind" 2>"$made/messages" &
daemon=$!
PATH=$build:$PATH
vorlinctl wait --status available >/dev/null

"$made/careful" show version || fail "the client in C ends with $?"
grep -q '^BLE configuration utility: ' "$made/messages" || fail 'show version printed nothing'
"$made/careful" config gap-param 6 300 || fail "config ends with $?"
[ "$(vorlinctl show gap-param 6)" = 'GAP Param ID: 6, Value: 300' ] || fail 'it was not set'
"$made/careful" 2>/dev/null && fail 'it takes no words'

# The daemon goes on, whenever the client is killed.
i=0
while [ $i -lt 50 ]; do
	"$made/careful" show version 2>/dev/null &
	kill -9 $!
	wait $! 2>/dev/null || :
	i=$((i + 1))
done
"$made/careful" show version || fail "after kills it ends with $?"

block sh >"$made/shell"
sh -eu "$made/shell" >/dev/null || fail 'the lines for a shell fail'
vorlinctl wait --status advertising >/dev/null || fail 'no beacon is on the air'
