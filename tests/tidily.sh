#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs a test with a folder of its own for temporary files, and fails it if any is left there.
# usage: tidily.sh COMMAND [ARGUMENT...]

TMPDIR=$(mktemp -d) || exit 1
TEST_TMPDIR=$TMPDIR # GoogleTest's name for it
export TMPDIR TEST_TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
trap : INT TERM HUP # the test gets them too, and may tidy up

"$@"
status=$?
left=$(ls -A "$TMPDIR")
if [ -n "$left" ]; then
	printf 'FAILED: it leaves in its folder for temporary files:\n%s\n' "$left"
	[ $status != 0 ] || status=1
fi
exit $status
