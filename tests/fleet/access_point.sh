#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# An access point inside tools/sandbox: the programs, and a shell for commands from a pipe.
# usage: tools/sandbox tests/fleet/access_point.sh BUILD FOLDER

build=$1
folder=$2
PATH=$build:$PATH

exec 3<>"$folder/commands" # read and write: so the pipe always has a writer
vorlin-sim --link /dev/ttyMSM1 --baud 0 --seconds 600 >"$folder/air" 2>&1 &
while [ ! -e /dev/ttyMSM1 ]; do sleep 0.05; done
vorlind >>"$folder/messages" 2>&1 &
vorlinctl wait --timeout 300 || exit
vorlinctl set mac NONE # there is no manufacturing data
: >"$folder/ready"
while read -r command <&3; do
	[ "$command" != end ] || break
	sh "$folder/$command" >"$folder/$command.out" 2>"$folder/$command.err" </dev/null
	echo $? >"$folder/$command.part"
	mv "$folder/$command.part" "$folder/$command.status"
done
