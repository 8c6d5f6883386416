# shellcheck shell=dash
# SPDX-License-Identifier: Apache-2.0
# The Debian packages of a build, and a copy of this machine's root to install them in. Sourced
# after stage.sh.

: "${build:?}" "${scratch:?}"
root=$scratch/root

# Releases 1 and 2, for an upgrade.
make_packages()
{
	for program in cpack dpkg dpkg-shlibdeps dpkg-deb; do
		command -v $program >/dev/null || skip "there is no $program"
	done
	mkdir -p "$scratch"
	umask 022 # for the modes of folders in the packages
	for release in 1 2; do
		cpack --config "$build/CPackConfig.cmake" -B "$scratch/packages" \
			-D CPACK_DEBIAN_PACKAGE_RELEASE=$release >"$scratch/cpack.log" 2>&1 || {
			cat "$scratch/cpack.log"
			fail 'the packages cannot be made'
			exit 1
		}
	done
	version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")/\1/p' "$build/CPackConfig.cmake")
	arch=$(dpkg --print-architecture)
	export version arch
}

# An overlay in memory on the machine's files: changes go to the memory only.
make_root()
{
	mkdir -p "$root" "$scratch/over" "$scratch/work"
	mount -t overlay -o "lowerdir=/,upperdir=$scratch/over,workdir=$scratch/work" \
		overlay "$root" || skip 'no overlay can be mounted here'
	mount -t proc proc "$root/proc"
	mount --rbind /dev "$root/dev"
	mount -t tmpfs -o mode=755 tmpfs "$root/run"
	rm -f "$root"/etc/dpkg/dpkg.cfg.d/* # some machines exclude manual pages
	rm -f "$root/usr/sbin/policy-rc.d"   # some machines forbid restarts of services
	mkdir "$root/packages"
	cp "$scratch"/packages/*.deb "$root/packages/"
}

inside()
{
	chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"
}
