#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# An installed package runs, for the feed's CI, where there is no controller. usage: test.sh PACKAGE
# VERSION

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
