#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Installs, upgrades, removes and purges the Debian packages on a copy of this machine's root. Run
# in tools/sandbox. usage: debian_test.sh BUILD

set -u
build=$1
# shellcheck source=tests/packaging/stage.sh
. "$(dirname "$(readlink -f "$0")")/stage.sh"
# shellcheck source=tests/packaging/debian_root.sh
. "$(dirname "$(readlink -f "$0")")/debian_root.sh"

make_packages
make_root
link=/etc/systemd/system/multi-user.target.wants/vorlind.service # made by systemctl enable
mask=/etc/systemd/system/vorlind.service

### Debian's own check, without what only concerns a first upload to Debian's archive
if command -v lintian >/dev/null; then
	TMPDIR=$scratch lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs \
		"$scratch"/packages/*-1_*.deb || fail 'lintian finds fault with the packages'
else
	echo 'not looked at: what lintian says, for there is none'
fi

expect_file()
{
	[ "$(stat -c '%U:%G %a' "$root$2" 2>&1)" = "root:root $1" ] ||
		fail "$2 is $(stat -c '%U:%G %a' "$root$2" 2>&1), not root:root $1"
}

### Install
inside dpkg --no-triggers -i "/packages/vorlind_$version-1_$arch.deb" \
	"/packages/vorlin-sim_$version-1_$arch.deb" || fail 'the packages do not install'
while read -r mode path; do
	expect_file "$mode" "$path"
done <<'END'
755 /usr/sbin/vorlind
755 /usr/bin/vorlinctl
755 /usr/bin/vorlin-sim
755 /usr/libexec/vorlind/run
755 /usr/libexec/vorlind/restore
755 /usr/libexec/vorlind/hotplug
755 /etc/vorlind
644 /usr/lib/systemd/system/vorlind-guard.service
644 /usr/lib/systemd/system/vorlind.service
644 /usr/lib/udev/rules.d/60-vorlind.rules
644 /usr/share/man/man8/vorlind.8.gz
644 /usr/share/man/man1/vorlinctl.1.gz
644 /usr/share/man/man1/vorlin-sim.1.gz
644 /usr/share/bash-completion/completions/vorlinctl
644 /usr/share/zsh/site-functions/_vorlinctl
644 /usr/share/bash-completion/completions/vorlin-sim
644 /usr/share/zsh/site-functions/_vorlin-sim
644 /usr/share/doc/vorlind/examples/beacons
644 /usr/share/doc/vorlind/copyright
644 /usr/share/doc/vorlind/changelog.gz
644 /usr/share/doc/vorlind/changelog.Debian.gz
644 /usr/share/doc/vorlin-sim/copyright
644 /usr/share/doc/vorlin-sim/changelog.gz
644 /usr/share/doc/vorlin-sim/changelog.Debian.gz
END
if command -v tshark >/dev/null; then
	plugin=$(inside dpkg -L vorlin-sim | grep '/vorlin.lua$')
	expect_file 644 "$plugin"
	[ "$(inside tshark -G fields 2>/dev/null | grep -c 'vorlin_beacon.uuid')" = 1 ] ||
		fail "tshark does not find its plugin in $plugin"
else
	echo 'not looked at: whether tshark finds its plugin, for there is no tshark'
fi
inside dpkg -L vorlind | grep -q '/libqvsh_log.so$' || fail 'there are no stand-ins'
inside ldd /usr/sbin/vorlind | grep -q 'not found' && fail 'the daemon lacks a library'
inside dpkg --verify vorlind vorlin-sim || fail 'the files differ from the packages'
inside vorlinctl --version | grep -qF "$version" || fail 'the installed client tells another version'
grep -q 'Lohmann' "$root/usr/share/doc/vorlin-sim/copyright" ||
	fail 'the simulator has a library in it whose copyright is not with it'
zcat "$root/usr/share/doc/vorlind/changelog.Debian.gz" | head -n 1 | grep -qF "($version-1)" ||
	fail 'the list of changes is of another version'
grep -q 'systemctl ' "$root"/var/lib/dpkg/info/vorlind.p* &&
	fail 'a script of the package goes past deb-systemd-invoke'
[ ! -L "$root$link" ] || fail 'an installed service is enabled unasked'
if command -v systemd-analyze >/dev/null; then
	inside systemd-analyze --man=no verify /usr/lib/systemd/system/vorlind.service ||
		fail 'systemd finds fault with the unit'
fi

### The udev rule, with a serial line that every machine has
told_by_udev()
{
	unshare --mount sh -c "mount -t tmpfs tmpfs $root/dev && mount --rbind /sys $root/sys &&
		exec chroot $root udevadm test --action=$1 /sys/class/tty/$2" 2>&1 |
		grep -qx "run: '/usr/libexec/vorlind/hotplug'"
}
if command -v udevadm >/dev/null; then
	rule=/lib/udev/rules.d/60-vorlind.rules
	told_by_udev add tty && fail 'the rule is for a line that is no concern of it'
	sed 's/ttyS1/tty/' "$root/usr$rule" >"$root/etc/udev/rules.d/${rule##*/}"
	told_by_udev add tty || fail 'the rule does not tell of a new line'
	told_by_udev remove tty || fail 'the rule does not tell of a lost line'
	told_by_udev change tty && fail 'the rule tells of a change'
	rm "$root/etc/udev/rules.d/${rule##*/}"
else
	echo 'not looked at: the rule, for there is no udevadm'
fi

### Upgrade, remove, purge
echo stop >"$root/etc/vorlind/beacons"
mkdir -p "$root${link%/*}"
ln -s /lib/systemd/system/vorlind.service "$root$link"
inside dpkg --no-triggers -i "/packages/vorlind_$version-2_$arch.deb" || fail 'it does not upgrade'
[ "$(inside dpkg-query -f "\${Version}" -W vorlind)" = "$version-2" ] || fail 'the version is old'
[ "$(cat "$root/etc/vorlind/beacons")" = stop ] || fail 'an upgrade changes the settings'
[ -L "$root$link" ] || fail 'an upgrade disables the service'
inside dpkg --no-triggers -r vorlind vorlin-sim || fail 'it cannot be removed'
[ ! -e "$root/usr/sbin/vorlind" ] || fail 'the daemon is left'
[ ! -e "$root/usr/libexec/vorlind" ] || fail 'the scripts are left'
[ "$(cat "$root/etc/vorlind/beacons")" = stop ] || fail 'removing loses the settings'
[ "$(readlink "$root$mask")" = /dev/null ] || fail 'a removed service can be started'

### Installed again, it is still enabled
inside dpkg --no-triggers -i "/packages/vorlind_$version-2_$arch.deb" || fail 'it does not come back'
[ -L "$root$link" ] || fail 'removed and installed again, an enabled service is not'
[ ! -L "$root$mask" ] || fail 'installed again, the service cannot be started'
rm "$root$link"
inside dpkg --no-triggers -r vorlind
inside dpkg --no-triggers -i "/packages/vorlind_$version-2_$arch.deb"
[ ! -L "$root$link" ] || fail 'removed and installed again, a disabled service is enabled'
ln -s /lib/systemd/system/vorlind.service "$root$link"
inside dpkg --no-triggers -r vorlind
inside dpkg --no-triggers -P vorlind || fail 'it cannot be purged'
[ ! -e "$root/etc/vorlind" ] || fail 'a purge leaves the settings'
[ ! -L "$root$link" ] || fail 'a purge leaves the service enabled'
[ ! -L "$root$mask" ] || fail 'a purge leaves the service masked'
inside dpkg -l vorlind vorlin-sim 2>/dev/null | grep -qE '^[a-z]+ +vorlin' &&
	fail 'dpkg still knows of it'
exit $((failures > 0))
