#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# ./run ap ends at once when it is interrupted at any point, and leaves nothing behind. The
# machine and the controller are scripts that print what ./run ap waits for.
# usage: ap_test.sh INT|HUP|TERM|PIPE

set -u
cd "$(dirname "$0")/../.." || exit 1
signal=$1
scratch=$(mktemp -d)
ap=''
reader=''
failures=0

# shellcheck disable=SC2317 # trap calls it
clean_up()
{
	[ -z "$ap" ] || kill -s TERM "$ap" 2>/dev/null
	[ -z "$reader" ] || kill "$reader" 2>/dev/null
	rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 1' INT TERM HUP

fail()
{
	echo "FAILED: $moment: $1"
	failures=$((failures + 1))
}

# The built and unpacked files for ./run ap, and the programs that it packs them with.
device=$scratch/device
mkdir -p "$scratch/bin" "$scratch/tmp" "$device/ap/bin" "$device/ap/boot" "$device/ap/lib/modules" \
	"$device/sysroot/lib/aarch64-linux-musl"
: >"$device/ap/bin/busybox"
: >"$device/ap/boot/vmlinuz-0"
: >"$device/sysroot/lib/aarch64-linux-musl/libc.so"
cat >"$scratch/bin/cmake" <<'STUB'
#!/bin/sh
mkdir -p "$DESTDIR/usr/sbin" "$DESTDIR/usr/bin"
: >"$DESTDIR/usr/sbin/vorlind"
: >"$DESTDIR/usr/bin/vorlinctl"
STUB
printf '#!/bin/sh\nexec cat >/dev/null\n' >"$scratch/bin/cpio"

# The controller: three beacons on the air, for ever.
cat >"$scratch/bin/simulator" <<'STUB'
#!/bin/sh
[ "$1" != control ] || { echo off; exit; }
until [ "$1" = --link ]; do shift; done
: >"$2"
until [ "$1" = --log ]; do shift; done
while :; do
	for beacon in 1,\"minor\":101 2,\"minor\":202 3,\"minor\":303; do
		echo "{\"major\":$beacon}" >>"$2"
	done
	echo 'three beacons'
	sleep 0.1
done
STUB

# The machine, with pipes as console and monitor; $MOMENT says how far it gets.
cat >"$scratch/bin/qemu-system-aarch64" <<'STUB'
#!/bin/sh
for word; do
	case $word in
	pipe,id=console,*) console=${word##*path=} ;;
	pipe,id=monitor,*) monitor=${word##*path=} ;;
	esac
done
exec >"$console.out"
: >"$ARRIVED"
[ "$MOMENT" != booting ] || exec sleep 86400
echo 'The access point is up'
[ "$MOMENT" != deaf ] || exec sleep 86400
exec 3<>"$monitor.in" 4<>"$console.in"
while read -r line <&3; do
	case $line in
	device_del*) echo 'hotplug: remove' ;;
	device_add*) echo 'hotplug: add' ;;
	esac
done &
trap 'kill $!; exit 1' TERM
while read -r line <&4; do
	case $line in
	*"vorlinctl wait"*) echo 'status 0 none'; echo 'BLE device has been disconnected' ;;
	kill*) echo 'vorlind ended with status 0' ;;
	reboot*) echo 'The access point is up' ;;
	esac
	case $line in *done*) echo '(done)' ;; esac
done
STUB
chmod +x "$scratch"/bin/*

# For each moment, the text of ./run ap that shows that it is reached.
arrived()
{
	case $moment in
	packing) grep -q '^== Packing' "$scratch/output" ;;
	booting) [ -e "$scratch/arrived" ] ;;
	deaf) grep -q '^== At its console' "$scratch/output" ;;
	watching) grep -q '^three beacons' "$scratch/output" ;;
	staying) grep -q "^== You are at" "$scratch/output" ;;
	esac >/dev/null 2>&1
}

# Interrupts it like a terminal (all its processes), like kill (the first one), or by closing its
# output.
interrupt()
{
	case $signal in
	INT | HUP) kill -s "$signal" -- "-$ap" ;;
	TERM) kill -s TERM "$ap" ;;
	PIPE) kill "$reader" ;;
	esac
}

mkfifo "$scratch/pipe" "$scratch/typed"
exec 5<>"$scratch/typed" # a terminal without input
TMPDIR=$scratch/tmp
for moment in packing booting deaf watching staying; do
	# A closed output is only noticed while something is written.
	[ "$signal" != PIPE ] || [ $moment = watching ] || continue
	seconds=0
	[ $moment != watching ] || seconds=86400
	rm -f "$scratch/arrived"
	: >"$scratch/output"
	tee "$scratch/output" <"$scratch/pipe" >"$scratch/copy" &
	reader=$!
	TMPDIR=$TMPDIR ARRIVED=$scratch/arrived MOMENT=$moment PATH=$scratch/bin:$PATH TERM=dumb setsid \
		env --default-signal=INT,PIPE tools/leash tools/ap "$scratch/bin/simulator" "$device" \
		$seconds stay <&5 >"$scratch/pipe" 2>&1 &
	ap=$!
	tries=0
	until arrived; do
		tries=$((tries + 1))
		if [ $tries -gt 1800 ] || ! kill -0 "$ap" 2>/dev/null; then
			fail 'it does not come there'
			break
		fi
		sleep 0.1
	done
	interrupt
	wait "$ap"
	status=$?
	[ $status -gt 128 ] || fail "the status is $status"
	ap=''
	kill "$reader" 2>/dev/null
	wait "$reader"
	[ -z "$(ls -A "$TMPDIR")" ] || fail "left: $(find "$TMPDIR")"
	left=$(grep -slF "$scratch" /proc/[0-9]*/environ /proc/[0-9]*/cmdline 2>/dev/null | cut -d / -f 3 | sort -u)
	for pid in $left; do
		[ "$pid" = $$ ] || [ ! -e "/proc/$pid/cmdline" ] ||
			fail "a process is left: $pid $(tr '\0' ' ' <"/proc/$pid/cmdline")"
	done
	[ $failures = 0 ] || { cat "$scratch/output"; break; }
done
exit $((failures > 0))
