# shellcheck shell=dash
# SPDX-License-Identifier: Apache-2.0
# For the tests of the packages: installs their files over this machine's, and has their common
# checks. Sourced inside tools/sandbox, with $build set.

: "${build:?}"
failures=0
scratch=/run/stage
simulator=''

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

skip()
{
	echo "not run: $1"
	exit 77
}

# Before anything is written, which would be a folder of the machine.
[ "${VORLIND_SANDBOX-}" = private ] || skip 'only where namespaces are allowed'

# True as soon as the command is; false after much more than this many seconds, which only a hang
# takes, even on a busy machine.
within()
{
	tries=$(($1 * 200))
	shift
	until "$@"; do
		[ $tries -gt 0 ] || return 1
		tries=$((tries - 1))
		sleep 0.1
	done
}

# Installs components, and overlays /usr and /etc with their files.
lay_over()
{
	mkdir -p $scratch/image/usr $scratch/image/etc
	for component in "$@"; do
		DESTDIR=$scratch/image cmake --install "$build" --prefix /usr \
			--component "$component" >$scratch/install.log || {
			fail "component $component does not install"
			cat $scratch/install.log
		}
	done
	for folder in usr etc; do
		mkdir -p $scratch/work/$folder $scratch/upper/$folder
		layers=lowerdir=$scratch/image/$folder:/$folder,upperdir=$scratch/upper/$folder
		mount -t overlay -o "$layers,workdir=$scratch/work/$folder" overlay /$folder ||
			skip 'no overlay can be written to here'
	done
}

plug_in()
{
	"$build/vorlin-sim" --controller ti-08 --link /dev/ttyMSM1 --log $scratch/air.json \
		--control $scratch/control >$scratch/simulator.out 2>&1 &
	simulator=$!
	within 5 test -e /dev/ttyMSM1 || fail 'the simulated controller did not start'
}

pull_out()
{
	kill "$simulator"
	wait "$simulator"
	simulator=''
}

# The beacon with this minor number is on the air; a killed daemon leaves it there.
on_air()
{
	has_status advertising || return
	"$build/vorlin-sim" control $scratch/control air 2>/dev/null | grep -q "minor $1\b"
}

has_status()
{
	"$build/vorlinctl" status 2>/dev/null | grep -qE "^status +[0-9] $1"
}

# Given the daemon's /proc/PID/stat: it has a higher priority, if the machine allows that.
expect_ahead()
{
	if [ "$(nice -n -10 nice 2>/dev/null)" = -10 ]; then
		[ "$(echo "$1" | cut -d ' ' -f 19)" = -10 ] || fail 'the daemon is not at nice -10'
	else
		echo 'not looked at: the priority, which may not be raised here'
	fi
}

daemons()
{
	pidof vorlind | wc -w
}
