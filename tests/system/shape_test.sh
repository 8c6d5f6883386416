#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# What the device's programs need at run time, and how they are hardened.
# usage: shape_test.sh BUILD needed|needed-device|hardened [LIBC]

set -u
build=$1
libc=${3-libc.so.6}
failures=0

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

needed()
{
	readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' '
}

expect_needed()
{
	[ "$(needed "$build/$1")" = "$2" ] || fail "$1 needs $(needed "$build/$1"), not $2"
}

expect_soname()
{
	readelf -d "$build/lib/$1" | grep -q "(SONAME).*\[$1\]" || fail "$1 has another SONAME"
}

expect_hardened()
{
	readelf -h "$1" | grep -qE 'Type:.*DYN' || fail "$1 is not position independent"
	readelf -d "$1" | grep -q 'BIND_NOW' || fail "$1 binds lazily"
	readelf -lW "$1" | grep -q 'GNU_RELRO' || fail "$1 has no RELRO"
	readelf -lW "$1" | grep -q 'GNU_STACK.* RWE' && fail "$1 has an executable stack"
	readelf -sW "$1" | grep -q '__stack_chk_fail' || fail "$1 has no stack protector"
	# musl has no functions for _FORTIFY_SOURCE.
	[ "$libc" = libc.so ] || readelf -sW "$1" | grep -q '_chk@' ||
		fail "$1 was built without _FORTIFY_SOURCE"
}

daemon_needs="$libc libinfo_transfer.so libqvkit.so libqvsh_log.so libuam.so "

case $2 in
needed)
	expect_needed vorlind "$daemon_needs"
	expect_needed vorlinctl "$libc "
	for lib in libqvsh_log.so libuam.so libqvkit.so libinfo_transfer.so; do
		expect_soname $lib
	done
	readelf -d "$build/vorlind" | grep -qF 'RUNPATH' || fail 'vorlind has no RUNPATH'
	readelf -d "$build/vorlind" | grep -qF '(RPATH)' &&
		fail 'RPATH would win over LD_LIBRARY_PATH'
	;;
needed-device)
	expect_needed vorlind "$daemon_needs"
	readelf -d "$build/vorlind" | grep -qE 'RPATH|RUNPATH' &&
		fail 'vorlind has paths of the building machine in it'
	;;
hardened)
	expect_hardened "$build/vorlind"
	expect_hardened "$build/vorlinctl"
	;;
esac
exit $((failures > 0))
