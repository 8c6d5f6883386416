# SPDX-License-Identifier: Apache-2.0
# Completion of vorlinctl's command line for bash. It reads the commands from vorlinctl's help.

_vorlinctl_commands()
{
	vorlinctl --help 2>/dev/null | sed -n '/^Commands/,/^$/s/^  \([a-z]*\) .*/\1/p'
}

# The words that may follow the command's name and the words before the cursor.
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
	set*) echo 'interval power power-index mac' ;;
	show) echo 'version mac txpower gap-param' ;;
	status*) echo '--payload --watch' ;;
	test) echo 'rx tx end sweep' ;;
	'test rx '*) echo '--seconds --min' ;;
	'test tx '*) echo '--seconds' ;;
	'test sweep'*) echo '--channels --seconds --min --csv' ;;
	trace) echo 'on off hci hci-tx hci-rx ipc uevent log report flow warning' ;;
	apply*) echo '--check --dry-run' ;;
	wait) echo '--status' ;;
	guard*) echo '--restarts --probe' ;;
	help) _vorlinctl_commands ;;
	esac
}

# The values of a name, after a space or "=": $1 the words before it, $2 the name.
# False for a name without values.
_vorlinctl_value()
{
	case "$1 $2" in
	'config mac') echo 'by-mrd' ;;
	'config txpower-index' | *' power-index') echo 'max' ;;
	'show mac') return 1 ;;
	'config interval' | 'set '*interval | *' --'ma[cj]* | *' --min'*) ;;
	*' --uuid' | *' uuid') echo 'random NONE' ;;
	*' --power' | *' power' | 'set '*'mac') echo 'NONE' ;;
	*' --prefix' | *' prefix') echo 'default' ;;
	*' enable') echo '0 1' ;;
	*' --status') echo 'available advertising testing unconfirmed none' ;;
	*' --timeout') echo '5 15 60 300' ;;
	*' --seconds') echo '1 10 60' ;;
	*' --probe') echo '5 15 60' ;;
	*' --channels') echo '0 12 19 39 0-39' ;;
	*) return 1 ;;
	esac
}

# Whether a value may continue after a comma; on and off of a trace may not.
_vorlinctl_is_list()
{
	[[ $1 == trace || $1 == *--channels ]]
}

# bash splits a word at "=": joins the words up to the cursor again.
_vorlinctl_join()
{
	local i word glue=''

	joined=()
	for ((i = 1; i <= COMP_CWORD; i++)); do
		word=${COMP_WORDS[i]}
		if [[ ${#joined[@]} -gt 0 && ($word == = || -n $glue) ]]; then
			joined[-1]+=$word
		else
			joined+=("$word")
		fi
		glue=''
		[[ $word != = ]] || glue=1
	done
}

_vorlinctl()
{
	local joined=() said='' before='' lead='' words i
	local shown=${COMP_WORDS[COMP_CWORD]}

	_vorlinctl_join
	local last=$((${#joined[@]} - 1))
	local word=${joined[last]}
	[[ $shown != = ]] || shown=''
	for ((i = 0; i < last; i++)); do
		case ${joined[i]} in
		--json | -- | --timeout=*) ;;
		--timeout) ((i + 1 == last)) || ((i++)) ;;
		*) said="$said${said:+ }${joined[i]}" ;;
		esac
	done
	((last == 0)) || before=${joined[last - 1]}

	if [[ $word == *=* ]]; then
		lead=${word%%=*}=
		words=$(_vorlinctl_value "$said" "${word%%=*}")
		before=${word%%=*}
	elif ! words=$(_vorlinctl_value "${said% *}" "$before"); then
		if [[ -z $said ]]; then
			words="$(_vorlinctl_commands) --timeout --json --help --version"
		else
			words=$(_vorlinctl_words "$said")
		fi
	fi
	if [[ $word == *,* ]] && _vorlinctl_is_list "$before"; then
		lead=${word%,*},
		words=${words/on off /}
		compopt -o nospace 2>/dev/null
	fi
	read -ra words <<<"${words//$'\n'/ }"
	mapfile -t COMPREPLY < <(compgen -W "${words[*]/#/$lead}" -- "$word")
	if [[ ($said == apply* || $said == 'test sweep') && -z $lead ]]; then
		mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
	fi
	# For bash the word begins after the last "=".
	COMPREPLY=("${COMPREPLY[@]#"${word%"$shown"}"}")
}

complete -F _vorlinctl vorlinctl
