#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs a test with its own folder for temporary files, and fails it if any is left there.
# usage: tidily.sh COMMAND [ARGUMENT...]

TMPDIR=$(mktemp -d) || exit 1
TEST_TMPDIR=$TMPDIR # for GoogleTest
export TMPDIR TEST_TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
trap : INT TERM HUP # the test gets them too, and may clean up

"$@"
status=$?
left=$(ls -A "$TMPDIR")
if [ -n "$left" ]; then
	printf 'FAILED: it leaves in its folder for temporary files:\n%s\n' "$left"
	[ $status != 0 ] || status=1
fi
exit $status
