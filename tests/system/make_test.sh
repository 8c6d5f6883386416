#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# A make rule says in one line which packages are missing, before it changes anything.
# usage: make_test.sh

set -u
cd "$(dirname "$0")/../.." || exit 1
command -v make >/dev/null || { echo 'not run: there is no make'; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

fail()
{
	echo "FAILED: make $target: $1"
	sed 's/^/  /' "$scratch/answer"
	failures=$((failures + 1))
}

mkdir "$scratch/bin" "$scratch/copy"
cp Makefile CMakeLists.txt "$scratch/copy"
for program in make sh ls sed grep; do
	ln -s "$(command -v $program)" "$scratch/bin/$program"
done
cd "$scratch/copy" || exit 1
make=$(command -v make)

# It fails with only this message and make's own.
expect_only()
{
	PATH=$scratch/bin "$make" --no-print-directory "$target" >"$scratch/answer" 2>&1 </dev/null &&
		fail 'it ends with 0'
	grep -v '^make: \*\*\* ' "$scratch/answer" >"$scratch/said"
	[ "$(cat "$scratch/said")" = "make $target: $1" ] || fail "it does not say just: $1"
	[ "$(ls -A)" = "$before" ] || fail "it has made: $(ls -A)"
}
before=$(ls -A)

### On a bare machine
while read -r target packages; do
	expect_only "please install these packages: $packages"
done <<'LIST'
all cmake ninja-build g++
format clang-format git
check clang-format git shellcheck
analyse cmake ninja-build g++ clang-tidy cppcheck
docs cmake ninja-build g++ python3
install cmake ninja-build g++
package cmake ninja-build g++ dpkg-dev file
dist git
LIST

### In a release archive, without git's list of files
for program in git clang-format shellcheck; do
	printf '#!/bin/sh\necho "%s has run"\n' $program >"$scratch/bin/$program"
	chmod +x "$scratch/bin/$program"
done
while read -r target what; do
	expect_only "only a git checkout can be $what"
done <<'LIST'
format formatted
check checked
dist packed
LIST
exit $((failures > 0))
