#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# A system test with vorlind and vorlinctl under valgrind: what it finds fails the test.
# usage: memcheck_test.sh BUILD TEST

set -eu
build=$1
test=$2
tools=${0%/*}/../../tools

valgrind=$(command -v valgrind) || {
	echo "memcheck: not run: valgrind is not installed"
	exit 77
}
# valgrind's own program, started directly and under the name of the one that it runs: the
# daemon looks for its name among the processes, and so does the client.
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
# Under another file name it is the script of this stage that would be copied.
VORLIND_BUILD=$stage "$tools/sandbox" "$build/tests/$test" \
	--gtest_filter=-Lifecycle.UnderAnotherFileNameItRefusesToStart || status=$?
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
