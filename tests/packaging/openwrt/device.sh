# shellcheck shell=dash
# SPDX-License-Identifier: Apache-2.0
# Installs the feed's packages on a machine with OpenWrt's shell, and stand-ins for procd and uci.
# Sourced after stage.sh, with $here set.

: "${here:?}" "${build:?}" "${scratch:?}"
# make, and so OpenWrt's build system, splits names at spaces.
sources=$scratch/sources
mkdir -p "$scratch"
ln -s "$(readlink -f "$here/../..")" "$sources"
top=$scratch/openwrt
export script=/etc/init.d/vorlin
# shellcheck source=tests/packaging/openwrt/sdk.sh
. "$here/openwrt/sdk.sh"

for program in make busybox python3; do
	command -v $program >/dev/null || skip "there is no $program"
done

# Installs this build's programs: the stand-in for the build system uses them as its own.
install_packages()
{
	image=$scratch/image
	staging=$top/install
	mkdir -p "$image/usr/sbin" "$image/usr/bin" "$staging"
	for component in daemon client; do
		DESTDIR=$staging cmake --install "$build" --prefix /usr --component $component \
			>"$scratch/install.log" || fail "component $component does not install"
	done
	libs=$(cd "$staging" && find usr -type d -path '*/lib*/vorlind')
	[ "$libs" = usr/lib/vorlind ] || {
		cp -R "$staging/$libs" "$staging/usr/lib/vorlind"
		mkdir -p "$image/${libs%/*}"
		cp -R "$staging/$libs" "$image/$libs" # this build looks for them there
	}
	feed -o install package PKG_INSTALL_DIR="$staging" PKG_BUILD_DIR="$sources" || {
		cat "$top/log"
		fail 'the feed makes no packages'
	}
	cp -R "$top"/ipkg/vorlind/. "$top"/ipkg/vorlinctl/. "$image"
	cp "$here/openwrt/rc.common" "$image/etc/"
	cp "$here/openwrt/uci.py" "$image/usr/bin/uci"
	cp "$here/openwrt/procd.py" "$image/usr/bin/procd"
	cp "$here/openwrt/logger" "$here/openwrt/reload_config" "$here/openwrt/hotplug-call" \
		"$image/usr/bin/"
	ln -s "$(command -v busybox)" "$image/usr/bin/sh"
	ln -s "$(command -v busybox)" "$image/usr/sbin/pidof"
	mkdir -p /var/lock
	: >/run/syslog
	lay_over
	procd serve &
	export procd=$!
	within 5 test -S /run/procd.sock || fail 'procd did not start'
}

# settings MINOR...: exactly these beacons.
settings()
{
	number=0
	printf "config vorlind 'main'\n\toption enabled '1'\n"
	printf "config radio 'radio'\n\toption interval '150'\n\toption mac 'NONE'\n"
	for minor in "$@"; do
		number=$((number + 1))
		printf "config beacon\n\toption number '%s'\n\toption enabled '1'\n" $number
		printf "\toption uuid 'random'\n\toption minor '%s'\n" "$minor"
	done
} >/etc/config/vorlind

no_daemon()
{
	[ "$(daemons)" = 0 ]
}
