#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The ubus example of docs/fleet.md, with a stand-in for ubus. Run in tools/sandbox.
# usage: ubus_test.sh BUILD
# shellcheck disable=SC2016 # the quotes of markdown stand in quotes

set -u
here=$(dirname "$(readlink -f "$0")")
build=$1
# shellcheck source=tests/packaging/stage.sh
. "$here/../packaging/stage.sh"
PATH=$here:/usr/sbin:$PATH # users other than root may not have it
page=$here/../../docs/fleet.md

# The value of a name in the JSON on standard input, printed by Python.
value()
{
	python3 -c 'import json, sys; print(json.load(sys.stdin)[sys.argv[1]], end="")' "$1"
}

answers() # CODE: the answer has this exit status
{
	sh -c "$call" >$scratch/answer 2>$scratch/error
	[ "$(value code <$scratch/answer)" = "$1" ]
}

# The lines of the page, unchanged.
call=$(grep '^ubus call' "$page")
[ "$(echo "$call" | wc -l)" = 1 ] || fail "the page has these calls: $call"
list=$(sed -n 's,^.*`\(/usr/share/rpcd/acl.d/[a-z]*.json\)`.*$,\1,p' "$page")
mkdir -p "$scratch/image${list%/*}" # a user may not write to this machine's folders, even overlaid
sed -n '/^{"monitoring"/,/^```/{/^```/!p}' "$page" >"$scratch/image$list"
lay_over daemon client
[ -s "$list" ] || fail 'the page has no access list'

### The answer also reports a missing daemon
answers 2 || fail "without a daemon: $(cat $scratch/answer $scratch/error)"
value stdout <$scratch/answer | grep -q '"running": false' ||
	fail "without a daemon it answers $(cat $scratch/answer)"

### The state of the air is JSON
plug_in
vorlind 2>>$scratch/messages &
daemon=$!
{
	vorlinctl wait --timeout 300 && vorlinctl set mac NONE &&
		vorlinctl beacon 1 --uuid random --minor 7 on && vorlinctl start
} >$scratch/said 2>&1 || fail "no beacon: $(cat $scratch/said $scratch/messages)"
answers 0 || fail "with a daemon: $(cat $scratch/answer $scratch/error)"
[ "$(value stdout <$scratch/answer | value running)" = True ] ||
	fail "it answers $(cat $scratch/answer)"

### A session may run only what its list grants
as_session() # MESSAGE without its last bracket
{
	ubus call file exec "$1, \"ubus_rpc_session\": \"monitoring\"}" >$scratch/answer 2>$scratch/error
}
message=${call#*exec \'}
as_session "${message%\}\'}" || fail "the list does not grant the call: $(cat $scratch/error)"
grep -o '"/usr/[^"]*"' "$list" | tr -d '"' >$scratch/granted
[ "$(wc -l <$scratch/granted)" = 2 ] || fail "it grants $(cat $scratch/granted)"
while read -r program arguments; do
	words=$(echo "$arguments" | sed 's/ /", "/g')
	as_session "{\"command\": \"$program\", \"params\": [\"$words\"]" ||
		fail "$program $arguments: $(cat $scratch/error)"
	[ "$(value code <$scratch/answer)" = 0 ] || fail "$arguments ends with $(cat $scratch/answer)"
done <$scratch/granted
value stdout <$scratch/answer | grep -qx 'vorlin_status{status="advertising"} 1' ||
	fail "metrics are $(cat $scratch/answer)"
as_session '{"command": "/usr/bin/vorlinctl", "params": ["stop"]' && fail 'a session may stop the beacons'
vorlinctl status | grep -q '3 advertising' || fail 'the beacons were stopped'

kill $daemon "$simulator"
wait
exit $((failures > 0))
