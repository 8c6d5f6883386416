#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Checks the version of an installed package in the feed's CI. usage: test-version.sh PACKAGE VERSION

case $1 in
vorlind | vorlinctl) "$1" --version | grep -qwF "$2" ;;
*)
	echo "there is no package $1" >&2
	exit 1
	;;
esac
