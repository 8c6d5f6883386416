#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Builds the OpenWrt packages with a stand-in for OpenWrt's build system, which is as strict about
# names, flags, run paths and libraries. usage: feed_test.sh SOURCES [SYSROOT]: with the device's C
# library in SYSROOT it builds for the device, and checks the sizes

set -u
sysroot=${2-}
for program in make cmake ninja readelf pkg-config "${sysroot:+aarch64-linux-gnu-}g++" python3; do
	command -v "$program" >/dev/null || { echo "not run: there is no $program"; exit 77; }
done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# make, and so OpenWrt's build system, splits names at spaces.
sources=$scratch/sources
ln -s "$(readlink -f "$1")" "$sources"
top=$scratch/top
here=$sources/tests/packaging
# shellcheck source=tests/packaging/openwrt/sdk.sh
. "$here/openwrt/sdk.sh"
failures=0
version=$(sed -n 's/^project(vorlind VERSION \([0-9.]*\) .*/\1/p' "$sources/CMakeLists.txt")

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

configured() # TREE DEVICE-LIBS
{
	printf 'CONFIG_VORLIND_TREE="%s"\nCONFIG_VORLIND_DEVICE_LIBS="%s"\n' "$1" "$2" >"$top/.config"
}

build_packages()
{
	feed package || {
		tail -n 30 "$top/log"
		fail "the feed makes no packages: $1"
	}
}

run_path()
{
	readelf -d "$1" | sed -n 's/.*R.*PATH).*\[\(.*\)\]/\1/p'
}

expect_files()
{
	(cd "$top/ipkg/$1" && find . -type f -printf '%m %p\n' | sort) >"$scratch/files"
	diff - "$scratch/files" || fail "the package $1 has other files"
	(cd "$top/ipkg/$1" && find . -type f -not -name '*.so' -exec md5sum '{}' +) | cut -c 1-32 |
		sort | uniq -d | grep . && fail "the package $1 has a file twice"
}

### From a source tree, with the stand-ins for the device's libraries
mkdir -p "$top"
configured "$sources" ''
build_packages 'with stand-ins'
[ ! -e "$top/build_dir/vorlind-$version/build" ] || fail 'the sources come with a build of this machine'
expect_files vorlind <<'END'
600 ./etc/config/vorlind
644 ./etc/hotplug.d/tty/50-vorlind
644 ./usr/share/rpcd/acl.d/vorlind.json
755 ./etc/init.d/vorlin
755 ./usr/lib/vorlind/libinfo_transfer.so
755 ./usr/lib/vorlind/libqvkit.so
755 ./usr/lib/vorlind/libqvsh_log.so
755 ./usr/lib/vorlind/libuam.so
755 ./usr/libexec/vorlind/restore
755 ./usr/libexec/vorlind/run
755 ./usr/sbin/vorlind
END
expect_files vorlinctl <<'END'
755 ./usr/bin/vorlinctl
END
[ "$(run_path "$top/ipkg/vorlind/usr/sbin/vorlind")" = /usr/lib/vorlind ] ||
	fail "the daemon looks for its libraries in: $(run_path "$top/ipkg/vorlind/usr/sbin/vorlind")"
grep -qxE 'net\|Network\|[A-Za-z]+\|[^|]{10,}\|https://[^|]+\|\+vorlinctl' "$top/ipkg/vorlind.facts" ||
	fail "what is told of the package: $(cat "$top/ipkg/vorlind.facts")"
### For other packages that talk to the daemon: only the header, found by pkg-config
staging=$top/staging_dir
(cd "$staging" && find . -type f -printf '%m %p\n' | sort) >"$scratch/files"
diff - "$scratch/files" <<'END' || fail 'the build system gets other files for other packages'
644 ./usr/include/vorlind/segment.h
644 ./usr/share/pkgconfig/vorlind.pc
END
echo '#include <vorlind/segment.h>' >"$scratch/client.c"
flags=$(PKG_CONFIG_LIBDIR=$staging/usr/lib/pkgconfig:$staging/usr/share/pkgconfig \
	pkg-config --define-variable=prefix="$staging/usr" --cflags vorlind) ||
	fail 'another package does not find vorlind by pkg-config'
# shellcheck disable=SC2086 # flags are words
eval ${cross}gcc $machine_flags "$flags" -c -o "$scratch/client.o" '"$scratch/client.c"' ||
	fail 'another package does not compile with the header'

### What is rebuilt
# shellcheck disable=SC2013 # a folder is a word
for folder in $(sed -n 's/^ *add_subdirectory(\([a-z]*\))$/\1/p' "$sources/CMakeLists.txt"); do
	case $folder in
	sim | bench | tests) continue ;; # no part of a package
	esac
	grep -qwF "$sources/$folder" "$top/depends" || fail "a change in $folder/ builds nothing anew"
done

### The sizes with OpenWrt's flags
if [ -n "$sysroot" ]; then
	while read -r program limit; do
		size=$(stat -c %s "$top/ipkg/$program")
		echo "$program: $size bytes, at most $limit"
		[ "$size" -le "$limit" ] || fail "$program is too big"
	done <<-'END'
		vorlind/usr/sbin/vorlind 57344
		vorlinctl/usr/bin/vorlinctl 98304
	END
fi

### With the device's own libraries, which the build system does not know
mkdir "$scratch/device"
cp "$top"/ipkg/vorlind/usr/lib/vorlind/*.so "$scratch/device/"
configured "$sources" "$scratch/device"
build_packages "with the device's libraries"
[ ! -e "$top/ipkg/vorlind/usr/lib" ] || fail "the device's libraries are in the package"
[ -z "$(run_path "$top/ipkg/vorlind/usr/sbin/vorlind")" ] ||
	fail 'the daemon has a run path on a device that has its libraries'

### From the release archive, with the hash of the feed beside it
if [ -e "$sources/.git" ]; then
	(cd "$sources" && tools/dist "$scratch/dist" "$version") >/dev/null || fail 'no release'
	cp "$scratch/dist/vorlind-$version.tar.gz" "$top/dl/"
	configured '' ''
	feed_folder=$scratch/dist/feed/vorlind
	feed prepare || fail 'the release archive does not fit the feed that comes with it'
	[ -e "$top/build_dir/vorlind-$version/daemon/main.cpp" ] || fail 'the release archive is empty'
	printf x >>"$top/dl/vorlind-$version.tar.gz"
	feed prepare && fail 'another archive than the release is taken'
else
	echo 'not looked at: the release archive, for there is no git checkout to pack'
fi

### What a web page may do
python3 - "$sources/packaging/openwrt/vorlind/files/vorlind.json" <<'END' || failures=$((failures + 1))
import json
import sys

granted = json.load(open(sys.argv[1]))
right = {
    "read": {
        "file": {
            "/usr/bin/vorlinctl --json status": ["exec"],
            "/usr/bin/vorlinctl --json check": ["exec"],
        },
        "uci": ["vorlind"],
    },
    "write": {"uci": ["vorlind"]},
}
assert list(granted) == ["vorlind"], granted
assert granted["vorlind"].pop("description")
assert granted["vorlind"] == right, granted
END
exit $((failures > 0))
