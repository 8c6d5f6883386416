#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The same commit gives the same bytes for each user, place and time: release archive, programs and
# Debian packages. usage: reproducible_test.sh SOURCES

set -u
sources=$1
failures=0

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

for program in cmake ninja g++ cpack dpkg-shlibdeps file git; do
	command -v $program >/dev/null || { echo "not run: there is no $program"; exit 77; }
done
[ -e "$sources/.git" ] || { echo 'not run: what is here is no git checkout'; exit 77; }
cd "$sources" || exit 1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
chmod 755 "$scratch"
unset SOURCE_DATE_EPOCH MAKEFLAGS
export CCACHE_DISABLE=1           # its files were made in other folders
export CFLAGS=-g CXXFLAGS=-g # debug information may have the names of folders

### The release archive
printf '[tar]\n\tumask = user\n[core]\n\tautocrlf = true\n' >"$scratch/.gitconfig"
tools/dist "$scratch/first" 1 >/dev/null || fail 'no archive can be packed'
(
	umask 077
	HOME=$scratch LC_ALL=C.UTF-8 TZ=Asia/Tokyo tools/dist "$scratch/second" 1 >/dev/null
) || fail 'no second archive can be packed'
cmp "$scratch"/*/vorlind-1.tar.gz || fail 'the archives differ'

### Programs and packages, from the archive unpacked in two places
first=$scratch/here
second="$scratch/quite another place"
mkdir "$first" "$second"
tar -C "$first" --strip-components=1 -xzf "$scratch/first/vorlind-1.tar.gz"
(umask 077 && tar -C "$second" --strip-components=1 -xzf "$scratch/first/vorlind-1.tar.gz")
[ "$("$first/tools/commit-date")" = "$(tools/commit-date)" ] ||
	fail 'the archive does not carry the date of its commit'
find "$second" -exec touch -d 2001-02-03 '{}' +
other_user=''
if [ "$(id -u)" = 0 ]; then
	other_user='setpriv --reuid 65534 --regid 65534 --clear-groups'
	chown -R 65534:65534 "$second"
	$other_user test -x "$second" || {
		fail "another user may not enter $scratch: set another TMPDIR"
		exit 1
	}
fi

build() # FOLDER, in the caller's environment
{
	cd "$1" && cmake --preset release -DCMAKE_INSTALL_PREFIX=/usr && cmake --build --preset release &&
		cpack --config build-release/CPackConfig.cmake -B build-release
}
(umask 022 && LC_ALL=C TZ=UTC build "$first") >"$scratch/log" 2>&1 || {
	tail -n 20 "$scratch/log"
	fail 'it cannot be built'
}
# shellcheck disable=SC2016,SC2086 # the other shell's words; $other_user is words
$other_user env HOME=/nonexistent TMPDIR="$second" LC_ALL=C.UTF-8 LANGUAGE=de TZ=Asia/Tokyo sh -c "umask 077
	$(sed -n '/^build()/,/^}/p' "$sources/tests/packaging/reproducible_test.sh")
	build \"\$1\"" sh "$second" >"$scratch/log" 2>&1 || {
	tail -n 20 "$scratch/log"
	fail 'it cannot be built in another place'
}
packages=$(cd "$first/build-release" && echo *.deb)
[ "$(echo "$packages" | wc -w)" = 2 ] || fail "there are other packages than two: $packages"
for file in vorlind vorlinctl vorlin-sim lib/libqvsh_log.so lib/libuam.so lib/libqvkit.so \
	lib/libinfo_transfer.so $packages; do
	if cmp "$first/build-release/$file" "$second/build-release/$file"; then
		echo "$file: the same, the second one of user $(stat -c %u "$second/build-release/$file")"
	else
		fail "$file differs"
	fi
done
grep -laF "$scratch" "$first"/build-release/vor* && fail 'a program tells where it was built'
exit $((failures > 0))
