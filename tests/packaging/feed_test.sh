#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The OpenWrt packages get their files, by the feed's Makefile and what OpenWrt would make of it:
# its build system itself is not here. usage: feed_test.sh BUILD SOURCES

set -u
build=$1
sources=$2
command -v make >/dev/null || { echo 'not run: there is no make'; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

# make, and OpenWrt's build system with it, takes a space for the end of a name.
mkdir "$scratch/sources"
tar -C "$sources" --exclude=./.git --exclude='./build*' -c . | tar -C "$scratch/sources" -x
ln -s "$build" "$scratch/build"

# Each package becomes a folder; BuildPackage is what OpenWrt calls the line at the end.
mkdir -p "$scratch/include"
cat >"$scratch/rules.mk" <<'END'
INCLUDE_DIR:=$(TOPDIR)/include
define BuildPackage
$(eval $(Package/$(1)))
all: $(TOPDIR)/$(1)
$(TOPDIR)/$(1):
	$(call Package/$(1)/install,$(TOPDIR)/$(1))
	echo '$(PKG_VERSION) $(DEPENDS)' >$(TOPDIR)/$(1).facts
endef
all:
prepare:
	$(Build/Prepare)
END
: >"$scratch/include/package.mk"
: >"$scratch/include/cmake.mk"

feed()
{
	make --no-print-directory -C "$scratch/sources/packaging/openwrt" TOPDIR="$scratch" \
		CMAKE_BINARY_DIR="$scratch/build" PKG_BUILD_DIR="$scratch/prepared" "$@" >"$scratch/log" 2>&1 || {
		cat "$scratch/log"
		fail "make $*"
	}
}

feed prepare
[ -e "$scratch/prepared/CMakeLists.txt" ] || fail 'the sources are not there to be built'
[ ! -e "$scratch/prepared/build" ] || fail 'the sources come with a build of this machine'

feed all
expect_files()
{
	(cd "$scratch/$1" && find . -type f -printf '%m %p\n' | grep -v '/lib.*\.so$' | sort) \
		>"$scratch/files"
	diff - "$scratch/files" || fail "the package $1 has other files"
}
expect_files vorlind <<'END'
644 ./etc/config/vorlind
644 ./etc/hotplug.d/tty/50-vorlind
755 ./etc/init.d/vorlin
755 ./usr/libexec/vorlind/hotplug
755 ./usr/libexec/vorlind/restore
755 ./usr/libexec/vorlind/run
755 ./usr/sbin/vorlind
END
expect_files vorlinctl <<'END'
755 ./usr/bin/vorlinctl
END
grep -qE '^[0-9]+\.[0-9]+\.[0-9]+ \+vorlinctl$' "$scratch/vorlind.facts" ||
	fail "version and dependency: $(cat "$scratch/vorlind.facts")"
exit $((failures > 0))
