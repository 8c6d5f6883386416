#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# mandoc has no complaint about the manual pages.

cd "$(dirname "$0")/../../docs" || exit 1
command -v mandoc >/dev/null || {
	echo 'not run: there is no mandoc'
	exit 77
}
exec mandoc -T lint -W warning ./*.[1-9]
