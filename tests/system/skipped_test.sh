#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# ./run test ends with the reason of each skipped test, in the form of each kind of test.
# usage: skipped_test.sh

set -u
skipped=$(dirname "$(readlink -f "$0")")/../../tools/skipped
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1

cat >says <<'END'
case $1 in
script) echo 'tools/sandbox: not run: there is no kettle'; exit 77 ;;
python) echo 'SKIPPED: there is no python3' ;;
googletest)
	printf '%s\n' '[ RUN      ] Tea.Boils' '../tests/tea_test.cpp:12: Skipped' \
		'there is no leaf' '' '[  SKIPPED ] Tea.Boils (0 ms)'
	;;
partly) echo 'not looked at: the cup, for there is no light' ;;
passes) echo 'all is well' ;;
esac
END
for kind in script python googletest partly passes; do
	echo "add_test(tea.$kind sh \"$scratch/says\" $kind)"
done >CTestTestfile.cmake
cat >>CTestTestfile.cmake <<'END'
set_tests_properties(tea.script PROPERTIES SKIP_RETURN_CODE 77)
set_tests_properties(tea.python PROPERTIES SKIP_REGULAR_EXPRESSION "^SKIPPED")
END
ctest --parallel 3 >log 2>&1 || { cat log; exit 1; }
"$skipped" . >answer
diff - answer <<'END' || { echo 'FAILED: this is not the list'; exit 1; }
Not run, or not as a whole:
  tea.googletest: there is no leaf
  tea.partly: not looked at: the cup, for there is no light
  tea.python: there is no python3
  tea.script: there is no kettle
END
