#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# ./run test, mutants and heal end at once when they are interrupted, and leave nothing behind.
# Stand-ins for the programs that they build and run end only by a signal.
# usage: interrupted_test.sh test|mutants|heal

set -u
cd "$(dirname "$0")/../.." || exit 1
verb=$1
scratch=$(mktemp -d)
run=''
failures=0

# shellcheck disable=SC2317 # trap calls it
clean_up()
{
	[ -z "$run" ] || kill -s KILL -- "-$run" 2>/dev/null
	rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 1' INT TERM HUP

fail()
{
	echo "FAILED: $how: $1"
	sed 's/^/  /' "$scratch/output"
	failures=$((failures + 1))
}

: >"$scratch/output"
[ "$verb" = test ] || tools/sandbox true || exit 77
mkdir "$scratch/bin" "$scratch/tmp" "$scratch/copy"
for file in run tools/*; do
	[ ! -f "$file" ] || cp --parents "$file" "$scratch/copy"
done
mkdir -p "$scratch/copy/build" "$scratch/copy/.git" "$scratch/copy/tests/unit/tea"
: >"$scratch/copy/tests/unit/tea/cup_test.cpp"

# Makes a temporary file, and waits with a child.
cat >"$scratch/bin/ctest" <<'STUB'
#!/bin/sh
mktemp >/dev/null
sleep 86400 &
: >"$ARRIVED"
wait
STUB
# The unit tests for mutants do the same.
cat >"$scratch/bin/ninja" <<'STUB'
#!/bin/sh
mkdir -p "$2/tests"
cp "$(command -v ctest)" "$2/tests/tea_cup_test"
STUB
# The access points for heal do, too.
mkdir "$scratch/copy/build/tests"
cp "$scratch/bin/ctest" "$scratch/copy/build/tests/heal_cell"
printf '#!/bin/sh\necho "  cut    closes the line"\n' >"$scratch/copy/build/vorlin-sim"
chmod +x "$scratch"/copy/build/vorlin-sim "$scratch"/copy/build/tests/*
cat >"$scratch/bin/git" <<'STUB'
#!/bin/sh
printf '%s\0' tools/sandbox tools/supervise tests/unit/tea/cup_test.cpp
STUB
printf '#!/bin/sh\n' >"$scratch/bin/cmake"
printf '#!/bin/sh\nexit 1\n' >"$scratch/bin/apt-get"
cp "$scratch/bin/apt-get" "$scratch/bin/sudo"
chmod +x "$scratch"/bin/*

# Interrupts it like a terminal (all its processes), or like kill (the first one).
interrupt()
{
	case $how in
	ctrl-c) kill -s INT -- "-$run" ;;
	closed-terminal) kill -s HUP -- "-$run" ;;
	*) kill -s "$how" "$run" ;;
	esac
}

for how in ctrl-c closed-terminal INT HUP TERM; do
	rm -f "$scratch/arrived"
	: >"$scratch/output"
	TMPDIR=$scratch/tmp ARRIVED=$scratch/arrived PATH=$scratch/bin:$PATH setsid \
		env --default-signal=INT "$scratch/copy/run" "$verb" >"$scratch/output" 2>&1 </dev/null &
	run=$!
	tries=0
	until [ -e "$scratch/arrived" ]; do
		tries=$((tries + 1))
		if grep -q 'please install' "$scratch/output"; then
			grep 'please install' "$scratch/output"
			exit 77
		fi
		if [ $tries -gt 1800 ] || ! kill -0 "$run" 2>/dev/null; then
			fail 'nothing is started'
			break
		fi
		sleep 0.1
	done
	interrupt
	wait "$run"
	status=$?
	[ $status -gt 128 ] || fail "the status is $status"
	tries=0 # the kernel needs a moment to end a namespace
	while grep -qsF "$scratch/arrived" /proc/[0-9]*/environ && [ $tries -lt 100 ]; do
		tries=$((tries + 1))
		sleep 0.1
	done
	left=$(grep -slF "$scratch/arrived" /proc/[0-9]*/environ | cut -d / -f 3)
	for pid in $left; do
		fail "a process is left: $(tr '\0' ' ' <"/proc/$pid/cmdline")"
		kill "$pid"
	done
	run=''
	[ -z "$(ls -A "$scratch/tmp")" ] || fail "left: $(find "$scratch/tmp")"
	[ $failures = 0 ] || break
done
exit $((failures > 0))
