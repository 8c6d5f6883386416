#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The daemon links and calls libraries other than the stand-ins: without a SONAME, and with
# dependencies that are not on the build machine.
# usage: device_libs_test.sh C++-COMPILER C-COMPILER, inside tools/sandbox

set -u
cxx=$1
cc=$2
cd "$(dirname "$0")/../.." || exit 1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
libs=$scratch/libs
elsewhere=$scratch/elsewhere
failures=0

fail()
{
	echo "FAILED: $1"
	failures=$((failures + 1))
}

library() # FILE OPTION..., the source on standard input
{
	file=$1
	shift
	"$cc" -shared -fPIC -x c - -x none "$@" -o "$file" || exit 1
}

mkdir "$libs" "$elsewhere"
library "$elsewhere/libelsewhere.so" <<'END'
int elsewhere(void) { return 1; }
END
library "$libs/libuam.so" "-L$elsewhere" -lelsewhere <<'END'
int elsewhere(void);
int uam(void) { return elsewhere(); }
END
library "$libs/libqvkit.so" </dev/null
library "$libs/libqvsh_log.so" <<'END'
#include <stdio.h>
int qvlog(int a, int b, int c, long d, long e, long f, long g, const char *h, const char *message)
{
	return fprintf(stderr, "log: %c %d %c %ld %ld %ld %ld <%s> %s\n", a, b, c, d, e, f, g, h, message);
}
END
library "$libs/libinfo_transfer.so" <<'END'
#include <stdio.h>
int init_domain_socket(void) { return 1000; }
int send_wtp_state_chg(int fd) { return fprintf(stderr, "report: %d\n", fd); }
END

if ! cmake -G Ninja -S . -B "$scratch/build" -DCMAKE_BUILD_TYPE=Release -DVORLIND_TESTS=OFF \
	-DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DVORLIND_DEVICE_LIBS="$libs" \
	>"$scratch/log" ||
	! cmake --build "$scratch/build" --target vorlind >>"$scratch/log"; then
	cat "$scratch/log"
	exit 1
fi
tests/system/shape_test.sh "$scratch/build" needed-device || failures=$((failures + 1))

export LD_LIBRARY_PATH="$libs:$elsewhere"
: >"$scratch/err"
"$scratch/build/vorlind" 2>"$scratch/err" &
daemon=$!
tries=0
until grep -q 'Open /proc/MRD failed' "$scratch/err"; do # its handlers are installed before
	tries=$((tries + 1))
	[ $tries -lt 1800 ] || break
	sleep 0.1
done
kill -USR2 $daemon
until grep -q '^log:' "$scratch/err"; do # it already reports at the start
	tries=$((tries + 1))
	[ $tries -lt 1800 ] || break
	sleep 0.1
done
kill $daemon
wait $daemon || fail "the daemon ends with status $?"
grep -qF 'log: C 5 C 0 0 0 0 <> BLE device has been disconnected.' "$scratch/err" ||
	fail 'the event log has no entry'
grep -qF 'report: 1000' "$scratch/err" || fail 'nothing was reported'
[ $failures = 0 ] || cat "$scratch/err"
exit $((failures > 0))
