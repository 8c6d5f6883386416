# shellcheck shell=dash
# SPDX-License-Identifier: Apache-2.0
# Stands in for OpenWrt's rc.common, procd and configuration, as far as an init script sees them.
# usage: sh rc_common.sh SCRIPT ACTION

state=/run/procd
mkdir -p $state

config_load()
{
	sections=''
	current=''
	while read -r word name value; do
		value=${value#\'}
		value=${value%\'}
		case $word in
		config)
			current=${value:-anonymous$((${#sections}))}
			sections="$sections $name:$current"
			;;
		option) eval "config_${current}_$name=\$value" ;;
		esac
	done <"/etc/config/$1"
}

config_get()
{
	eval "$1=\${config_${2}_$3:-\${4-}}"
}

config_get_bool()
{
	config_get "$@"
	eval "case \$$1 in 1 | on | true | yes | enabled) $1=1 ;; *) $1=0 ;; esac"
}

config_foreach()
{
	for section in $sections; do
		[ "${section%%:*}" != "$2" ] || "$1" "${section#*:}"
	done
}

procd_open_instance()
{
	command=''
	respawn=''
	ahead=''
	rm -f $state/stopping $state/params
}

procd_set_param()
{
	echo "$@" >>$state/params
	case $1 in
	command)
		shift
		command=$*
		;;
	respawn) respawn=$3 ;;
	nice) ahead="nice -n $2" ;;
	esac
}

supervise()
{
	until [ -e $state/stopping ]; do
		# shellcheck disable=SC2086 # both are words
		$ahead $command &
		echo $! >$state/pid
		wait $!
		[ -e $state/stopping ] || sleep "${respawn:-1000000}"
	done
}

procd_close_instance()
{
	supervise </dev/null >/dev/null 2>>$state/stderr &
}

procd_add_reload_trigger()
{
	echo "$@" >>$state/triggers
}

stop_instance()
{
	limit=$(sed -n 's/^term_timeout //p' $state/params)
	: >$state/stopping
	pid=$(cat $state/pid)
	kill "$pid" 2>/dev/null
	waited=0
	while kill -0 "$pid" 2>/dev/null; do
		[ $waited -lt "$limit" ] || kill -KILL "$pid"
		waited=$((waited + 1))
		sleep 1
	done
}

script=$1
action=$2
# shellcheck source=/dev/null
. "$script"
case $action in
start | boot) start_service ;;
stop) stop_instance ;;
restart)
	stop_instance
	start_service
	;;
reload) reload_service ;;
triggers) service_triggers ;;
esac
