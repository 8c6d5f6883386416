#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs a system test with vorlind and vorlinctl under valgrind, whose findings fail it.
# usage: memcheck_test.sh BUILD TEST

set -eu
build=$1
test=$2
tools=${0%/*}/../../tools

valgrind=$(command -v valgrind) || {
	echo "memcheck: not run: valgrind is not installed"
	exit 77
}
# Starts valgrind's tool directly, under the name of the program that it runs: the daemon and the
# client search the processes for that name.
memcheck=$(find /usr/libexec/valgrind /usr/lib/valgrind -name "memcheck-*$(getconf LONG_BIT)-linux" 2>/dev/null | head -n 1)
[ -n "$memcheck" ] || {
	echo "memcheck: not run: valgrind has no memcheck for this machine"
	exit 77
}

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
mkdir "$stage/names" "$stage/found"
for program in vorlind vorlinctl; do
	ln -s "$memcheck" "$stage/names/$program"
	cat >"$stage/$program" <<END
#!/bin/sh
VALGRIND_LAUNCHER=$valgrind exec "$stage/names/$program" --quiet --vgdb=no --leak-check=full \
	--errors-for-leak-kinds=all --show-leak-kinds=all --track-fds=no \
	--log-file="$stage/found/$program.%p" "$build/$program" "\$@"
END
	chmod +x "$stage/$program"
done
ln -s "$build/vorlin-sim" "$build/lib" "$stage"

status=0
# Without the test that copies vorlind: here that is a script.
VORLIND_BUILD=$stage "$tools/sandbox" "$build/tests/$test" \
	--gtest_filter=-Lifecycle.UnderAnotherFileNameItRefusesToStart || status=$?
[ $status != 77 ] || exit 77
for found in "$stage"/found/*; do
	if [ -s "$found" ]; then
		echo "valgrind, ${found##*/}:"
		cat "$found"
		status=1
	fi
done
[ -e "$found" ] || {
	echo "memcheck: valgrind has not run"
	status=1
}
exit $status
