# SPDX-License-Identifier: Apache-2.0
# Completion of vorlinctl's command line for bash. The commands come from its own help.

_vorlinctl_commands()
{
	vorlinctl --help 2>/dev/null | sed -n '/^Commands/,/^$/s/^  \([a-z]*\) .*/\1/p'
}

# What may follow the command's name and the words before the cursor.
_vorlinctl_words()
{
	case $1 in
	beacon) echo '1 2 3 4 5 list show clear' ;;
	'beacon clear') echo '1 2 3 4 5 all' ;;
	'beacon show') echo '1 2 3 4 5' ;;
	'beacon list') echo '--payload' ;;
	'beacon '[1-5]*) echo '--uuid --major --minor --power --prefix on off' ;;
	config) echo 'interval mac txpower-index gap-param le-receiver-test' \
		'le-transmitter-test le-test-end ble-reset debug-level' ;;
	'config ble-reset' | reset) echo 'hard soft' ;;
	'config mac') echo 'by-mrd' ;;
	'config txpower-index' | *' power-index') echo 'max' ;;
	set*) echo 'interval power power-index mac' ;;
	show) echo 'version mac txpower gap-param' ;;
	status*) echo '--payload --watch' ;;
	test) echo 'rx tx end' ;;
	trace) echo 'on off hci hci-tx hci-rx ipc uevent log report flow warning' ;;
	apply) echo '--dry-run' ;;
	wait) echo '--status' ;;
	help) _vorlinctl_commands ;;
	esac
}

# What a word before the cursor takes as its value.
_vorlinctl_value()
{
	case $1 in
	--uuid) echo 'random NONE' ;;
	--power | --mac | mac) echo 'NONE' ;;
	--prefix) echo 'default' ;;
	--status) echo 'available advertising testing unconfirmed none' ;;
	--timeout) echo '5 15 60' ;;
	esac
}

_vorlinctl()
{
	local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
	local said='' i words

	for ((i = 1; i < COMP_CWORD; i++)); do
		case ${COMP_WORDS[i]} in
		--json) ;;
		--timeout) ((i++)) ;;
		*) said="$said${said:+ }${COMP_WORDS[i]}" ;;
		esac
	done

	words=$(_vorlinctl_value "$before")
	if [[ $said == 'config mac' ]]; then
		words='by-mrd'
	elif [[ -z $words && -z $said ]]; then
		words="$(_vorlinctl_commands) --timeout --json --help --version"
	elif [[ -z $words ]]; then
		words=$(_vorlinctl_words "$said")
	fi
	mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
	if [[ $said == apply* ]]; then
		mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
	fi
}

complete -F _vorlinctl vorlinctl
