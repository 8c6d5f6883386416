#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The playbook docs/fleet.yml with three access points in separate namespaces.
# usage: playbook_test.sh BUILD

here=$(cd "$(dirname "$0")" && pwd)
top=$here/../..
build=$(cd "$1" && pwd)
uuid=E2C56DB5-DFFB-48D2-B060-D0F5A71096E0
names='hall stairs yard'

skip()
{
	echo "SKIPPED: $1"
	exit 77
}

fail()
{
	echo "FAILED: $1" >&2
	[ ! -e "$folder/log" ] || cat "$folder/log" >&2
	exit 1
}

command -v ansible-playbook >/dev/null || skip 'there is no ansible-playbook here'
VORLIND_SANDBOX=private "$top/tools/sandbox" true 2>/dev/null ||
	skip 'several access points on one machine need namespaces'

folder=$(mktemp -d)
trap 'for name in $names; do echo end >"$folder/$name/commands" & done; wait; rm -rf "$folder"' EXIT
trap 'exit 1' INT TERM

minor=0
echo '[access_points]' >"$folder/inventory"
for name in $names; do
	minor=$((minor + 1))
	mkdir "$folder/$name"
	mkfifo "$folder/$name/commands"
	VORLIND_SANDBOX=private "$top/tools/sandbox" "$here/access_point.sh" "$build" "$folder/$name" \
		>"$folder/$name/log" 2>&1 &
	echo "$name minor=$minor" >>"$folder/inventory"
done
cat >>"$folder/inventory" <<END
[access_points:vars]
ansible_ssh_executable="$here/ssh"
beacons_file=/run/beacons
uuid=$uuid
major=7
END
for name in $names; do
	while [ ! -e "$folder/$name/ready" ]; do sleep 0.05; done
done

export FLEET="$folder" HOME="$folder" LC_ALL=C.UTF-8 ANSIBLE_NOCOLOR=1 ANSIBLE_SSH_ARGS='-q'
export ANSIBLE_LOCAL_TEMP="$folder/ansible" ANSIBLE_RETRY_FILES_ENABLED=0

play()
{
	ansible-playbook -i "$folder/inventory" "$@" "$top/docs/fleet.yml" >"$folder/log" 2>&1 ||
		fail "the playbook ends with $?"
}

# "NAME : ok=3 changed=1 ..." of the recap
expect_changed()
{
	grep -qE "^$1 +:.* changed=$2 " "$folder/log" || fail "$1 was to have changed=$2"
}

on_air()
{
	tail -n 1 "$folder/$1/air"
}

### --check only reports
play --check
for name in $names; do
	"$here/ssh" "$name" 'vorlinctl status' | grep -q '2 available' || fail "$name was changed"
done

### The first run changes everything, and each access point has its own beacon
play
minor=0
for name in $names; do
	minor=$((minor + 1))
	expect_changed "$name" 1
	grep -q "uuid $uuid major 7 minor $minor " "$folder/$name/air" || fail "$name has not its beacon"
done

### The second run changes nothing and sends nothing
before=$(cat "$folder"/*/air | wc -l)
play
for name in $names; do
	expect_changed "$name" 0
done
[ "$(cat "$folder"/*/air | wc -l)" = "$before" ] || fail 'the air changed though nothing did'

### A change for one access point changes only that one
sed -i 's/^stairs .*/stairs minor=42/' "$folder/inventory"
play
expect_changed hall 0
expect_changed stairs 1
expect_changed yard 0
grep -q ' minor 42 ' "$folder/stairs/air" || fail 'stairs has not its new beacon'
"$here/ssh" stairs 'cat /run/beacons' | grep -q 'minor 42' || fail 'it is not kept for the next start'
