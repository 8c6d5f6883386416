#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# docs/controllers.md agrees with the programs.
# usage: tools/sandbox tests/docs/sequences_test.sh BUILD

cd "$(dirname "$0")/../.." || exit 1
made=$(mktemp)
trap 'rm -f "$made"' EXIT
tools/sequences "$1" >"$made" || exit 1
diff -u docs/controllers.md "$made" && exit
echo 'FAILED: docs/controllers.md is not what make docs makes any more'
exit 1
