# SPDX-License-Identifier: Apache-2.0
# Completion of vorlin-sim's command line for bash. It reads options, faults and quirks from its
# help texts.

# The first words of the indented lines of a help text.
_vorlin_sim_names()
{
	vorlin-sim --help="$1" 2>/dev/null | sed -n '/^$/,/^$/s/^  \([a-z][a-z0-9-]*\) .*/\1/p'
}

_vorlin_sim_options()
{
	vorlin-sim --help 2>/dev/null | grep -o -e '--[a-z][a-z-]*' | sort -u
}

# The keys of one fault, and the common ones.
_vorlin_sim_keys()
{
	vorlin-sim --help=faults 2>/dev/null |
		sed -n "s/^  $1 .*  \([a-z]*=.*\)/\1/p; s/^for all: //p" | grep -o '[a-z]*='
}

# The values of an option; "-" is a file; false for an option without a value.
_vorlin_sim_values()
{
	case $1 in
	--controller) echo 'ti-06 ti-08 qualcomm' ;;
	--quirk) _vorlin_sim_names quirks ;;
	--fault) _vorlin_sim_names faults ;;
	--help) echo 'faults quirks' ;;
	--baud) echo '0 9600 57600 115200' ;;
	--link) echo '/dev/ttyMSM1' ;;
	--script | --control | --air | --patch-out | --make-patch | --capture | --log | --report) echo - ;;
	--manufacturer | --hci-version | --address | --receiver-count | --buffer | --latency) ;;
	--patch-size | --capture-max | --summary | --live-size | --seconds | --seed) ;;
	*) return 1 ;;
	esac
}

_vorlin_sim_commands()
{
	echo 'fault faults clear reboot unplug plug send hear air scan quit help'
}

_vorlin_sim()
{
	local joined=() i word glue='' lead='' words='' name
	local shown=${COMP_WORDS[COMP_CWORD]}

	# bash splits words at "=" and ":".
	for ((i = 1; i <= COMP_CWORD; i++)); do
		word=${COMP_WORDS[i]}
		if [[ ${#joined[@]} -gt 0 && ($word == [=:] || -n $glue) ]]; then
			joined[-1]+=$word
		else
			joined+=("$word")
		fi
		glue=''
		[[ $word != [=:] ]] || glue=1
	done
	local last=$((${#joined[@]} - 1))
	local before=''
	((last == 0)) || before=${joined[last - 1]}
	word=${joined[last]}
	[[ $shown != [=:] ]] || shown=''

	if [[ $word == --*=* ]]; then
		before=${word%%=*}
		lead=$before=
	fi
	name=${word#"$lead"}
	if [[ $before == --fault && $name == *:* ]]; then
		words=$(_vorlin_sim_keys "${name%%:*}")
		lead=$lead${name%%:*}:
		[[ $name != *,* ]] || lead=${word%,*},
		compopt -o nospace 2>/dev/null
	elif [[ ${joined[0]} == control && $last -gt 0 ]]; then
		case $last in
		1) words=- ;;
		2) words=$(_vorlin_sim_commands) ;;
		3) [[ $before != fault ]] || words=$(_vorlin_sim_values --fault) ;;
		esac
	elif ! words=$(_vorlin_sim_values "$before"); then
		words=$(_vorlin_sim_options)
		((last > 0)) || words="$words control scan"
	fi
	if [[ $words == - ]]; then
		mapfile -t COMPREPLY < <(compgen -f -P "$lead" -- "${word#"$lead"}")
	else
		read -ra words <<<"${words//$'\n'/ }"
		mapfile -t COMPREPLY < <(compgen -W "${words[*]/#/$lead}" -- "$word")
	fi
	# For bash the word begins after the last "=" or ":".
	COMPREPLY=("${COMPREPLY[@]#"${word%"$shown"}"}")
}

complete -F _vorlin_sim vorlin-sim
