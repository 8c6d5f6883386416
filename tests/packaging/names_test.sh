#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Whatever names the daemon's serial lines names all of them, in its order.
# usage: names_test.sh SOURCES

set -u
cd "$1" || exit 1
failures=0

lines=$(sed -n 's/^\t"\/dev\/\(tty.*\)",$/\1/p' hci/serial.cpp)
[ "$(echo "$lines" | wc -w)" -ge 5 ] || {
	echo "FAILED: the lines of the daemon are not found in hci/serial.cpp"
	exit 1
}
for file in packaging/hotplug packaging/systemd/60-vorlind.rules packaging/systemd/vorlind.service \
	packaging/systemd/vorlind-guard.service client/link/health.cpp client/commands/check.cpp \
	tests/soak/world.cpp; do
	named=$(grep -oE 'tty[A-Z]+[0-9]' "$file")
	[ "$named" = "$lines" ] || {
		printf 'FAILED: %s has other lines than the daemon:\n%s\n' "$file" "$named"
		failures=$((failures + 1))
	}
done
exit $((failures > 0))
