#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Checks in the feed's CI, without a controller, that an installed package runs.
# usage: test.sh PACKAGE VERSION

set -e
case $1 in
vorlind)
	sh -n /etc/init.d/vorlin
	vorlind 2>/tmp/vorlind.messages &
	vorlinctl --timeout 10 wait --status none
	vorlinctl --json status
	kill $!
	wait $! # it ends with 0, and leaves nothing behind
	rm /tmp/vorlind.messages
	;;
vorlinctl) vorlinctl --help >/dev/null ;;
*)
	echo "there is no package $1" >&2
	exit 1
	;;
esac
