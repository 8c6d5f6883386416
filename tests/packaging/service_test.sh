#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The init scripts start, stop and reload the daemon, with its settings. Run in tools/sandbox.
# usage: service_test.sh BUILD busybox SHELL... | openwrt

set -u
here=$(dirname "$(readlink -f "$0")")
build=$1
manager=$2
shift 2
# shellcheck source=tests/packaging/stage.sh
. "$here/stage.sh"
if [ "$manager" = busybox ]; then
	shell=$1
	[ $# -lt 2 ] || applet=$2
	command -v "$shell" >/dev/null || skip "there is no $shell"
	if [ "$shell" = busybox ]; then
		# Its pidof also finds a script of the daemon's name.
		mkdir -p $scratch/image/usr/sbin
		ln -s "$(command -v busybox)" $scratch/image/usr/sbin/pidof
	fi
	lay_over daemon client "$manager"
else
	# shellcheck source=tests/packaging/openwrt/device.sh
	. "$here/openwrt/device.sh"
	install_packages
fi

# settings MINOR...: writes this manager's settings with exactly these beacons.
case $manager in
busybox)
	script=/etc/init.d/S60vorlind
	settings()
	{
		number=0
		printf 'set mac NONE\nbeacon clear all\n'
		for minor in "$@"; do
			number=$((number + 1))
			echo "beacon $number --uuid random --minor $minor on"
		done
		echo start
	} >/etc/vorlind/beacons
	service()
	{
		"$shell" ${applet+"$applet"} "$script" "$1"
	}
	;;
openwrt)
	service()
	{
		$script "$1"
	}
	;;
esac

guard_id()
{
	pgrep -f '^(/usr/bin/)?vorlinctl guard'
}

event()
{
	if [ "$manager" = busybox ]; then
		ACTION=$1 DEVNAME=$2 "$shell" ${applet+"$applet"} /usr/libexec/vorlind/hotplug
	else
		hotplug-call "$1" "${2##*/}"
	fi
}

### A process of that name without signal handlers: the signal would kill it.
mkdir -p $scratch/early
cp "$(command -v sleep)" $scratch/early/vorlind
$scratch/early/vorlind 60 &
early=$!
within 5 pidof vorlind >/dev/null
event add ttyUSB0
sleep 0.3
kill -0 $early 2>/dev/null || fail 'an attach event ends a daemon that is just starting'
kill $early
wait $early 2>/dev/null

if [ "$manager" = busybox ]; then
	service status >/dev/null
	[ $? = 3 ] || fail 'the status of a stopped daemon is not 3'
	service nonsense 2>/dev/null
	[ $? = 2 ] || fail 'an unknown action is not refused'
fi
service reload >/dev/null 2>&1
[ "$(daemons)" = 0 ] || fail 'a reload starts a stopped daemon'

### Start
plug_in
settings 11 12
service start || fail 'start fails'
within 20 on_air 11 || fail 'the first beacon is not on the air'
within 5 on_air 12 || fail 'the second beacon is not on the air'
[ "$(daemons)" = 1 ] || fail "there are $(daemons) daemons"
daemon=$(pidof vorlind)
[ "$(readlink "/proc/$daemon/cwd")" = / ] || fail 'the daemon does not run in /'
[ "$(cat "/proc/$daemon/comm")" = vorlind ] || fail 'the daemon has another name'
expect_ahead "$(cat "/proc/$daemon/stat")"
messages=$(readlink "/proc/$daemon/fd/2")
[ "$messages" = /run/vorlind/messages ] || fail "the messages go to $messages"
grep -qx 'Start vorlind daemon...' "$messages" || fail 'the messages do not begin with the start'
vorlinctl show version | grep -q '^BLE configuration utility' || fail 'vorlinctl hears no answer'
if [ "$manager" = busybox ]; then
	service start | grep -q 'runs already' || fail 'a second start does not say that it runs'
	[ "$(pidof vorlind)" = "$daemon" ] || fail 'a second start changes the daemon'
	service status | grep -q '^status *3 advertising' || fail 'the status is not told'
else
	grep -qx 'set interval 150' /run/vorlind/settings || fail 'the interval is lost'
fi

### The messages stay short
vorlinctl raw nonsense >/dev/null 2>&1
head -c 70000 /dev/zero >>"$messages"
kill -USR1 "$daemon" # repeats the command
sleep 0.5
kill -0 "$daemon" || fail 'a full file of messages ends the daemon'
[ "$(stat -c %s "$messages")" = $((70000 + $(tr -d '\0' <"$messages" | wc -c))) ] ||
	fail 'the size of the file cannot be explained'
[ "$(grep -ca 'user_cmd_change' "$messages")" = 1 ] || fail 'a full file grows'
vorlinctl raw nonsense >/dev/null 2>&1
[ $? = 4 ] || fail 'a command does not tell how it went though the file is full'
[ "$(stat -c %s "$messages")" -lt 1000 ] || fail 'a command does not empty the full file'
head -c 40000 /dev/zero >>"$messages"

### Reload
settings 13
service reload || fail 'reload fails'
within 10 on_air 13 || fail 'the new beacon is not on the air'
on_air 11 && fail 'the old beacon is on the air still'
[ "$(pidof vorlind)" = "$daemon" ] || fail 'a reload changes the daemon'
[ "$(stat -c %s "$messages")" -lt 32768 ] || fail 'a reload does not empty the full file'
vorlinctl raw nonsense >/dev/null 2>&1
grep -qa 'user_cmd_change' "$messages" || fail 'nothing is written into the emptied file'

### A controller that is removed and attached again
vorlinctl stop
pull_out
event change /dev/ttyMSM1
event remove /dev/ttyS0
sleep 0.5
has_status available || fail 'an event that is no concern of it reaches the daemon'
event remove ttyMSM1
within 10 has_status none || fail 'the loss of the controller is not told'
service reload || fail 'reload fails without a controller'
plug_in
event add /dev/ttyMSM1
within 10 on_air 13 || fail 'the settings have not waited for the controller'

### A controller that does not answer for a while
guard=$(guard_id) || fail 'the guard does not run'
"$build/vorlin-sim" control $scratch/control fault silent:times=2 >/dev/null
vorlinctl show mac >/dev/null 2>&1
within 30 on_air 13 || fail 'the guard does not bring the beacon back'

### A daemon that is killed, and one that hangs
kill -KILL "$daemon"
within 5 test ! -d "/proc/$daemon" || fail 'the daemon survives SIGKILL'
[ "$manager" = openwrt ] || service start || fail 'it does not start after a crash'
within 20 on_air 13 || fail 'after a crash the beacon does not come back'
daemon=$(pidof vorlind)
kill -STOP "$daemon"
# By its path, as an operator types it.
$script restart || fail 'a daemon that does not hear keeps a new one from starting'
within 20 test ! -d "/proc/$daemon" || fail 'a daemon that does not hear is not killed'
within 20 on_air 13 || fail 'after a restart the beacon is not on the air'

### Stop
guard=$(guard_id) || fail 'the guard has not come back'
daemon=$(pidof vorlind)
service stop || fail 'stop fails'
within 5 test ! -d "/proc/$guard" || fail 'the guard is left'
within 20 test ! -d "/proc/$daemon" || fail 'the daemon is left'
[ "$(daemons)" = 0 ] || fail 'another daemon is left'
"$build/vorlin-sim" control $scratch/control air | grep minor &&
	fail 'a stop leaves the single beacon on the air'
ipcs -m -s | grep -qiE '^0x0abcd00[12] ' && fail 'an IPC object is left'
if [ "$manager" = busybox ]; then
	service stop || fail 'a second stop fails'
fi
pull_out

[ $failures = 0 ] || tail -n 5 /run/syslog /run/vorlind/messages $scratch/simulator.out
exit $((failures > 0))
