#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# make dist packs the tracked files; without git it says so, and leaves no archive.
# usage: dist_test.sh SOURCES

set -u
sources=$1
command -v make >/dev/null || { echo 'not run: there is no make'; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

mkdir "$scratch/a copy"
cp -R "$sources/Makefile" "$sources/CMakeLists.txt" "$sources/packaging" "$sources/tools" \
	"$scratch/a copy"
cd "$scratch/a copy" || exit 1
if make dist >"$scratch/answer" 2>&1; then
	fail 'make dist without .git ends with 0'
fi
grep -q '^make dist: only a git checkout can be packed' "$scratch/answer" || fail "it says: $(cat "$scratch/answer")"
[ ! -e build ] || fail "it leaves: $(ls build)"

if command -v git >/dev/null; then
	export GIT_CONFIG_GLOBAL=/dev/null GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a@b.c
	export GIT_COMMITTER_NAME=a GIT_COMMITTER_EMAIL=a@b.c
	git init --quiet .
	git add .
	git commit --quiet -m 'A copy'
	echo 'not tracked' >scrap
	make dist >"$scratch/answer" 2>&1 || fail "make dist: $(cat "$scratch/answer")"
	tar -tf build/vorlind-*.tar.gz | sed 's|^vorlind-[0-9.]*/||' | grep -v '/$\|^$' |
		sort >"$scratch/files"
	git ls-files | sort | diff - "$scratch/files" || fail 'the archive has other files than git'
else
	echo 'not looked at: a clone, for there is no git'
fi
exit $((failures > 0))
