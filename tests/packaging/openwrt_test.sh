#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The package with procd, rc.common, uci and hot-plug: the stand-ins in openwrt/ are as strict as
# the real ones. Run in tools/sandbox. usage: openwrt_test.sh BUILD
# shellcheck disable=SC2086,SC2317 # words without spaces; within calls functions

set -u
here=$(dirname "$(readlink -f "$0")")
build=$1
# shellcheck source=tests/packaging/stage.sh
. "$here/stage.sh"
# shellcheck source=tests/packaging/openwrt/device.sh
. "$here/openwrt/device.sh"
install_packages
config=/etc/config/vorlind
generated=/run/vorlind/settings

logged()
{
	grep -qE "$1" /run/syslog
}

# True for exactly one process; sets `guard` to its id.
guard_runs()
{
	guard=$(pgrep -fx '/usr/bin/vorlinctl guard --restarts') && [ "$(echo "$guard" | wc -w)" = 1 ]
}

another_guard()
{
	old=$guard
	guard_runs && [ "$guard" != "$old" ]
}

no_guard()
{
	! pgrep -f '^/usr/bin/vorlinctl guard' >/dev/null
}

restores()
{
	pgrep -fc '^/bin/sh /usr/libexec/vorlind/restore'
}

# Holds each restore: its eight checks for the controller each wait for a ticket. The fake client is
# in /usr/sbin, where a restore looks first.
hold_restores()
{
	mkfifo $scratch/tickets
	exec 9<>$scratch/tickets
	cat >/usr/sbin/vorlinctl <<-END
		#!/bin/sh
		[ "\$3" != wait ] || read -r ticket <$scratch/tickets
		exec /usr/bin/vorlinctl "\$@"
	END
	chmod +x /usr/sbin/vorlinctl
}

release_restores()
{
	rm /usr/sbin/vorlinctl
	printf '\n\n\n\n\n\n\n\n\n\n' >&9
}

are_held() # COUNT: exactly so many restores wait
{
	[ "$(pgrep -fc '^/bin/sh /usr/sbin/vorlinctl --timeout 1 wait')" = "$1" ] &&
		[ "$(restores)" = "$1" ]
}

# One restore is left, however fast they are: while there are more and all are held, one gets a
# ticket. The tickets are not enough for all checks of two.
one_is_left()
{
	are_held 1 && return
	count=$(restores)
	if [ "$count" -gt 1 ] && [ $tickets -gt 0 ] && are_held "$count"; then
		tickets=$((tickets - 1))
		echo >&9
	fi
	return 1
}

no_restore()
{
	[ "$(restores)" = 0 ]
}

lock_is_free()
{
	flock -n /var/lock/procd_vorlin.lock true
}

another_daemon() # not $daemon
{
	now=$(pidof vorlind) && [ "$(echo "$now" | wc -w)" = 1 ] && [ "$now" != "$daemon" ]
}

same_daemon()
{
	[ "$(pidof vorlind)" = "$daemon" ]
}

air_is_off()
{
	! "$build/vorlin-sim" control $scratch/control air 2>/dev/null | grep -q minor
}

### Off until it is enabled, then on at once
plug_in
reload_config # the boot script remembers the current files
$script enable
[ "$(ls /etc/rc.d)" = "$(printf 'K10vorlin\nS95vorlin')" ] || fail "enabled as: $(ls /etc/rc.d)"
$script boot || fail 'a service that is off does not start quietly'
[ "$($script status)" = inactive ] || fail 'the service is on without being asked for'
[ "$(daemons)" = 0 ] || fail 'a daemon runs without being asked for'
settings 31
reload_config
within 20 on_air 31 || fail 'a service that is enabled does not start by itself'
[ "$($script status)" = running ] || fail "a running service is $($script status)"
daemon=$(pidof vorlind)

### Start: no change for the same settings, a restart for other files or settings
$script start
sleep 1
same_daemon || fail 'a start without a change restarts the daemon'
settings 32
$script start
within 20 another_daemon || fail 'a start with other settings leaves the old daemon'
within 20 on_air 32 || fail 'a start with other settings does not bring them on the air'
daemon=$(pidof vorlind)
cp /usr/sbin/vorlind /usr/sbin/vorlind.new # an upgrade: it only runs start
printf '\0' >>/usr/sbin/vorlind.new
mv /usr/sbin/vorlind.new /usr/sbin/vorlind
$script start
within 20 another_daemon || fail 'after an upgrade the old program runs on'
within 20 on_air 32 || fail 'after an upgrade the beacon is not on the air'
daemon=$(pidof vorlind)

### The guard: runs with the daemon, unless it is switched off
within 5 guard_runs || fail 'the guard does not run'
kill -KILL "$guard"
within 20 another_guard || fail 'a guard that has ended does not come back'
kill -STOP "$daemon"
within 30 another_daemon || fail 'the guard leaves a daemon that hangs'
within 20 on_air 32 || fail 'after the guard has ended its daemon the beacon is not on the air'
logged 'daemon.err vorlinctl\[[0-9]+\]: .*SIGTERM' || fail 'the log does not tell what the guard did'
daemon=$(pidof vorlind)
sed -i "s/^config vorlind.*/&\n\toption guard 'off'/" $config
$script restart
within 20 another_daemon || fail 'a service without a guard does not start'
within 20 no_guard || fail 'a guard that is switched off runs on'
within 20 on_air 32 || fail 'without its guard the daemon does nothing'
daemon=$(pidof vorlind)
: >/run/syslog
sed -i "s/option guard 'off'/option guard 'perhaps'/" $config
$script restart
logged 'main.guard is neither 1 nor 0 but "perhaps": on' || fail 'a bad word for the guard is not told'
within 20 another_daemon || fail 'a service with a bad word for its guard does not start'
within 20 guard_runs || fail 'a guard with a bad word for it does not run'
daemon=$(pidof vorlind)
settings 32
$script restart
within 20 another_daemon || fail 'it does not restart'
within 20 on_air 32 || fail 'the beacon does not come back'
daemon=$(pidof vorlind)

### Reload: at once, by an event, without a caller that waits
within 20 no_restore
settings 33
reload_config
within 20 on_air 33 || fail 'a changed file is not taken by itself'
same_daemon || fail 'a reload changes the daemon'
within 10 logged 'vorlin reload ended with 0' || fail 'the reload ends badly'
pull_out
vorlinctl stop
hotplug-call remove ttyMSM1
within 20 has_status none
within 20 no_restore
hold_restores
timeout 400 $script reload || fail 'a reload without a controller fails, or waits for its settings'
within 20 are_held 1 || fail 'a reload leaves nobody behind who loads its settings'
lock_is_free || fail 'what a reload leaves behind holds the lock'
for _ in 1 2 3 4; do
	$script reload
done
tickets=12
within 20 are_held 5 || fail "$(restores) restores go on after five reloads"
within 20 one_is_left || fail "$(restores) restores wait for the controller"
for _ in 1 2 3; do
	daemon=$(pidof vorlind)
	$script restart
	within 20 another_daemon || fail 'it does not restart without a controller'
done
tickets=12
within 20 are_held 4 || fail "after restarts $(restores) restores go on"
within 20 one_is_left || fail "after restarts $(restores) restores wait for the controller"
release_restores
plug_in
hotplug-call add ttyMSM1
within 40 on_air 33 || fail 'the settings have not waited for the controller'
daemon=$(pidof vorlind)

### A file that cannot be read, or with one wrong value, changes nothing and says why
actions='reload start restart'
refused() # WHY: each of $actions refuses the file on standard input
{
	cp $generated $scratch/before
	: >/run/syslog
	cat >$config
	for action in $actions; do
		$script $action 2>/dev/null && fail "$action succeeds with: $1"
	done
	logged "daemon.err vorlind: /etc/config/vorlind: .*$1" ||
		fail "the log does not tell of $1: $(cat /run/syslog)"
	cmp -s $generated $scratch/before || fail "the settings change with: $1"
	same_daemon || fail "the daemon changes with: $1"
}
has_beacon() # LINE...
{
	printf "config vorlind 'main'\n\toption enabled '1'\nconfig beacon 'one'\n"
	printf '\t%s\n' "$@"
}
refused 'Parse error \(unterminated' <<'END'
config vorlind 'main'
	option enabled '1'
config beacon
	option number '1'
	option enabled '1'
	option uuid '0123
END
refused 'Parse error \(invalid name\)' <<'END'
config vorlind 'main'
	option enabled '1'
config beacon 'lobby-1'
	option number '1'
END
actions=reload # the other actions behave the same
has_beacon "option number '6'" | refused 'one.number must be 1 to 5, not "6"'
has_beacon "option uuid 'random'" | refused 'one.number is missing'
has_beacon "option number '1'" "option major '65536'" | refused 'one.major must be 0 to 65535'
has_beacon "option number '1'" "option minor '-1'" | refused 'one.minor must be'
has_beacon "option number '1'" "option minor '1 --major 2'" | refused 'one.minor must be'
has_beacon "option number '1'" "option minor '1
stop'" | refused 'one.minor must be'
has_beacon "option number '1'" "list minor '1'" "list minor '2'" | refused 'one.minor must be'
has_beacon "option number '1'" "option uuid '#'" | refused 'one.uuid must be'
has_beacon "option number '1'" "option uuid \"it's\"" | refused 'one.uuid must be'
has_beacon "option number '1'" "option uuid '0123456789abcdef0123456789abcde'" |
	refused 'one.uuid must be'
has_beacon "option number '1'" "option power '-129'" | refused 'one.power must be'
has_beacon "option number '1'" "option prefix '02'" | refused 'one.prefix must be'
has_beacon "option number '1'" config\ beacon "option number '1'" | refused 'another section'
has_beacon config\ radio "option interval '99'" | refused 'interval must be 100 to'
has_beacon config\ radio "option mac '0123'" | refused 'mac must be'
rm $config
for action in reload start restart; do
	$script $action 2>/dev/null && fail "$action succeeds without a file"
done
same_daemon || fail 'a missing file changes the daemon'
cmp -s $generated $scratch/before || fail 'a missing file changes the settings'
on_air 33 || fail 'the beacon is not on the air after files that were refused'
settings 33
: >/run/syslog
echo '"' >>$config
reload_config
within 10 logged 'vorlin reload ended with 1' || fail 'procd does not run the reload'
logged 'vorlind: .*Parse error' || fail 'what a reload by itself finds wrong is nowhere'

### The script and the client accept and refuse the same values
agree() # OPTION VALUE..., each as the only setting
{
	option=$1
	shift
	for value in "$@"; do
		{
			has_beacon "option number '1'"
			case $option in
			interval | power_index | mac) echo config radio ;;
			esac
			printf "\toption %s '%s'\n" "$option" "$value"
		} >$config
		rm -f $scratch/took
		$script reload 2>/dev/null && : >$scratch/took
		case $option in
		interval | power_index | mac) echo "set $option $value" | tr _ - ;;
		*) echo "beacon 1 --$option $value" ;;
		esac >$scratch/line
		if vorlinctl apply --dry-run $scratch/line >/dev/null 2>&1; then
			[ -e $scratch/took ] || fail "the client takes $option $value, the service does not"
		else
			[ ! -e $scratch/took ] || fail "the service takes $option $value, the client does not"
		fi
	done
}
agree interval 99 100 10240 10241 1e3
agree major 0 65535 65536
agree power NONE -1 -128 -129 0 255 256
agree power_index max 0 12 13
agree mac NONE 0123456789aB 0123456789ag 0123456789abc
agree prefix default 0201061AFF4C000215 0201061AFF4C00021
agree uuid random NONE 0123456789abcdef0123456789ABCDEF 01234567-89ab-cdef-0123-456789abcdef \
	0123456-789ab-cdef-0123-456789abcdef 0123456789abcdef0123456789abcdeg

### A radio without a name works; booleans are those of config_get_bool, others get a message
enabled_by() # WORD...: prints settings with a beacon for each word, which is its `enabled`
{
	printf 'config vorlind\n\toption enabled yes\n'
	number=0
	for word; do
		number=$((number + 1))
		printf 'config beacon\n\toption number %s\n\toption enabled %s\n' $number "$word"
	done
}

within 20 no_restore
: >/run/syslog
{
	enabled_by 1 on true yes enabled
	printf 'config radio\n\toption interval 175\n'
} >$config
$script reload || fail 'sections without names are refused'
[ "$(grep -c '^beacon [1-5] on$' $generated)" = 5 ] || fail "a word for on is off: $(cat $generated)"
grep -qx 'set interval 175' $generated || fail 'a radio without a name does not count'
enabled_by 0 off false no perhaps >$config
logged perhaps && fail 'the log tells of a word too early'
$script reload || fail 'a word that is neither on nor off is refused'
[ "$(grep -c '^beacon [1-5] off$' $generated)" = 5 ] || fail "a word for off is on: $(cat $generated)"
logged 'enabled is neither 1 nor 0 but "perhaps": off' || fail 'nothing tells of a word for nothing'
within 20 no_restore

### Hot-plug: two calls for a USB adapter, the first without DEVNAME
pull_out
link=/dev/ttyUSB0
"$build/vorlin-sim" --controller ti-08 --link $link --control $scratch/control \
	>$scratch/simulator.out 2>&1 &
simulator=$!
within 5 test -e $link
settings 35
$script reload
hotplug-call add ttyUSB0
within 40 on_air 35 || fail 'an adapter on USB is not told of'

### Stop: no beacon stays on the air, no reload follows, and the log names no script
daemon=$(pidof vorlind)
within 20 guard_runs || fail 'the guard is gone'
$script stop || fail 'stop fails'
air_is_off || fail 'a stop leaves the single beacon on the air'
within 20 test ! -d "/proc/$daemon" || fail 'the daemon is left'
within 20 no_guard || fail 'the guard is left'
[ "$($script status)" = inactive ] || fail 'the service is active after a stop'
settings 36
reload_config
sleep 2
[ "$(daemons)" = 0 ] || fail 'what is stopped starts by itself'
$script start
within 20 on_air 36 || fail 'it does not start again'
settings
sed -i "s/enabled '1'/enabled '0'/" $config
reload_config
within 20 no_daemon || fail 'a service that is switched off runs on'
within 20 no_guard || fail 'the guard of a service that is switched off runs on'
air_is_off || fail 'a service that is switched off leaves its beacon on the air'
grep -qE ' (run|restore)(\[[0-9]*\])?:' /run/syslog && fail 'the log has the name of a script'

### The client accepts all commands that a web page may run
sed -n 's/^.*"\(\/usr\/bin\/[^"]*\)": .*$/\1/p' /usr/share/rpcd/acl.d/vorlind.json >$scratch/granted
[ "$(wc -l <$scratch/granted)" = 2 ] || fail "a web page may run: $(cat $scratch/granted)"
while read -r line; do
	$line </dev/null >$scratch/answer 2>/dev/null
	[ $? != 1 ] || fail "$line is no command line"
	grep -q "^{\"command\": \"${line##* }\", " $scratch/answer ||
		fail "$line answers: $(cat $scratch/answer)"
done <$scratch/granted

### The feed's CI tests of each package
version=$(sed -n 's/^PKG_VERSION:=//p' "$sources/packaging/openwrt/vorlind/Makefile")
pull_out
for package in vorlind vorlinctl; do
	for test in test-version.sh test.sh; do
		"$sources/packaging/openwrt/vorlind/$test" $package "$version" >$scratch/ci 2>&1 || {
			cat $scratch/ci
			fail "$test $package"
		}
	done
	"$sources/packaging/openwrt/vorlind/test-version.sh" $package 9.9.9 &&
		fail "$package has any version"
done

[ $failures = 0 ] || tail -n 20 /run/syslog /run/vorlind/messages $scratch/simulator.out
kill $procd
exit $((failures > 0))
