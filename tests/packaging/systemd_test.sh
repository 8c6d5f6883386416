#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The Debian package under systemd: a private systemd in namespaces starts, confines, stops,
# upgrades and removes the service. Run in tools/sandbox. usage: systemd_test.sh BUILD
# shellcheck disable=SC2317 # trap and within call functions

set -u
build=$1
# shellcheck source=tests/packaging/stage.sh
. "$(dirname "$(readlink -f "$0")")/stage.sh"
# shellcheck source=tests/packaging/debian_root.sh
. "$(dirname "$(readlink -f "$0")")/debian_root.sh"

# In the namespaces: the file systems that systemd expects; those of the machine are read-only.
if [ "${2-}" = --become-systemd ]; then
	set -e
	mount -t sysfs -o ro sysfs "$root/sys"
	mount -t cgroup2 cgroup2 "$root/sys/fs/cgroup"
	mount -t proc proc "$root/proc"
	mount --bind "$root/proc/sys" "$root/proc/sys"
	mount -o remount,bind,ro "$root/proc/sys"
	rm -rf "$root"/etc/systemd/system/*.wants
	exec chroot "$root" env -i container=test PATH=/usr/sbin:/usr/bin:/sbin:/bin \
		/lib/systemd/systemd --unit=basic.target --log-target=null --show-status=no
fi

[ -x /lib/systemd/systemd ] || skip 'there is no systemd'
hierarchy=$(awk '$3 == "cgroup2" { print $2; exit }' /proc/mounts)
[ -n "$hierarchy" ] || skip 'no cgroup2 file system is mounted'
group=$hierarchy/vorlind-test-$(cut -c 1-8 /proc/sys/kernel/random/uuid)
mkdir "$group" 2>/dev/null || skip 'no control group can be made'

clean_up()
{
	[ -z "${systemd-}" ] || kill -KILL "$systemd"
	[ -z "${namespaces-}" ] || wait "$namespaces"
	tries=1800 # the kernel needs a moment to remove the last ones
	until find "$group" -depth -type d -exec rmdir '{}' + 2>/dev/null || [ "$tries" = 0 ]; do
		tries=$((tries - 1))
		sleep 0.1
	done
}
trap clean_up EXIT

make_packages
make_root
(
	echo 0 >"$group/cgroup.procs"
	exec unshare --mount --ipc --pid --uts --net --cgroup --fork --kill-child \
		"$0" "$build" --become-systemd 2>/dev/null
) 2>/dev/null &
namespaces=$!
find_systemd()
{
	systemd=$(pgrep -P "$namespaces" -x systemd)
}
within 10 find_systemd || skip 'systemd does not start in namespaces'

# In its namespaces as root, outside all units.
in_system()
{
	nsenter -t "$systemd" -a -r -w env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin \
		DEBIAN_FRONTEND=noninteractive "$@"
}
is_up()
{
	in_system systemctl is-active --quiet basic.target 2>/dev/null
}
within 30 is_up || skip 'systemd does not come up in namespaces'

on_air()
{
	in_system vorlinctl status 2>/dev/null | grep -qE '^status +3 advertising' &&
		in_system vorlin-sim control /tmp/control air | grep -q "minor $1\b"
}
main_pid()
{
	in_system systemctl show -P MainPID vorlind
}
beacon()
{
	echo "set mac NONE
beacon 1 --uuid random --minor $1 on
start" >"$root/etc/vorlind/beacons"
}

### Install: nothing starts by itself
in_system dpkg --no-triggers -i "/packages/vorlind_$version-1_$arch.deb" \
	"/packages/vorlin-sim_$version-1_$arch.deb" || fail 'the packages do not install'
in_system systemctl is-active vorlind | grep -qx inactive || fail 'installing starts the service'

### Start
in_system vorlin-sim --link /dev/ttyMSM1 --control /tmp/control >"$scratch/simulator.out" 2>&1 &
within 10 in_system test -e /dev/ttyMSM1 || fail 'the simulated controller did not start'
beacon 21
in_system systemctl --quiet enable --now vorlind || fail 'the service does not start'
on_air 21 || fail 'the service is started, and the beacon is not on the air'
daemon=$(main_pid)
[ "$(in_system cat "/proc/$daemon/comm")" = vorlind ] || fail 'the main process is not vorlind'
in_system vorlinctl show version | grep -q '^BLE configuration utility' ||
	fail 'vorlinctl hears no answer'

expect_ahead "$(in_system cat "/proc/$daemon/stat")"

### What it may do
expect_status()
{
	in_system sed -n "s/^$1:[[:space:]]*//p" "/proc/$daemon/status" | grep -qx "$2" ||
		fail "$1 of the service is not $2"
}
expect_status CapEff 0000000000000000
expect_status NoNewPrivs 1
expect_status Seccomp 2
in_system systemd-analyze --no-pager security vorlind | tail -n 1
# Looks at its mounts in its own namespace.
in_system nsenter -t "$daemon" -m touch /etc/vorlind/written 2>/dev/null &&
	fail 'the service can write to /etc'
in_system nsenter -t "$daemon" -m touch /run/vorlind/written ||
	fail 'the service cannot write to its own folder'

# A device node without a driver: the error differs between forbidden and missing.
open_as_service()
{
	in_system mknod "$1" c "$2" "$3"
	in_system sh -c "echo 0 >/sys/fs/cgroup/system.slice/vorlind.service/cgroup.procs
		exec dd if=$1 count=0" 2>&1 | head -n 1
	in_system rm "$1"
}
if open_as_service /dev/ttyUSB1 188 1 | grep -q 'not permitted'; then
	open_as_service /dev/ttyUSB0 188 0 | grep -q 'not permitted' && fail 'ttyUSB0 is forbidden'
	open_as_service /dev/ttyACM0 166 0 | grep -q 'not permitted' && fail 'ttyACM0 is forbidden'
	open_as_service /dev/ttyS1 4 65 | grep -q 'not permitted' && fail 'ttyS1 is forbidden'
else
	echo 'not looked at: the devices of the service, which are not confined on this kernel'
fi

# For a while the killed one is still seen, and then none. When the new one's beacon is on the air its
# start may not be over, and systemd takes a reload at that time for a part of the start.
has_new_daemon()
{
	pid=$(main_pid)
	[ "$pid" != 0 ] && [ "$pid" != "$daemon" ] && in_system systemctl is-active --quiet vorlind
}

### The guard starts with it, and brings the beacons back after a fault
in_system systemctl is-active --quiet vorlind-guard || fail 'the guard does not run'
in_system vorlin-sim control /tmp/control fault silent:times=2 >/dev/null
in_system vorlinctl show mac >/dev/null 2>&1
within 30 on_air 21 || fail 'the guard does not bring the beacon back'
in_system vorlin-sim control /tmp/control fault cut:at=3 >/dev/null
in_system vorlinctl show mac --timeout 1 >/dev/null 2>&1
within 25 in_system test ! -d "/proc/$daemon" || fail 'the guard leaves a daemon that hangs'
within 25 has_new_daemon || fail 'after the guard has ended it the daemon does not come back'
on_air 21 || fail 'after the guard has ended the daemon the beacon does not come back'
daemon=$(main_pid)

### Reload, crash, restart
beacon 22
in_system systemctl reload vorlind || fail 'the service does not reload'
on_air 22 || fail 'the reloaded beacon is not on the air'
[ "$(main_pid)" = "$daemon" ] || fail 'a reload changes the daemon'
in_system kill -KILL "$daemon"
within 25 has_new_daemon || fail 'there is no new daemon'
on_air 22 || fail 'after a crash the beacon does not come back'
in_system systemctl stop vorlind || fail 'the service does not stop'
in_system vorlin-sim control /tmp/control air | grep minor &&
	fail 'a stop leaves the single beacon on the air'
in_system systemctl is-active --quiet vorlind-guard && fail 'the guard is left without a daemon'
[ "$(in_system systemctl show -P Result vorlind)" = success ] || fail 'the stop is no success'
in_system ipcs -m -s | grep -iE '^0x0abcd00[12] ' && fail 'an IPC object is left'
beacon 23
in_system systemctl start vorlind || fail 'the service does not start again'
on_air 23 || fail 'the beacon is not on the air after another start'
daemon=$(main_pid)
in_system kill -STOP "$daemon"
in_system systemctl stop vorlind
in_system kill -0 "$daemon" 2>/dev/null && fail 'a daemon that does not hear is not killed'
in_system systemctl reset-failed vorlind
in_system systemctl start vorlind || fail 'the service does not start after that'
daemon=$(main_pid)

### Upgrade, remove
in_system dpkg --no-triggers -i "/packages/vorlind_$version-2_$arch.deb" || fail 'no upgrade'
on_air 23 || fail 'after an upgrade the beacon is not on the air'
[ "$(main_pid)" != "$daemon" ] || fail 'an upgrade leaves the old daemon running'
daemon=$(main_pid)
in_system dpkg --no-triggers -r vorlind || fail 'no removal'
in_system kill -0 "$daemon" 2>/dev/null && fail 'a removed daemon runs'
in_system systemctl is-active --quiet vorlind && fail 'a removed service is active'
in_system dpkg --no-triggers -i "/packages/vorlind_$version-2_$arch.deb" || fail 'no return'
in_system systemctl --quiet is-enabled vorlind || fail 'a service that returns is not enabled'
in_system systemctl --quiet is-active vorlind && fail 'a service that returns is started unasked'
in_system dpkg --no-triggers -r vorlind || fail 'no second removal'
in_system dpkg --no-triggers -P vorlind || fail 'no purge'
in_system test -e /run/vorlind && fail 'a purge leaves /run/vorlind'

[ $failures = 0 ] || in_system journalctl --no-pager -n 30
exit $((failures > 0))
